#pragma once

#include "platform/network/GLibCalls.h"
#include "platform/Result.h"
#include "platform/vpn/SystemNetworkSignals.h"

#include <functional>

using NMConnection = struct _NMConnection;

namespace velmora {

/// Gives NetworkManager the secrets of our profile while the program runs: it looks up the profile's
/// references in the credential store. It answers for no other profile, keeps nothing and asks nobody.
class SystemNetworkSecretAgent
{
public:
    /// Registers with the daemon on `bus`, and again whenever the daemon returns; `onRegistrationChanged`
    /// runs from the event loop.
    SystemNetworkSecretAgent(GDBusConnection *bus, std::function<void()> onRegistrationChanged);
    ~SystemNetworkSecretAgent();
    SystemNetworkSecretAgent(const SystemNetworkSecretAgent &) = delete;
    SystemNetworkSecretAgent &operator=(const SystemNetworkSecretAgent &) = delete;

    bool isRegistered() const;

    /// The secrets for one setting of `connection`, as the daemon's D-Bus interface writes them.
    static Result<GVariantPtr> secretsFor(NMConnection *connection, const char *settingName);

private:
    void created(GAsyncResult *result);

    const std::function<void()> registrationChanged;
    /// An NMSecretAgentOld, whose name cannot be declared without its header.
    GObjectPtr<GObject> agent;
    SystemNetworkSignals signalsOfAgent;
    GLibCalls calls;
};

} // namespace velmora
