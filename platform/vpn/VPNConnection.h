#pragma once

#include "platform/PlatformError.h"
#include "platform/vpn/VPNStatus.h"

#include <functional>
#include <variant>

namespace velmora {

/// A failure that is no error of the platform; nothing in this process can go on after it.
struct ForeignFailure
{
};

using VPNStartOutcome = std::variant<std::monostate, PlatformError, ForeignFailure>;

/// The tunnel of the application's one VPN profile.
class VPNConnection
{
public:
    virtual ~VPNConnection() = default;

    virtual VPNStatus status() const = 0;

    /// Starts the tunnel of the saved profile. `completion` runs exactly once, from the event loop, when the
    /// system has accepted or refused the start; what becomes of an accepted start is told by the status.
    virtual void startVPNTunnel(std::function<void(VPNStartOutcome)> completion) = 0;

    /// Asks the system to end the tunnel. Does nothing where there is none; the status tells the rest.
    virtual void stopVPNTunnel() = 0;
};

} // namespace velmora
