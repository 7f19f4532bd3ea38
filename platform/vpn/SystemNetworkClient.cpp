#include "platform/vpn/SystemNetworkClient.h"

#include "platform/vpn/SystemNetworkErrors.h"
#include "platform/vpn/SystemNetworkLibrary.h"
#include "platform/vpn/SystemNetworkProfile.h"
#include "platform/vpn/SystemNetworkSecretAgent.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds readinessBound = 3s;
constexpr std::chrono::milliseconds retryInterval = 2s;

/// GLib 2.74 locks up where one thread registers a type that has an interface, for the first time, while
/// another asks for that type in the middle of making a class. GIO connects to a bus in a thread of its own;
/// meanwhile this one may make the HTTP session, whose class asks for types of addresses.
void registerSharedTypes()
{
    for (const GType type :
         {G_TYPE_INET_SOCKET_ADDRESS, G_TYPE_PROXY_ADDRESS, G_TYPE_SOCKET, G_TYPE_DATA_OUTPUT_STREAM,
          G_TYPE_MEMORY_INPUT_STREAM, G_TYPE_MEMORY_OUTPUT_STREAM})
        g_type_ensure(type);
}

} // namespace

SystemNetworkClient::SystemNetworkClient()
    : daemonWaiters(readinessBound, systemnetwork::timedOut(u"NetworkManager does not answer"_s)),
      agentWaiters(readinessBound,
                   systemnetwork::timedOut(u"NetworkManager does not take the secret agent"_s))
{
    retry.setSingleShot(true);
    retry.setInterval(retryInterval);
    connect(&retry, &QTimer::timeout, this, &SystemNetworkClient::open);
    open();
}

SystemNetworkClient::~SystemNetworkClient() = default;

bool SystemNetworkClient::isKnown() const
{
    return client || lastFailure;
}

bool SystemNetworkClient::isRunning() const
{
    return client && clientIsWhole && nm_client_get_nm_running(client.get()) != FALSE;
}

NMRemoteConnection *SystemNetworkClient::profile() const
{
    if (!isRunning())
        return nullptr;
    return nm_client_get_connection_by_uuid(client.get(), SystemNetworkProfile::uuid().toUtf8().constData());
}

std::vector<SystemNetworkTunnel> SystemNetworkClient::tunnels() const
{
    std::vector<SystemNetworkTunnel> found;
    if (!isRunning())
        return found;
    const QByteArray uuid = SystemNetworkProfile::uuid().toUtf8();
    const GPtrArray *all = nm_client_get_active_connections(client.get());
    for (guint i = 0; i < all->len; ++i) {
        auto *connection = static_cast<NMActiveConnection *>(all->pdata[i]);
        // Paths begin again with each run of the daemon; the UUID stays.
        if (uuid == nm_active_connection_get_uuid(connection))
            found.emplace_back(connection);
    }
    return found;
}

void SystemNetworkClient::whenRunning(SystemNetworkWaiters::Handler handler)
{
    daemonWaiters.add(std::move(handler));
    if (isKnown())
        refreshSoon();
}

void SystemNetworkClient::whenAgentRegistered(SystemNetworkWaiters::Handler handler)
{
    agentWaiters.add(std::move(handler));
    if (agent && agent->isRegistered())
        refreshSoon();
}

// The process-wide connection to the bus would not do: once closed it stays so while anybody holds it, and
// getting it blocks.
void SystemNetworkClient::open()
{
    GError *error = nullptr;
    const GCharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    if (!address) {
        drop(systemnetwork::failure(error));
        return;
    }
    registerSharedTypes();
    g_dbus_connection_new_for_address(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, calls.cancellable(), GLibCalls::ready,
        calls.expect([this](GAsyncResult *result) { busOpened(result); }));
}

void SystemNetworkClient::busOpened(GAsyncResult *result)
{
    GError *error = nullptr;
    bus.reset(g_dbus_connection_new_for_address_finish(result, &error));
    if (!bus) {
        drop(systemnetwork::failure(error));
        return;
    }
    signalsOfBus.follow(
        bus.get(), "closed", [](gpointer self) { static_cast<SystemNetworkClient *>(self)->busClosed(); },
        this);
    agent = std::make_unique<SystemNetworkSecretAgent>(bus.get(), [this] { refreshSoon(); });
    createClient();
}

void SystemNetworkClient::createClient()
{
    g_async_initable_new_async(NM_TYPE_CLIENT, G_PRIORITY_DEFAULT, calls.cancellable(), GLibCalls::ready,
                               calls.expect([this](GAsyncResult *result) { clientCreated(result); }),
                               NM_CLIENT_DBUS_CONNECTION, bus.get(), NM_CLIENT_INSTANCE_FLAGS,
                               NM_CLIENT_INSTANCE_FLAGS_NO_AUTO_FETCH_PERMISSIONS, nullptr);
}

void SystemNetworkClient::clientCreated(GAsyncResult *result)
{
    const GObjectPtr<GObject> source(g_async_result_get_source_object(result));
    GError *error = nullptr;
    client.reset(reinterpret_cast<NMClient *>(
        g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()), result, &error)));
    if (!client || !bus || g_dbus_connection_is_closed(bus.get()) != FALSE) {
        drop(client ? systemnetwork::daemonAbsent() : systemnetwork::failure(error));
        return;
    }
    lastFailure.reset();
    clientIsWhole = nm_client_get_nm_running(client.get()) != FALSE;
    const auto refreshSelf = [](gpointer self) {
        static_cast<SystemNetworkClient *>(self)->refreshSoon();
    };
    for (const char *signal :
         {"active-connection-added", "active-connection-removed", "connection-added", "connection-removed"})
        signalsOfClient.follow(client.get(), signal, refreshSelf, this);
    signalsOfClient.follow(
        client.get(), "notify::nm-running",
        [](gpointer self) { static_cast<SystemNetworkClient *>(self)->daemonCameOrWent(); }, this);
    refresh();
}

/// When the daemon returns, libnm says so before it has read the profiles, as if there were none. A new
/// client is not there before it has everything.
void SystemNetworkClient::daemonCameOrWent()
{
    refreshSoon();
    clientIsWhole = false;
    if (nm_client_get_nm_running(client.get()) == FALSE)
        return;
    const auto renew = [this] {
        if (!client)
            return;
        dropClient();
        lastFailure = systemnetwork::daemonAbsent();
        createClient();
    };
    QMetaObject::invokeMethod(this, renew, Qt::QueuedConnection);
}

void SystemNetworkClient::busClosed()
{
    // From the event loop, not from under the signals of what is dropped.
    QMetaObject::invokeMethod(
        this, [this] { drop(systemnetwork::daemonAbsent()); }, Qt::QueuedConnection);
}

/// Lets go of the bus and of all that hangs on it, and tries again later.
void SystemNetworkClient::drop(const PlatformError &error)
{
    dropClient();
    agent.reset();
    signalsOfBus.clear();
    bus.reset();
    lastFailure = error;
    retry.start();
    refreshSoon();
}

void SystemNetworkClient::dropClient()
{
    signalsOfClient.clear();
    signalsOfObjects.clear();
    followedProfile.reset();
    client.reset();
}

/// libnm tells one change of the daemon by several signals; only after the last of them do its objects fit
/// together.
void SystemNetworkClient::refreshSoon()
{
    if (refreshDue)
        return;
    refreshDue = true;
    QMetaObject::invokeMethod(this, &SystemNetworkClient::refresh, Qt::QueuedConnection);
}

void SystemNetworkClient::refresh()
{
    refreshDue = false;
    const bool otherProfile = profileRewritten || profile() != followedProfile.get();
    profileRewritten = false;
    followObjects();
    if (isKnown())
        daemonWaiters.release(running());
    if (agent && agent->isRegistered())
        agentWaiters.release(Success{});
    if (otherProfile)
        Q_EMIT profileChanged();
    Q_EMIT changed();
}

void SystemNetworkClient::followObjects()
{
    signalsOfObjects.clear();
    const auto moved = [](gpointer data) {
        auto *self = static_cast<SystemNetworkClient *>(data);
        self->refreshSoon();
        Q_EMIT self->tunnelMoved();
    };
    for (const SystemNetworkTunnel &tunnel : tunnels())
        signalsOfObjects.follow(tunnel.handle(), "notify::state", moved, this);
    followedProfile = refObject(profile());
    if (!followedProfile)
        return;
    const auto rewritten = [](gpointer data) {
        auto *self = static_cast<SystemNetworkClient *>(data);
        self->profileRewritten = true;
        self->refreshSoon();
    };
    signalsOfObjects.follow(followedProfile.get(), "changed", rewritten, this);
}

Result<> SystemNetworkClient::running() const
{
    if (isRunning())
        return Success{};
    return lastFailure.value_or(systemnetwork::daemonAbsent());
}

} // namespace velmora
