#pragma once

#include <QtGlobal>

namespace velmora {

/// Something that the client needs of the system and does not find. The credential store and the VPN manager
/// each say which of theirs are missing (`missing()`), and tell when that changes (`missingChanged()`). What
/// has not answered yet is not missing.
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
