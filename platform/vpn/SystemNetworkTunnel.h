#pragma once

#include "platform/vpn/SystemNetworkStatus.h"

#include <QByteArray>

using NMActiveConnection = struct _NMActiveConnection;

namespace velmora {

/// One tunnel of our profile in libnm's copy of the daemon's objects. To be used at once and not kept: it
/// does not keep the object alive.
class SystemNetworkTunnel
{
public:
    using State = SystemNetworkStatus::Tunnel::State;

    explicit SystemNetworkTunnel(NMActiveConnection *activeConnection) : object(activeConnection) {}

    NMActiveConnection *handle() const { return object; }
    /// Its D-Bus object path, which is another one for each tunnel of one run of the daemon.
    QByteArray path() const;
    State state() const;
    bool isAlive() const { return state() != State::Deactivated; }
    bool isUpOrComingUp() const;
    SystemNetworkStatus::Tunnel facts(bool stopRequested) const;

private:
    NMActiveConnection *object;
};

} // namespace velmora
