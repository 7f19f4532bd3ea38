#pragma once

#include "platform/network/MonotonicClock.h"
#include "platform/network/Stream.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace velmora {

/// The platform's part in a probe; tests put their own in place.
struct ProbePlatform
{
    std::function<StreamPair(const QString &, qint64)> streams = streamsToHost;
    std::function<std::uint64_t()> ticks = monotonicTicks;
    std::function<bool(TimebaseInfo &)> timebase = readTimebase;
};

/// Measures how quickly an endpoint accepts a TCP connection: six attempts, one after another, each timed
/// from before the connect to its first stream event. Single use.
class PingTest final : public StreamDelegate, public std::enable_shared_from_this<PingTest>
{
public:
    /// Milliseconds.
    struct Summary
    {
        double min;
        double max;
        double average;
    };
    /// Gets the result once, from the event loop; never when no stream pair can be made.
    using Handler = std::function<void(const Summary &)>;

    PingTest(QString host, qint64 tcpPort, Handler resultHandler, ProbePlatform source = {});
    ~PingTest();
    PingTest(const PingTest &) = delete;
    PingTest &operator=(const PingTest &) = delete;

    /// Starts the probe.
    void beginAttempt();
    void streamHandleEvent(Stream &stream, int eventCode) override;

    /// The result of the samples so far, without the first one, which counts in the divisor of the average
    /// alone. No sample is a fatal error.
    Summary summary() const;

private:
    void endAttempt(double milliseconds);
    void closeStreams();
    double elapsedMilliseconds() const;

    const QString address;
    const qint64 port;
    const Handler handler;
    std::optional<std::uint64_t> start;
    std::shared_ptr<Stream> inputStream;
    std::shared_ptr<Stream> outputStream;
    TimebaseInfo info;
    /// Declared.
    bool timebasePresent;
    /// Milliseconds, in the order of the attempts; -1 for one that an unexpected event ended.
    QList<double> pings;
    const ProbePlatform platform;
};

} // namespace velmora
