#pragma once

#include "platform/Result.h"
#include "platform/vpn/VPNManager.h"

#include <QMap>
#include <QVariantMap>

namespace velmora {

/// The settings of a connection, or the secrets of one, as NetworkManager's D-Bus API writes them
/// (a{sa{sv}}).
using SystemNetworkSettings = QMap<QString, QVariantMap>;

/// The application's one profile, and how NetworkManager writes it: a connection of type "vpn" for the vpnc
/// plugin, which speaks IKEv1 aggressive mode with a shared secret and extended authentication.
///
/// | here                          | there                                                    |
/// |-------------------------------|----------------------------------------------------------|
/// | `serverAddress`               | vpn.data "IPSec gateway", repeated in user.data          |
/// | `localIdentifier`             | vpn.data "IPSec ID"                                      |
/// | `username`                    | vpn.data "Xauth username" unless empty; in user.data too |
/// | the secrets                   | nowhere: their flags say that an agent owns them         |
/// | the references to them        | user.data, in Base64                                     |
/// | `enabled`                     | user.data, "true" or "false"                             |
/// | `disconnectOnSleep`           | the opposite of vpn.persistent                           |
/// | `isPrivate`                   | connection.permissions names this user                   |
/// | IKE group, NAT traversal, DPD | vpn.data, from the configuration                         |
///
/// The mark in user.data says that the profile is this application's. The tunnel takes the default route, and
/// its name servers are asked alone (a negative ipv4.dns-priority). The daemon never starts it by itself.
struct SystemNetworkProfile
{
    VPNProtocolIPSec protocol;
    bool enabled = false;
    bool isPrivate = true;

    /// The profile's UUID: one for the application and the user, because two people at one machine cannot
    /// share references into their own credential stores.
    static QString uuid();
    /// NetworkManager's name of the plugin that runs the tunnel.
    static QString serviceType() { return QStringLiteral("org.freedesktop.NetworkManager.vpnc"); }

    /// Fails where a text cannot be sent.
    Result<SystemNetworkSettings> toSettings() const;
    /// Absent where the settings bear another UUID or not the application's mark.
    static std::optional<SystemNetworkProfile> fromSettings(const SystemNetworkSettings &settings);
    /// True if the tunnel would lead to the gateway, and as the user, that this application saved.
    static bool isAsSaved(const SystemNetworkSettings &settings);
};

} // namespace velmora
