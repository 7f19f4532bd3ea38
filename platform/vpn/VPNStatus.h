#pragma once

namespace velmora {

enum class VPNStatus : int {
    /// There is no profile.
    Invalid = 0,
    Disconnected = 1,
    Connecting = 2,
    Connected = 3,
    /// The system itself re-establishes a lost tunnel.
    Reasserting = 4,
    Disconnecting = 5,
};

} // namespace velmora
