#pragma once

#include "platform/vpn/VPNStatus.h"

#include <QString>

namespace velmora {

/// What the home screen says of a tunnel status.
struct StatusAppearance
{
    /// The status's name on standard output.
    QString printed;
    QString statusText;
    QString buttonText;
    /// Whether the next press of the connect button disconnects.
    bool isConnected = false;
};

/// A value that is no status is a fatal error. `enabled`, whether the profile is, matters only without a
/// valid one.
StatusAppearance appearanceOf(VPNStatus status, bool enabled);

} // namespace velmora
