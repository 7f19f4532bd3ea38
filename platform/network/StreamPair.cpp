#include "platform/network/HostLookup.h"
#include "platform/network/Stream.h"

#include <glib-unix.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <utility>
#include <vector>

namespace velmora {

namespace {

/// Where a socket connects to.
struct Target
{
    sockaddr_storage address{};
    socklen_t size = 0;
};

std::vector<Target> targetsAt(const HostAddresses &addresses, quint16 port)
{
    std::vector<Target> targets;
    for (const auto &address : addresses) {
        const GObjectPtr<GSocketAddress> full(g_inet_socket_address_new(address.get(), port));
        Target target;
        if (g_socket_address_to_native(full.get(), &target.address, sizeof(target.address), nullptr)) {
            target.size = static_cast<socklen_t>(g_socket_address_get_native_size(full.get()));
            targets.push_back(target);
        }
    }
    return targets;
}

/// The TCP connection behind a pair of streams: connects at the first `open()` and then tells both streams
/// once how that ended.
class Connection : public std::enable_shared_from_this<Connection>
{
public:
    /// What needs no look-up is prepared here: a delegate takes the time from when the pair exists, and next
    /// to nothing shall be left to do then but connect().
    Connection(QString host, quint16 tcpPort, int socketFile)
        : name(std::move(host)), port(tcpPort), file(socketFile),
          targets(targetsAt(rememberedAddresses(name), port)), cancellable(g_cancellable_new())
    {
    }
    ~Connection() { shutDown(); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void open()
    {
        if (std::exchange(opened, true))
            return;
        if (!targets.empty()) {
            tryNext();
            return;
        }
        lookUpHost(name, cancellable.get(), [this](const HostAddresses &addresses) {
            const auto alive = shared_from_this();
            targets = targetsAt(addresses, port);
            tryNext();
        });
    }

    /// Ends everything when neither stream wants to hear of it any more.
    void shutDown()
    {
        g_cancellable_cancel(cancellable.get());
        stopWatching();
        if (file >= 0)
            ::close(std::exchange(file, -1));
    }

    std::array<std::function<void(int)>, 2> listeners;

private:
    void stopWatching()
    {
        if (watch != 0)
            g_source_remove(std::exchange(watch, 0));
    }

    /// Starts a connect to the next address; past the last one, reports the failure.
    void tryNext()
    {
        while (next < targets.size()) {
            if (startConnect(targets[next++]))
                return;
        }
        // From the event loop, never from within open().
        watch = g_idle_add_full(G_PRIORITY_DEFAULT, reportFailure, this, nullptr);
    }

    bool startConnect(const Target &target)
    {
        const int family = target.address.ss_family;
        // The socket at hand is one for IPv4; another family or a used one needs its own.
        if (file < 0 || family != AF_INET || used) {
            if (file >= 0)
                ::close(file);
            file = ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (file < 0)
                return false;
        }
        used = true;
        const auto *const address = reinterpret_cast<const sockaddr *>(&target.address);
        if (::connect(file, address, target.size) != 0 && errno != EINPROGRESS)
            return false;
        // Above the priority of repaints and timers: a sample must not wait for a window that is being drawn.
        // One that is known at once waits its turn: attempt after attempt would leave the window none.
        const int priority = hasEnded() ? G_PRIORITY_DEFAULT : G_PRIORITY_HIGH;
        watch = g_unix_fd_add_full(priority, file, G_IO_OUT, connectEnded, this, nullptr);
        return true;
    }

    /// Whether the connect is over already, as on loopback.
    bool hasEnded() const
    {
        pollfd state{file, POLLOUT, 0};
        return ::poll(&state, 1, 0) > 0;
    }

    static gboolean connectEnded(gint, GIOCondition condition, gpointer data)
    {
        auto *self = static_cast<Connection *>(data);
        const auto alive = self->shared_from_this();
        self->watch = 0;
        // A failed connect says so in the condition (poll(2)); which failure it was, nobody asks.
        if ((condition & (G_IO_ERR | G_IO_HUP)) == 0)
            self->tell(StreamEvent::openCompleted);
        else if (self->next < self->targets.size())
            self->tryNext();
        else
            self->tell(StreamEvent::errorOccurred);
        return G_SOURCE_REMOVE;
    }

    static gboolean reportFailure(gpointer data)
    {
        auto *self = static_cast<Connection *>(data);
        const auto alive = self->shared_from_this();
        self->watch = 0;
        self->tell(StreamEvent::errorOccurred);
        return G_SOURCE_REMOVE;
    }

    void tell(int event)
    {
        for (const auto &slot : listeners) {
            // The listener may take itself out of its slot.
            if (const auto listener = slot)
                listener(event);
        }
    }

    const QString name;
    const quint16 port;
    int file;
    bool used = false;
    bool opened = false;
    std::vector<Target> targets;
    size_t next = 0;
    guint watch = 0;
    GObjectPtr<GCancellable> cancellable;
};

class ConnectionStream final : public Stream
{
public:
    ConnectionStream(std::shared_ptr<Connection> both, size_t side) : connection(std::move(both)), index(side)
    {
    }
    ~ConnectionStream() override { ConnectionStream::close(); }

    void setDelegate(StreamDelegate *newDelegate) override { delegate = newDelegate; }

    void scheduleInRunLoop() override
    {
        connection->listeners.at(index) = [this](int event) {
            if (delegate != nullptr)
                delegate->streamHandleEvent(*this, event);
        };
    }

    void removeFromRunLoop() override { connection->listeners.at(index) = nullptr; }
    void open() override { connection->open(); }

    void close() override
    {
        removeFromRunLoop();
        if (!connection->listeners.at(1 - index))
            connection->shutDown();
    }

private:
    const std::shared_ptr<Connection> connection;
    const size_t index;
    StreamDelegate *delegate = nullptr;
};

} // namespace

StreamPair streamsToHost(const QString &name, qint64 port)
{
    constexpr qint64 highestPort = 65535;
    if (port < 1 || port > highestPort)
        return {};
    const int file = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (file < 0)
        return {};
    const auto connection = std::make_shared<Connection>(name, static_cast<quint16>(port), file);
    return {std::make_shared<ConnectionStream>(connection, 0),
            std::make_shared<ConnectionStream>(connection, 1)};
}

} // namespace velmora
