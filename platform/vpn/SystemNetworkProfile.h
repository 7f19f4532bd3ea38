#pragma once

#include "platform/network/GLibPointer.h"
#include "platform/Result.h"
#include "platform/vpn/VPNProtocolIPSec.h"

using NMConnection = struct _NMConnection;

namespace velmora {

/// What the application's one profile holds, and how NetworkManager writes it: a connection of type "vpn" for
/// the vpnc plugin, which speaks IKEv1 aggressive mode with a shared secret and extended authentication.
///
/// | here                                      | there                                                      |
/// |-------------------------------------------|------------------------------------------------------------|
/// | `serverAddress`                           | vpn data "IPSec gateway"                                   |
/// | `localIdentifier`                         | vpn data "IPSec ID"                                        |
/// | `username`                                | vpn data "Xauth username", left out when absent or empty   |
/// | the secrets                               | nowhere: their flags say that an agent owns them           |
/// | `passwordReference`, `sharedSecretReference` | user data "velmora.…-reference", in Base64              |
/// | `enabled`                                 | user data "velmora.enabled", "true" or "false"             |
/// | `disconnectOnSleep`                       | the opposite of vpn.persistent                             |
/// | IKE group, NAT traversal, DPD             | vpn data, from the configuration                           |
///
/// The tunnel takes the default route and its name servers are asked alone (a negative ipv4.dns-priority).
/// The daemon never starts it by itself (no autoconnect).
class SystemNetworkProfile
{
public:
    /// Who sees the profile: the user alone, or everybody on the system.
    enum class Scope { Private, SystemWide };

    VPNProtocolIPSec protocol;
    bool enabled = false;

    bool operator==(const SystemNetworkProfile &) const = default;

    /// UUID of the profile: one for the application and the user, for two people at one machine cannot share
    /// references into their own credential stores.
    static QString uuid();
    /// The daemon's name of the plugin that runs the tunnel.
    static constexpr const char *serviceType = "org.freedesktop.NetworkManager.vpnc";

    /// Fails where the plugin has no way to say what `protocol` asks for.
    Result<GObjectPtr<NMConnection>> toConnection(Scope scope) const;
    /// Takes what is there; what another program has removed is absent.
    static SystemNetworkProfile fromConnection(NMConnection *connection);
    static Scope scopeOf(NMConnection *connection);
};

} // namespace velmora
