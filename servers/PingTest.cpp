#include "servers/PingTest.h"

#include "platform/Log.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype attempts = 6;
/// The mark of a sample that was not taken and of an extreme that is not set yet.
constexpr double none = -1.0;

} // namespace

PingTest::PingTest(QString host, qint64 tcpPort, Handler resultHandler, ProbePlatform source)
    : address(std::move(host)), port(tcpPort), handler(std::move(resultHandler)),
      timebasePresent(source.timebase(info)), platform(std::move(source))
{
}

PingTest::~PingTest()
{
    closeStreams();
}

void PingTest::beginAttempt()
{
    const StreamPair pair = platform.streams(address, port);
    inputStream = pair.input;
    outputStream = pair.output;
    if (!inputStream || !outputStream) {
        systemLog(u"input or output stream not set"_s);
        return;
    }
    inputStream->setDelegate(this);
    outputStream->setDelegate(this);
    start = platform.ticks();
    inputStream->scheduleInRunLoop();
    outputStream->scheduleInRunLoop();
    inputStream->open();
    outputStream->open();
}

void PingTest::streamHandleEvent(Stream &, int eventCode)
{
    switch (eventCode) {
    case StreamEvent::openCompleted:
    case StreamEvent::errorOccurred:
    case StreamEvent::endEncountered: {
        const double elapsed = elapsedMilliseconds();
        endAttempt(elapsed);
        return;
    }
    case StreamEvent::hasBytesAvailable:
    case StreamEvent::hasSpaceAvailable:
        return;
    default:
        systemLog(u"default reached. unknown stream event"_s);
        endAttempt(none);
    }
}

double PingTest::elapsedMilliseconds() const
{
    const std::uint64_t now = platform.ticks();
    if (!start || now < *start)
        fatalError(u"A stream event without a start time before it"_s);
    std::uint64_t nanoseconds = 0;
    if (__builtin_mul_overflow(now - *start, std::uint64_t{info.numer}, &nanoseconds))
        fatalError(u"The elapsed time does not fit 64 bits"_s);
    if (info.denom == 0)
        fatalError(u"The clock has no factor"_s);
    nanoseconds /= info.denom;
    return static_cast<double>(nanoseconds) / 1000000000.0 * 1000.0;
}

void PingTest::closeStreams()
{
    for (std::shared_ptr<Stream> *stream : {&inputStream, &outputStream}) {
        if (*stream) {
            (*stream)->close();
            (*stream)->removeFromRunLoop();
        }
    }
    inputStream.reset();
    outputStream.reset();
}

void PingTest::endAttempt(double milliseconds)
{
    // The handler may drop the last reference to this probe.
    const std::shared_ptr<PingTest> alive = shared_from_this();
    closeStreams();
    pings.append(milliseconds);
    if (pings.size() != attempts)
        beginAttempt();
    else
        handler(summary());
}

PingTest::Summary PingTest::summary() const
{
    if (pings.isEmpty())
        fatalError(u"A latency without a sample"_s);
    if (pings.size() == 1)
        return {none, none, 0.0};
    double sum = 0.0;
    double min = none;
    double max = none;
    for (const double sample : pings.sliced(1)) {
        sum += sample;
        max = max == none || sample > max ? sample : max;
        min = min == none || sample < min ? sample : min;
    }
    return {min, max, sum / static_cast<double>(pings.size())};
}

} // namespace velmora
