#pragma once

#include <QString>

#include <cstddef>
#include <memory>
#include <utility>

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

/// The TCP connection behind a pair of streams.
class Connection;

/// One direction of a TCP connection. Events reach the delegate only while the stream is scheduled and open.
class Stream
{
public:
    /// `side` is 0 or 1.
    Stream(std::shared_ptr<Connection> both, std::size_t side) : connection(std::move(both)), index(side) {}
    ~Stream() { close(); }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    void setDelegate(StreamDelegate *newDelegate) { delegate = newDelegate; }
    void scheduleInRunLoop();
    void removeFromRunLoop();
    void open();
    void close();

private:
    const std::shared_ptr<Connection> connection;
    const std::size_t index;
    StreamDelegate *delegate = nullptr;
};

struct StreamPair
{
    std::shared_ptr<Stream> input;
    std::shared_ptr<Stream> output;
};

/// A pair of streams to one TCP port, which connects when it is opened: the name is resolved first, then its
/// addresses are tried in the resolver's order. An established connection is `openCompleted`; a failed
/// connect, for whatever reason (an unresolvable name, a refusal, no answer within 5 s for all addresses
/// together), is `errorOccurred`.
///
/// Both streams are absent when the port is outside 1–65535 or the system gives no socket.
StreamPair streamsToHost(const QString &name, qint64 port);

} // namespace velmora
