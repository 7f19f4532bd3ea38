#include "platform/network/Stream.h"

#include "platform/network/HostLookup.h"

#include <glib-unix.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <functional>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds connectTimeout{5000};

int newSocket(int family)
{
    return ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

} // namespace

/// Connects at the first `open()` and then reports once to both streams how that ended.
class Connection : public std::enable_shared_from_this<Connection>
{
public:
    /// Prepares all that needs no look-up: a delegate takes the time from when the pair exists, so only
    /// connect() may be left to do by then.
    Connection(QString host, quint16 tcpPort, int socketFile)
        : name(std::move(host)), port(tcpPort), file(socketFile), targets(knownAddresses(name, port))
    {
    }
    ~Connection() { shutDown(); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void open()
    {
        if (std::exchange(opened, true))
            return;
        deadline = Clock::now() + connectTimeout;
        if (!targets.empty()) {
            tryNext();
            return;
        }
        startTimer(connectTimeout);
        lookUpHost(name, port, [weak = weak_from_this()](const SocketAddresses &addresses) {
            const auto self = weak.lock();
            // The time may be over, or nobody listens any more.
            if (!self || self->timer == 0)
                return;
            self->targets = addresses;
            self->tryNext();
        });
    }

    /// Ends everything; no event comes after it.
    void shutDown()
    {
        stopWaiting();
        if (file >= 0)
            ::close(std::exchange(file, -1));
    }

    std::array<std::function<void(int)>, 2> listeners;

private:
    void stopWaiting()
    {
        if (watch != 0)
            g_source_remove(std::exchange(watch, 0));
        if (timer != 0)
            g_source_remove(std::exchange(timer, 0));
    }

    /// Starts a connect to the next address, which gets its share of the time that is left; past the last
    /// one, reports the failure.
    void tryNext()
    {
        stopWaiting();
        while (next < targets.size()) {
            const auto untried = static_cast<Clock::rep>(targets.size() - next);
            if (startConnect(targets[next++])) {
                startTimer((deadline - Clock::now()) / untried);
                return;
            }
        }
        // From the event loop, never from within open().
        startTimer({});
    }

    bool startConnect(const SocketAddress &target)
    {
        const int family = target.storage.ss_family;
        // The socket at hand is one for IPv4; another family or a used one needs its own.
        if (file < 0 || family != AF_INET || used) {
            if (file >= 0)
                ::close(file);
            file = newSocket(family);
            if (file < 0)
                return false;
        }
        used = true;
        const auto *const address = reinterpret_cast<const sockaddr *>(&target.storage);
        if (::connect(file, address, target.size) != 0 && errno != EINPROGRESS)
            return false;
        // Above the priority of repaints and timers: a sample must not wait for a window that is being drawn.
        // A connect that has ended already waits its turn: attempt after attempt would leave the window none.
        const int priority = hasEnded() ? G_PRIORITY_DEFAULT : G_PRIORITY_HIGH;
        watch = g_unix_fd_add_full(priority, file, G_IO_OUT, connectEnded, this, nullptr);
        return true;
    }

    void startTimer(Clock::duration time)
    {
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(time).count();
        timer = g_timeout_add(static_cast<guint>(std::max(milliseconds, std::chrono::milliseconds::rep{0})),
                              timeIsOver, this);
    }

    /// True if the connect is over already, as on loopback.
    bool hasEnded() const
    {
        pollfd state{file, POLLOUT, 0};
        return ::poll(&state, 1, 0) > 0;
    }

    static gboolean connectEnded(gint, GIOCondition condition, gpointer data)
    {
        auto *self = static_cast<Connection *>(data);
        self->watch = 0;
        // poll(2) reports a failed connect in the condition.
        if ((condition & (G_IO_ERR | G_IO_HUP)) == 0)
            self->tell(StreamEvent::openCompleted);
        else
            self->attemptFailed();
        return G_SOURCE_REMOVE;
    }

    static gboolean timeIsOver(gpointer data)
    {
        auto *self = static_cast<Connection *>(data);
        self->timer = 0;
        self->attemptFailed();
        return G_SOURCE_REMOVE;
    }

    void attemptFailed()
    {
        if (next < targets.size())
            tryNext();
        else
            tell(StreamEvent::errorOccurred);
    }

    void tell(int event)
    {
        const auto alive = shared_from_this();
        for (const auto &slot : listeners) {
            // The listener takes the time first of all, and may take itself out of its slot.
            if (const auto listener = slot)
                listener(event);
        }
        stopWaiting();
    }

    const QString name;
    const quint16 port;
    int file;
    bool used = false;
    bool opened = false;
    SocketAddresses targets;
    std::size_t next = 0;
    Clock::time_point deadline;
    guint watch = 0;
    guint timer = 0;
};

void Stream::scheduleInRunLoop()
{
    connection->listeners.at(index) = [this](int event) {
        if (delegate != nullptr)
            delegate->streamHandleEvent(*this, event);
    };
}

void Stream::removeFromRunLoop()
{
    connection->listeners.at(index) = nullptr;
}

void Stream::open()
{
    connection->open();
}

void Stream::close()
{
    removeFromRunLoop();
    if (!connection->listeners.at(1 - index))
        connection->shutDown();
}

StreamPair streamsToHost(const QString &name, qint64 port)
{
    constexpr qint64 highestPort = 65535;
    if (port < 1 || port > highestPort)
        return {};
    const int file = newSocket(AF_INET);
    if (file < 0)
        return {};
    const auto connection = std::make_shared<Connection>(name, static_cast<quint16>(port), file);
    return {std::make_shared<Stream>(connection, 0), std::make_shared<Stream>(connection, 1)};
}

} // namespace velmora
