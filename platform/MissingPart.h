#pragma once

#include <QtGlobal>

namespace velmora {

/// A part of the system that the client needs and does not find. The credential store and the VPN manager
/// return those that they miss (`missing()`) and signal a change (`missingChanged()`). A part that has not
/// answered yet is not missing.
enum class MissingPart {
    NetworkManager,
    VPNPlugin,
    /// There is no Secret Service, and none can be started.
    SecretService,
    /// The Secret Service has no default collection.
    DefaultKeyring,
    /// The default collection, or an item of ours in it, is locked.
    UnlockedKeyring,
};

} // namespace velmora
