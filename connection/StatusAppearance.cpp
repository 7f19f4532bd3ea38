#include "connection/StatusAppearance.h"

#include "platform/Log.h"

namespace velmora {

using namespace Qt::StringLiterals;

StatusAppearance appearanceOf(VPNStatus status, bool enabled)
{
    const QString connect = u"Quick Connect"_s;
    const QString disconnect = u"Disconnect"_s;
    switch (status) {
    case VPNStatus::Invalid:
        return {u"Invalid"_s, enabled ? u"Connected"_s : u"Disconnected"_s, enabled ? disconnect : connect,
                enabled};
    case VPNStatus::Disconnected:
        return {u"Disconnected"_s, u"Disconnected"_s, connect, false};
    case VPNStatus::Connecting:
        return {u"Connecting"_s, u"Connecting"_s, disconnect, false};
    case VPNStatus::Connected:
        return {u"Connected"_s, u"Connected"_s, disconnect, true};
    case VPNStatus::Reasserting:
        return {u"Reasserting"_s, u"Reasserting Connection"_s, disconnect, false};
    case VPNStatus::Disconnecting:
        return {u"Disconnecting"_s, u"Disconnecting"_s, disconnect, false};
    }
    fatalError(u"unknown VPN status %1"_s.arg(static_cast<int>(status)));
}

} // namespace velmora
