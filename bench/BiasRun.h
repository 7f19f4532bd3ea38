#pragma once

#include "servers/PingTest.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <thread>
#include <vector>

namespace velmora::bench {

/// Where to connect to, and how often to compare.
struct BiasPlan
{
    QString address;
    quint16 port = 0;
    /// So many comparisons run side by side, the starts spread over `period`, so that the waits of a far
    /// endpoint are used and no two events come at the same time.
    int lanes = 1;
    int roundsPerLane = 0;
    std::chrono::microseconds period{};
    /// Between two comparisons of a lane.
    std::chrono::milliseconds pause{};
};

/// The minimum of six bare connect()s and that which a probe reports after six attempts. Both leave the first
/// one out.
struct BiasRound
{
    double rawMilliseconds;
    double probeMilliseconds;
};

/// One lane: by turns the bare connect()s of another thread and a probe on the event loop.
class BiasLane : public QObject
{
    Q_OBJECT

public:
    BiasLane(BiasPlan lanePlan, std::vector<BiasRound> &results);
    ~BiasLane() override;

    void begin();

Q_SIGNALS:
    void ended();

private:
    void connectRaw();
    void probeAfter(double rawMilliseconds);

    const BiasPlan plan;
    std::vector<BiasRound> &rounds;
    std::thread raw;
    std::shared_ptr<PingTest> probe;
    int begun = 0;
};

/// Carries the plan out in a nested event loop; the rounds come in no order.
std::vector<BiasRound> biasesOf(const BiasPlan &plan);

} // namespace velmora::bench
