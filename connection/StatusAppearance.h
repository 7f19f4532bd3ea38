#pragma once

#include "platform/vpn/VPNManager.h"

#include <QString>

namespace velmora {

/// The texts of the home screen for a tunnel status.
struct StatusAppearance
{
    /// The status's name on standard output.
    QString printed;
    QString statusText;
    QString buttonText;
    /// True if the next press of the connect button disconnects.
    bool isConnected = false;
};

/// A value outside the enumeration is a fatal error. `enabled`, the flag of the profile, matters only while
/// the status is invalid.
StatusAppearance appearanceOf(VPNStatus status, bool enabled);

} // namespace velmora
