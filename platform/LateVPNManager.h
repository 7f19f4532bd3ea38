#pragma once

#include "platform/VPNConnection.h"
#include "platform/VPNManager.h"

#include <vector>

namespace velmora {

/// Stands in for a manager that comes later. Until then nothing is known of the system's profile, as when its
/// daemon has not answered yet, and what is asked waits, in the order of the calls.
class LateVPNManager final : public VPNManager, public VPNConnection
{
    Q_OBJECT

public:
    LateVPNManager();
    ~LateVPNManager() override;

    /// Has this one do all that was asked, and all that will be. Called once.
    void setManager(std::unique_ptr<VPNManager> real);

    void loadFromPreferences(Completion completion) override;
    void saveToPreferences(Completion completion) override;
    void removeFromPreferences(Completion completion) override;
    void setProtocolConfiguration(const VPNProtocolIPSec &protocol) override;
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override;
    void setEnabled(bool enabled) override;
    bool isEnabled() const override;
    VPNConnection &connection() override { return *this; }

    VPNStatus status() const override;
    void startVPNTunnel(std::function<void(VPNStartOutcome)> completion) override;
    void stopVPNTunnel() override;

private:
    using Call = std::function<void(VPNManager &)>;

    void whenSet(Call call);

    std::unique_ptr<VPNManager> manager;
    std::vector<Call> waiting;
};

} // namespace velmora
