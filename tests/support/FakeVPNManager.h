#pragma once

#include "platform/VPNConnection.h"
#include "platform/VPNManager.h"

#include <QQueue>

namespace velmora::testing {

/// A VPN configuration and tunnel in memory: answers with the scripted outcomes, success where there is none,
/// always from the event loop, and notes each call in the capture's order.
class FakeVPNManager final : public VPNManager, public VPNConnection
{
public:
    /// Makes a new one the manager of this process.
    static FakeVPNManager &install();

    void loadFromPreferences(Completion completion) override;
    void saveToPreferences(Completion completion) override;
    void removeFromPreferences(Completion completion) override;
    void setProtocolConfiguration(const VPNProtocolIPSec &profile) override { protocol = profile; }
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override { return protocol; }
    void setEnabled(bool enabled) override { profileEnabled = enabled; }
    bool isEnabled() const override { return profileEnabled; }
    VPNConnection &connection() override { return *this; }

    VPNStatus status() const override { return currentStatus; }
    void startVPNTunnel(std::function<void(VPNStartOutcome)> completion) override;
    void stopVPNTunnel() override;

    /// Takes the status and posts it.
    void post(VPNStatus status);

    QQueue<std::optional<PlatformError>> loads;
    QQueue<std::optional<PlatformError>> saves;
    QQueue<VPNStartOutcome> starts;
    /// As they were when each save was asked for.
    QList<VPNProtocolIPSec> saved;
    std::optional<VPNProtocolIPSec> protocol;
    bool profileEnabled = false;
    VPNStatus currentStatus = VPNStatus::Invalid;
};

} // namespace velmora::testing
