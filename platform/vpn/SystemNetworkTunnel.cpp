#include "platform/vpn/SystemNetworkTunnel.h"

#include "platform/vpn/SystemNetworkLibrary.h"

namespace velmora {

QByteArray SystemNetworkTunnel::path() const
{
    return nm_object_get_path(NM_OBJECT(object));
}

SystemNetworkTunnel::State SystemNetworkTunnel::state() const
{
    switch (nm_active_connection_get_state(object)) {
    case NM_ACTIVE_CONNECTION_STATE_UNKNOWN:
    case NM_ACTIVE_CONNECTION_STATE_ACTIVATING:
        return State::Activating;
    case NM_ACTIVE_CONNECTION_STATE_ACTIVATED:
        return State::Activated;
    case NM_ACTIVE_CONNECTION_STATE_DEACTIVATING:
        return State::Deactivating;
    case NM_ACTIVE_CONNECTION_STATE_DEACTIVATED:
        break;
    }
    return State::Deactivated;
}

bool SystemNetworkTunnel::isUpOrComingUp() const
{
    return state() == State::Activating || state() == State::Activated;
}

SystemNetworkStatus::Tunnel SystemNetworkTunnel::facts(bool stopRequested) const
{
    const NMActiveConnectionStateReason reason = nm_active_connection_get_state_reason(object);
    const bool onRequest = reason == NM_ACTIVE_CONNECTION_STATE_REASON_USER_DISCONNECTED ||
                           reason == NM_ACTIVE_CONNECTION_STATE_REASON_CONNECTION_REMOVED;
    const QByteArray ownPath = path();
    // The daemon counts its active connections in the last part of the path.
    const quint64 number = ownPath.mid(ownPath.lastIndexOf('/') + 1).toULongLong();
    return {number, state(), onRequest, stopRequested};
}

} // namespace velmora
