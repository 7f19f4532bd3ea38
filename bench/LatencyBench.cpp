// Measures the latency probe against bare connect()s, and what a survey costs. Runs in a lab.
#include "api/ServiceManager.h"
#include "bench/BiasRun.h"
#include "bench/HomeStage.h"
#include "bench/LocalAcceptor.h"
#include "bench/RawConnects.h"
#include "bench/Table.h"
#include "lab/service/Seed.h"
#include "ui/Style.h"

#include <QApplication>
#include <QElapsedTimer>

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

class LatencyBench
{
public:
    LatencyBench()
    {
        const QString file = qEnvironmentVariable("VELMORA_LAB") + u"/seed.txt"_s;
        seed = lab::readSeed(file.toStdString());
    }

    void loopback(bool busy)
    {
        const LocalAcceptor acceptor;
        bias(busy, u"loopback"_s, {u"127.0.0.1"_s, acceptor.port(), 1, 1000, 0us, 10ms});
    }

    void near(bool busy) { bias(busy, u"20ms"_s, {endpointAway(20ms), probedPort, 1, 100, 20ms, 1ms}); }

    void far(bool busy) { bias(busy, u"200ms"_s, {endpointAway(200ms), probedPort, 4, 15, 200ms, 1ms}); }

    /// A whole survey against as many bare connects to the same endpoints, which run before it.
    void survey()
    {
        QList<Service> services;
        double rawMilliseconds = 0;
        for (const lab::Endpoint &endpoint : seed.endpoints) {
            if (endpoint.answer == "silent")
                continue;
            const QString address = QString::fromStdString(endpoint.address);
            const std::vector<qint64> taken = rawConnects(address.toLatin1(), probedPort, 6);
            rawMilliseconds +=
                static_cast<double>(std::accumulate(taken.begin(), taken.end(), qint64{0})) / 1e6;
            services.append(Service{endpoint.id,
                                    QString::fromStdString(endpoint.name),
                                    QString::fromStdString(endpoint.country),
                                    address,
                                    {}});
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
    QString endpointAway(std::chrono::milliseconds distance) const
    {
        const auto found = std::find_if(
            seed.endpoints.begin(), seed.endpoints.end(), [distance](const lab::Endpoint &endpoint) {
                return endpoint.distance == distance && endpoint.answer == "accepts";
            });
        if (found == seed.endpoints.end())
            qFatal("The seed has no endpoint at %lld ms", static_cast<long long>(distance.count()));
        return QString::fromStdString(found->address);
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
        HomeStage::fillStore(count, endpointAway(3ms));
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

    lab::Seed seed;
    HomeStage stage;
    Table table;
};

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QStringList wanted = QApplication::arguments().mid(1);
    const std::vector<std::pair<QString, std::function<void(LatencyBench &)>>> figures{
        {u"loopback-idle"_s,
         [](LatencyBench &bench) {
             bench.loopback(false);
         }},
        {u"loopback-busy"_s,
         [](LatencyBench &bench) {
             bench.loopback(true);
         }},
        {u"20ms-idle"_s,
         [](LatencyBench &bench) {
             bench.near(false);
         }},
        {u"20ms-busy"_s,
         [](LatencyBench &bench) {
             bench.near(true);
         }},
        {u"200ms-idle"_s,
         [](LatencyBench &bench) {
             bench.far(false);
         }},
        {u"200ms-busy"_s,
         [](LatencyBench &bench) {
             bench.far(true);
         }},
        {u"survey"_s,
         [](LatencyBench &bench) {
             bench.survey();
         }},
        {u"reload"_s,
         [](LatencyBench &bench) {
             bench.reload();
         }},
    };
    for (const QString &name : std::as_const(wanted)) {
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
