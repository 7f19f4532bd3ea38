#pragma once

#include "platform/network/GLibCalls.h"
#include "platform/vpn/SystemNetworkStatus.h"
#include "platform/vpn/VPNConnection.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <deque>

namespace velmora {

class SystemNetworkClient;
class SystemNetworkPreferences;

/// The tunnel, as NetworkManager runs it.
///
/// A start always ends with a tunnel of the profile that was last saved: where one is up, or comes up, that
/// was begun before that save, it is ended first. Starts are done one after another; a stop ends also those
/// that were asked for before it.
class SystemNetworkVPNConnection final : public QObject, public VPNConnection
{
    Q_OBJECT

public:
    SystemNetworkVPNConnection(SystemNetworkClient &networkClient,
                               SystemNetworkPreferences &networkPreferences);

    VPNStatus status() const override;
    void startVPNTunnel(std::function<void(VPNStartOutcome)> completion) override;
    void stopVPNTunnel() override;

Q_SIGNALS:
    /// Always from the event loop, never within a call of this object.
    void statusDidChange();

private:
    enum class Phase { Queued, AwaitingAgent, EndingOthers, Activating };

    struct Start
    {
        std::function<void(VPNStartOutcome)> completion;
        Phase phase = Phase::Queued;
        /// Whether a stop was asked for after this start.
        bool stopped = false;
        /// Whether the profile was opened to all users for it.
        bool widened = false;
    };

    void begin();
    void prepare();
    void endOthers();
    void activate();
    void activated(GAsyncResult *result);
    void activationRefused(const PlatformError &error);
    void finish(const VPNStartOutcome &outcome);
    void stop();
    void deactivateAll();
    void deactivate(const QByteArray &path);
    void deactivated(const QByteArray &path, GAsyncResult *result);
    void follow();
    void noteTunnels();
    void tellStatus();
    bool isUnderWay(Phase phase) const;
    bool anyAlive() const;
    /// Whether a tunnel is up, or coming up, that is not to be ended first.
    bool isUpWithSavedProfile() const;
    SystemNetworkStatus::Facts facts() const;

    SystemNetworkClient &client;
    SystemNetworkPreferences &preferences;
    SystemNetworkStatus machine;
    std::deque<Start> starts;
    /// Paths of the tunnels whose end we have asked for.
    QSet<QByteArray> stopRequested;
    /// By path, the revision of the profile that a tunnel was begun with.
    QHash<QByteArray, int> revisions;
    int activationRevision = 0;
    QTimer endBound;
    GLibCalls calls;
};

} // namespace velmora
