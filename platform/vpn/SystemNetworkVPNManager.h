#pragma once

#include "platform/vpn/VPNManager.h"

namespace velmora {

class SystemNetworkClient;
class SystemNetworkPreferences;
class SystemNetworkVPNConnection;

/// NetworkManager as the system's VPN configuration, and the manager that the program uses. Needs Qt's event
/// loop to be GLib's.
class SystemNetworkVPNManager final : public VPNManager
{
    Q_OBJECT

public:
    SystemNetworkVPNManager();
    ~SystemNetworkVPNManager() override;

    void loadFromPreferences(Completion completion) override;
    void saveToPreferences(Completion completion) override;
    void removeFromPreferences(Completion completion) override;
    void setProtocolConfiguration(const VPNProtocolIPSec &protocol) override;
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override;
    void setEnabled(bool enabled) override;
    bool isEnabled() const override;
    VPNConnection &connection() override;

private:
    void readSavedEnabled();

    std::unique_ptr<SystemNetworkClient> client;
    std::unique_ptr<SystemNetworkPreferences> preferences;
    std::unique_ptr<SystemNetworkVPNConnection> tunnel;
    std::optional<VPNProtocolIPSec> protocol;
    bool savedEnabled = false;
    /// What was set and not yet saved or refused, and how often anything was set.
    std::optional<bool> assignedEnabled;
    int assignments = 0;
};

} // namespace velmora
