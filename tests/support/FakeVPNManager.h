#pragma once

#include "platform/vpn/VPNManager.h"
#include "tests/support/OutputCapture.h"

#include <QQueue>

namespace velmora::testing {

/// A VPN configuration and tunnel in memory: answers with the scripted outcomes, success where there is none,
/// always from the event loop, and notes each call in the capture's order.
class FakeVPNManager final : public VPNManager, public VPNConnection
{
public:
    /// Makes a new one the manager of this process.
    static FakeVPNManager &install()
    {
        auto manager = std::make_unique<FakeVPNManager>();
        FakeVPNManager &installed = *manager;
        VPNManager::setSharedManager(std::move(manager));
        return installed;
    }

    void loadFromPreferences(VPNCompletion completion) override { answer("load", loads, completion); }
    void saveToPreferences(VPNCompletion completion) override
    {
        saved.append(protocol.value_or(VPNProtocolIPSec{}));
        answer("save", saves, completion);
    }
    void removeFromPreferences(VPNCompletion completion) override
    {
        protocol.reset();
        QQueue<std::optional<PlatformError>> none;
        answer("remove", none, completion);
    }
    void setProtocolConfiguration(const VPNProtocolIPSec &profile) override { protocol = profile; }
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override { return protocol; }
    void setEnabled(bool enabled) override { profileEnabled = enabled; }
    bool isEnabled() const override { return profileEnabled; }
    VPNConnection &connection() override { return *this; }

    VPNStatus status() const override { return currentStatus; }
    void startVPNTunnel(VPNCompletion completion) override { answer("start", starts, completion); }
    void stopVPNTunnel() override { OutputCapture::note(QStringLiteral("vpn stop")); }

    QList<MissingPart> missing() const override { return missingParts; }
    void lack(const QList<MissingPart> &parts)
    {
        missingParts = parts;
        Q_EMIT missingChanged();
    }

    /// Takes the status and posts it.
    void post(VPNStatus status)
    {
        currentStatus = status;
        Q_EMIT statusDidChange();
    }

    QQueue<std::optional<PlatformError>> loads;
    QQueue<std::optional<PlatformError>> saves;
    QQueue<std::optional<PlatformError>> starts;
    /// As they were when each save was asked for.
    QList<VPNProtocolIPSec> saved;
    std::optional<VPNProtocolIPSec> protocol;
    bool profileEnabled = false;
    VPNStatus currentStatus = VPNStatus::Invalid;
    QList<MissingPart> missingParts;

private:
    void answer(const char *call, QQueue<std::optional<PlatformError>> &scripted,
                const VPNCompletion &completion)
    {
        OutputCapture::note(QStringLiteral("vpn ") + QLatin1String(call));
        const auto outcome = scripted.isEmpty() ? std::nullopt : scripted.dequeue();
        QMetaObject::invokeMethod(
            this, [completion, outcome] { completion(outcome); }, Qt::QueuedConnection);
    }
};

} // namespace velmora::testing
