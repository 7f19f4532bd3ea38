#pragma once

#include <QString>

#include <memory>

namespace velmora {

/// Codes of stream events. A delegate may meet others.
namespace StreamEvent {
inline constexpr int openCompleted = 1;
inline constexpr int hasBytesAvailable = 2;
inline constexpr int hasSpaceAvailable = 4;
inline constexpr int errorOccurred = 8;
inline constexpr int endEncountered = 16;
} // namespace StreamEvent

class Stream;

class StreamDelegate
{
public:
    /// Called from the event loop. The delegate may close and drop the stream from within.
    virtual void streamHandleEvent(Stream &stream, int eventCode) = 0;

protected:
    ~StreamDelegate() = default;
};

/// One direction of a TCP connection. Events reach the delegate only while the stream is scheduled and open.
class Stream
{
public:
    virtual ~Stream() = default;

    virtual void setDelegate(StreamDelegate *delegate) = 0;
    virtual void scheduleInRunLoop() = 0;
    virtual void removeFromRunLoop() = 0;
    virtual void open() = 0;
    virtual void close() = 0;
};

struct StreamPair
{
    std::shared_ptr<Stream> input;
    std::shared_ptr<Stream> output;
};

/// A pair of streams to one TCP port, which connects when it is opened: the name is resolved first, then its
/// addresses are tried in the resolver's order. That the connection stands is `openCompleted`; that none
/// does, for whatever reason (an unresolvable name, a refusal, the system's own time-out), is
/// `errorOccurred`.
///
/// Both streams are absent when the port is outside 1–65535 or the system gives no socket.
StreamPair streamsToHost(const QString &name, qint64 port);

} // namespace velmora
