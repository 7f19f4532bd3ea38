#include "platform/SystemNetworkClient.h"

#include "platform/SystemNetworkErrors.h"
#include "platform/SystemNetworkLibrary.h"
#include "platform/SystemNetworkProfile.h"
#include "platform/SystemNetworkSecretAgent.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds readinessBound = 3s;
constexpr std::chrono::milliseconds retryInterval = 2s;

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
    return client && nm_client_get_nm_running(client.get()) != FALSE;
}

NMRemoteConnection *SystemNetworkClient::profile() const
{
    if (!isRunning())
        return nullptr;
    return nm_client_get_connection_by_uuid(client.get(), SystemNetworkProfile::uuid().toUtf8().constData());
}

std::vector<NMActiveConnection *> SystemNetworkClient::tunnels() const
{
    std::vector<NMActiveConnection *> found;
    if (!isRunning())
        return found;
    const QByteArray uuid = SystemNetworkProfile::uuid().toUtf8();
    const GPtrArray *all = nm_client_get_active_connections(client.get());
    for (guint i = 0; i < all->len; ++i) {
        auto *connection = static_cast<NMActiveConnection *>(all->pdata[i]);
        // Paths begin again with each run of the daemon; the UUID stays.
        if (uuid == nm_active_connection_get_uuid(connection))
            found.push_back(connection);
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
        fail(systemnetwork::failure(error));
        return;
    }
    g_dbus_connection_new_for_address(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, calls.cancellable(), SystemNetworkCalls::ready,
        calls.expect([this](GAsyncResult *result) { busOpened(result); }));
}

void SystemNetworkClient::busOpened(GAsyncResult *result)
{
    GError *error = nullptr;
    bus.reset(g_dbus_connection_new_for_address_finish(result, &error));
    if (!bus) {
        fail(systemnetwork::failure(error));
        return;
    }
    g_async_initable_new_async(
        NM_TYPE_CLIENT, G_PRIORITY_DEFAULT, calls.cancellable(), SystemNetworkCalls::ready,
        calls.expect([this](GAsyncResult *created) { clientCreated(created); }), NM_CLIENT_DBUS_CONNECTION,
        bus.get(), NM_CLIENT_INSTANCE_FLAGS, NM_CLIENT_INSTANCE_FLAGS_NO_AUTO_FETCH_PERMISSIONS, nullptr);
}

void SystemNetworkClient::clientCreated(GAsyncResult *result)
{
    const GObjectPtr<GObject> source(g_async_result_get_source_object(result));
    GError *error = nullptr;
    client.reset(reinterpret_cast<NMClient *>(
        g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()), result, &error)));
    if (!client) {
        fail(systemnetwork::failure(error));
        return;
    }
    if (g_dbus_connection_is_closed(bus.get())) {
        client.reset();
        fail(systemnetwork::daemonAbsent());
        return;
    }
    lastFailure.reset();
    const auto refreshSelf = [](gpointer self) {
        static_cast<SystemNetworkClient *>(self)->refreshSoon();
    };
    for (const char *signal : {"notify::nm-running", "active-connection-added", "active-connection-removed",
                               "connection-added", "connection-removed"})
        signalsOfClient.follow(client.get(), signal, refreshSelf, this);
    signalsOfClient.follow(
        bus.get(), "closed", [](gpointer self) { static_cast<SystemNetworkClient *>(self)->close(); }, this);
    agent = std::make_unique<SystemNetworkSecretAgent>(bus.get(), [this] { refreshSoon(); });
    refresh();
}

void SystemNetworkClient::fail(const PlatformError &error)
{
    bus.reset();
    lastFailure = error;
    retry.start();
    refreshSoon();
}

/// The bus is gone. What hangs on it is dropped from the event loop, not from under its own signal.
void SystemNetworkClient::close()
{
    const auto drop = [this] {
        signalsOfClient.clear();
        signalsOfObjects.clear();
        followedProfile.reset();
        agent.reset();
        client.reset();
        fail(systemnetwork::daemonAbsent());
    };
    QMetaObject::invokeMethod(this, drop, Qt::QueuedConnection);
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
    const auto refreshSelf = [](gpointer self) {
        static_cast<SystemNetworkClient *>(self)->refreshSoon();
    };
    for (NMActiveConnection *tunnel : tunnels())
        signalsOfObjects.follow(tunnel, "notify::state", refreshSelf, this);
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
