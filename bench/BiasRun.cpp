#include "bench/BiasRun.h"

#include "bench/RawConnects.h"

#include <QEventLoop>

#include <algorithm>

namespace velmora::bench {

namespace {

constexpr int attempts = 6;

} // namespace

BiasLane::BiasLane(BiasPlan lanePlan, std::vector<BiasRound> &results)
    : plan(std::move(lanePlan)), rounds(results)
{
}

BiasLane::~BiasLane()
{
    if (raw.joinable())
        raw.join();
}

void BiasLane::begin()
{
    if (raw.joinable())
        raw.join();
    if (begun++ == plan.roundsPerLane) {
        Q_EMIT ended();
        return;
    }
    connectRaw();
}

void BiasLane::connectRaw()
{
    raw = std::thread([this] {
        const std::vector<qint64> taken = rawConnects(plan.address.toLatin1(), plan.port, attempts);
        const auto minimum = static_cast<double>(*std::min_element(taken.begin() + 1, taken.end()));
        QMetaObject::invokeMethod(
            this, [this, minimum] { probeAfter(minimum / 1e6); }, Qt::QueuedConnection);
    });
}

void BiasLane::probeAfter(double rawMilliseconds)
{
    probe = std::make_shared<PingTest>(
        plan.address, plan.port, [this, rawMilliseconds](const PingTest::Summary &result) {
            rounds.push_back({rawMilliseconds, result.min});
            QTimer::singleShot(plan.pause, Qt::PreciseTimer, this, &BiasLane::begin);
        });
    probe->beginAttempt();
}

std::vector<BiasRound> biasesOf(const BiasPlan &plan)
{
    std::vector<BiasRound> rounds;
    std::vector<std::unique_ptr<BiasLane>> lanes;
    QEventLoop loop;
    int running = plan.lanes;
    for (int lane = 0; lane < plan.lanes; ++lane) {
        BiasLane &added = *lanes.emplace_back(std::make_unique<BiasLane>(plan, rounds));
        QObject::connect(&added, &BiasLane::ended, &loop, [&loop, &running] {
            if (--running == 0)
                loop.quit();
        });
        const auto start = std::chrono::ceil<std::chrono::milliseconds>(plan.period * lane / plan.lanes);
        QTimer::singleShot(start, Qt::PreciseTimer, &added, &BiasLane::begin);
    }
    loop.exec();
    return rounds;
}

} // namespace velmora::bench
