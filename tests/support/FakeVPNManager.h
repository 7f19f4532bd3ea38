#pragma once

#include "platform/vpn/VPNManager.h"
#include "tests/support/OutputCapture.h"

#include <QQueue>
#include <QTimer>

namespace velmora::testing {

using namespace Qt::StringLiterals;

/// A VPN configuration and tunnel in memory: answers with the scripted outcomes, success where there is none,
/// always from the event loop, and notes each call in the capture's order.
class FakeVPNManager final : public VPNManager, public VPNConnection
{
public:
    /// Makes a new one the manager of this process.
    static FakeVPNManager &install()
    {
        setSharedManager(std::make_unique<FakeVPNManager>());
        return static_cast<FakeVPNManager &>(sharedManager());
    }

    void loadFromPreferences(VPNCompletion completion) override { answer(u"vpn load"_s, completion); }
    void saveToPreferences(VPNCompletion completion) override
    {
        saved.append(protocol.value_or(VPNProtocolIPSec{}));
        answer(u"vpn save"_s, completion);
    }
    void removeFromPreferences(VPNCompletion) override {}
    void setProtocolConfiguration(const VPNProtocolIPSec &profile) override { protocol = profile; }
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override { return protocol; }
    void setEnabled(bool enabled) override { profileEnabled = enabled; }
    bool isEnabled() const override { return profileEnabled; }
    VPNConnection &connection() override { return *this; }

    VPNStatus status() const override { return currentStatus; }
    void startVPNTunnel(VPNCompletion completion) override { answer(u"vpn start"_s, completion); }
    void stopVPNTunnel() override { OutputCapture::note(u"vpn stop"_s); }

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

    /// By the line that each call leaves in the capture.
    QMap<QString, QQueue<std::optional<PlatformError>>> outcomes;
    /// As they were when each save was asked for.
    QList<VPNProtocolIPSec> saved;
    std::optional<VPNProtocolIPSec> protocol;
    bool profileEnabled = false;
    VPNStatus currentStatus = VPNStatus::Invalid;
    QList<MissingPart> missingParts;

private:
    void answer(const QString &call, const VPNCompletion &completion)
    {
        OutputCapture::note(call);
        const auto outcome = outcomes[call].isEmpty() ? std::nullopt : outcomes[call].dequeue();
        QTimer::singleShot(0, this, [completion, outcome] { completion(outcome); });
    }
};

} // namespace velmora::testing
