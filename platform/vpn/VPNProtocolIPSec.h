#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace velmora {

enum class VPNIKEAuthenticationMethod : int { None = 0, Certificate = 1, SharedSecret = 2 };

/// The IPSec part of the profile. Secrets are given by persistent references into the credential store.
struct VPNProtocolIPSec
{
    QString serverAddress;
    bool disconnectOnSleep = false;
    QString localIdentifier;
    VPNIKEAuthenticationMethod authenticationMethod = VPNIKEAuthenticationMethod::None;
    std::optional<QString> username;
    std::optional<QByteArray> passwordReference;
    std::optional<QByteArray> sharedSecretReference;
    bool useExtendedAuthentication = false;

    bool operator==(const VPNProtocolIPSec &) const = default;
};

} // namespace velmora
