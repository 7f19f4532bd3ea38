#pragma once

#include "platform/network/GLibCalls.h"
#include "platform/Result.h"
#include "platform/vpn/SystemNetworkSignals.h"
#include "platform/vpn/SystemNetworkTunnel.h"
#include "platform/vpn/SystemNetworkWaiters.h"

#include <QObject>
#include <QTimer>

#include <vector>

using NMClient = struct _NMClient;
using NMRemoteConnection = struct _NMRemoteConnection;

namespace velmora {

class SystemNetworkSecretAgent;

/// This process's view of NetworkManager: a connection of its own to the system bus, libnm's copy of the
/// daemon's objects, and our secret agent. Daemon and bus may come, go and return at any time.
class SystemNetworkClient final : public QObject
{
    Q_OBJECT

public:
    SystemNetworkClient();
    ~SystemNetworkClient() override;

    /// Whether it has been found out if the daemon runs.
    bool isKnown() const;
    bool isRunning() const;
    /// Null while there is no bus.
    NMClient *handle() const { return client.get(); }
    /// The saved profile; null without one.
    NMRemoteConnection *profile() const;
    /// The tunnels of our profile that the daemon has, also those that have just ended.
    std::vector<SystemNetworkTunnel> tunnels() const;

    /// Succeeds as soon as the daemon is known to run; fails when it does not, or when that is not to be
    /// found out within a few seconds. Never runs `handler` within the call.
    void whenRunning(SystemNetworkWaiters::Handler handler);
    /// Succeeds as soon as the daemon can ask for secrets; fails when it cannot within a few seconds.
    void whenAgentRegistered(SystemNetworkWaiters::Handler handler);

Q_SIGNALS:
    /// The copy of the profile is another one, as the daemon has it. Not at once after a save: until the
    /// daemon has told of it, the copy is the old one.
    void profileChanged();
    /// A tunnel has another state. Comes for each of them, while `changed()` comes once for several.
    void tunnelMoved();
    /// Anything that can be asked here is other than before; comes after `profileChanged()`.
    void changed();

private:
    void open();
    void busOpened(GAsyncResult *result);
    void createClient();
    void clientCreated(GAsyncResult *result);
    void daemonCameOrWent();
    void busClosed();
    void drop(const PlatformError &error);
    void dropClient();
    void refreshSoon();
    void refresh();
    void followObjects();
    Result<> running() const;

    GObjectPtr<GDBusConnection> bus;
    GObjectPtr<NMClient> client;
    std::unique_ptr<SystemNetworkSecretAgent> agent;
    SystemNetworkSignals signalsOfBus;
    SystemNetworkSignals signalsOfClient;
    SystemNetworkSignals signalsOfObjects;
    GLibCalls calls;
    SystemNetworkWaiters daemonWaiters;
    SystemNetworkWaiters agentWaiters;
    /// Why there is no client, once an attempt has ended without one.
    std::optional<PlatformError> lastFailure;
    QTimer retry;
    GObjectPtr<NMRemoteConnection> followedProfile;
    /// Whether the client has seen the daemon without a gap.
    bool clientIsWhole = false;
    bool profileRewritten = false;
    bool refreshDue = false;
};

} // namespace velmora
