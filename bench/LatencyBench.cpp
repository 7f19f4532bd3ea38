// Measures the latency probe against bare connect()s, and what a survey costs. Runs in a lab.
#include "api/ServiceManager.h"
#include "bench/BiasRun.h"
#include "bench/HomeStage.h"
#include "bench/LocalAcceptor.h"
#include "bench/RawConnects.h"
#include "bench/Table.h"
#include "ui/Style.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>

using namespace velmora;
using namespace velmora::bench;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr quint16 probedPort = 443;

/// The nearest rank.
double percentile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    const auto rank = static_cast<size_t>(std::ceil(share * static_cast<double>(values.size())));
    return values.at(std::max<size_t>(rank, 1) - 1);
}

double median(const std::vector<double> &values)
{
    return percentile(values, 0.5);
}

struct Endpoint
{
    Service service;
    /// The answer that a connect meets: "accepts", "refuses" or "silent".
    QString answer;
    /// The round trip from the desktop, such as "20ms".
    QString distance;
};

/// The endpoints of the lab's seed: endpoint ID COUNTRY ADDRESS ANSWER DISTANCE NAME…
QList<Endpoint> seedEndpoints()
{
    QFile file(qEnvironmentVariable("VELMORA_LAB") + u"/seed.txt"_s);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("The lab has no seed");
    QList<Endpoint> endpoints;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString &line : lines) {
        const QStringList words = line.simplified().split(u' ');
        if (words.first() == u"endpoint"_s)
            endpoints.append(
                {{words.at(1).toLongLong(), words.sliced(6).join(u' '), words.at(2), words.at(3), {}},
                 words.at(4),
                 words.at(5)});
    }
    return endpoints;
}

class LatencyBench
{
public:
    void loopback(bool busy)
    {
        const LocalAcceptor acceptor;
        bias(busy, u"loopback"_s, {u"127.0.0.1"_s, acceptor.port(), 1, 1000, 0us, 10ms});
    }

    void near(bool busy) { bias(busy, u"20ms"_s, {endpointAway(u"20ms"_s), probedPort, 1, 100, 20ms, 1ms}); }

    void far(bool busy) { bias(busy, u"200ms"_s, {endpointAway(u"200ms"_s), probedPort, 4, 15, 200ms, 1ms}); }

    /// A whole survey against as many bare connects to the same endpoints, which run before it.
    void survey()
    {
        QList<Service> services;
        double rawMilliseconds = 0;
        for (const Endpoint &endpoint : endpoints) {
            if (endpoint.answer == u"silent"_s)
                continue;
            const std::vector<qint64> taken =
                rawConnects(endpoint.service.address->toLatin1(), probedPort, 6);
            rawMilliseconds +=
                static_cast<double>(std::accumulate(taken.begin(), taken.end(), qint64{0})) / 1e6;
            services.append(endpoint.service);
        }
        HomeStage::fillStore(services);
        stage.reloadLists();
        QElapsedTimer timer;
        timer.start();
        stage.home().pingButtonClicked();
        while (!ServiceManager::shared().allService.constLast().ping)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const double milliseconds = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        table.add({u"survey of %1 endpoints, time / connects"_s.arg(services.size()),
                   u"%1 s / %2 s"_s.arg(milliseconds / 1e3, 0, 'f', 3).arg(rawMilliseconds / 1e3, 0, 'f', 3),
                   milliseconds / rawMilliseconds, u"ratio 1.05"_s, milliseconds <= 1.05 * rawMilliseconds,
                   u"survey"_s});
    }

    /// The tick after a result in mid-survey, repaint included, for a long list against a short one. A
    /// favourite is chosen, which each reload looks for.
    void reload()
    {
        std::map<qsizetype, std::vector<double>> taken;
        // By turns, so that what else the machine does meets both.
        for (int turn = 0; turn < 3; ++turn) {
            for (const qsizetype count : {100, 100000})
                surveyTicks(count, 30, taken[count]);
        }
        const double few = median(taken[100]);
        const double many = median(taken[100000]);
        table.add({u"reload, 100 000 / 100 endpoints"_s,
                   u"%1 ms / %2 ms"_s.arg(many, 0, 'f', 3).arg(few, 0, 'f', 3), many / few, u"ratio 1.5"_s,
                   many <= 1.5 * few, u"reload"_s});
    }

    int status() const { return table.allMet() ? 0 : 1; }

private:
    QString endpointAway(const QString &distance) const
    {
        for (const Endpoint &endpoint : endpoints) {
            if (endpoint.distance == distance && endpoint.answer == u"accepts"_s)
                return *endpoint.service.address;
        }
        qFatal("The seed has no endpoint at %s", qUtf8Printable(distance));
    }

    void bias(bool busy, const QString &where, const BiasPlan &plan)
    {
        HomeStage::fillStore(busy ? 7000 : 0, {});
        stage.reloadLists();
        QTimer reloading;
        double latency = 10;
        QObject::connect(&reloading, &QTimer::timeout, &reloading, [this, &latency] {
            HomeStage::changeLatencies(latency += 0.1);
            stage.reloadLists();
        });
        if (busy)
            reloading.start(300ms);
        const std::vector<BiasRound> rounds = biasesOf(plan);
        std::vector<double> biases;
        std::vector<double> ratios;
        for (const BiasRound &round : rounds) {
            biases.push_back((round.probeMilliseconds - round.rawMilliseconds) * 1e3);
            ratios.push_back(round.probeMilliseconds / round.rawMilliseconds);
        }
        const QString state = busy ? u"busy"_s : u"idle"_s;
        const auto add = [&](const QString &name, double share, std::optional<double> limit) {
            const double value = percentile(biases, share);
            table.add({u"bias, %1, %2, %3"_s.arg(where, state, name),
                       u"%1 µs of %2 rounds"_s.arg(value, 0, 'f', 1).arg(rounds.size()),
                       percentile(ratios, share), limit ? u"%1 µs"_s.arg(*limit) : QString(),
                       !limit || value <= *limit, where + u'-' + state});
        };
        add(u"median"_s, 0.5, busy ? 60 : 30);
        add(u"p99"_s, 0.99, busy ? std::nullopt : std::optional(1000.0));
    }

    void surveyTicks(qsizetype count, int ticks, std::vector<double> &milliseconds)
    {
        HomeStage::fillStore(count, endpointAway(u"3ms"_s));
        stage.reloadLists();
        stage.selectFavorite(4);
        stage.home().pingButtonClicked();
        QList<Service> &all = ServiceManager::shared().allService;
        const auto waitForResult = [&all](qsizetype index) {
            while (!all.at(index).ping)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        };
        for (qsizetype index = 0; index < ticks; ++index) {
            waitForResult(index);
            HomeStage::changeLatencies(static_cast<double>(index));
            all[index + 1].ping.reset();
            QElapsedTimer timer;
            timer.start();
            stage.home().firePingTimer();
            QCoreApplication::sendPostedEvents();
            milliseconds.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        }
        // The survey ends with a list that is no longer than it has got.
        all.resize(ticks + 1);
        waitForResult(ticks);
    }

    const QList<Endpoint> endpoints = seedEndpoints();
    HomeStage stage;
    Table table;
};

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    const QStringList wanted = QApplication::arguments().mid(1);
    const std::vector<std::pair<QString, std::function<void(LatencyBench &)>>> figures{
        {u"loopback-idle"_s,
         [](auto &bench) {
             bench.loopback(false);
         }},
        {u"loopback-busy"_s,
         [](auto &bench) {
             bench.loopback(true);
         }},
        {u"20ms-idle"_s,
         [](auto &bench) {
             bench.near(false);
         }},
        {u"20ms-busy"_s,
         [](auto &bench) {
             bench.near(true);
         }},
        {u"200ms-idle"_s,
         [](auto &bench) {
             bench.far(false);
         }},
        {u"200ms-busy"_s,
         [](auto &bench) {
             bench.far(true);
         }},
        {u"survey"_s,
         [](auto &bench) {
             bench.survey();
         }},
        {u"reload"_s,
         [](auto &bench) {
             bench.reload();
         }},
    };
    for (const QString &name : wanted) {
        if (std::none_of(figures.begin(), figures.end(),
                         [&name](const auto &figure) { return figure.first == name; })) {
            std::fprintf(stderr, "no figure \"%s\"\n", qUtf8Printable(name));
            return 2;
        }
    }
    LatencyBench bench;
    for (const auto &[name, measure] : figures) {
        if (wanted.isEmpty() || wanted.contains(name))
            measure(bench);
    }
    return bench.status();
}
