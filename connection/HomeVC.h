#pragma once

#include "account/Keychain.h"
#include "api/Records.h"
#include "platform/vpn/VPNManager.h"
#include "servers/HomeScreen.h"
#include "servers/PingTest.h"
#include "ui/Outlet.h"
#include "ui/Screen.h"

#include <QHash>

class QLabel;
class QTimer;

namespace velmora {

class CircleImageView;
class CountryTV;
class FavoriteTV;
class IconButton;
class IconView;
class PowerButton;
class StatusCard;

/// The home screen: the lists and the choice (HomeVC.cpp), the profile and the tunnel (HomeVCTunnel.cpp), the
/// latency survey (HomeVCSurvey.cpp).
class HomeVC final : public Screen, public HomeScreen
{
    Q_OBJECT

public:
    HomeVC();
    ~HomeVC() override;

    void viewDidLoad() override;
    void viewDidAppear() override;

    void servicesReply(const std::optional<QList<Service>> &services) override;
    void showInstallModal() override;
    /// The selection handler of the lists: the endpoint id, negative when nothing is selected, and the list.
    void selectedEndpointChanged(qint64 endpointId, const QWidget *list);

    void connectButtonClicked();
    void pingButtonClicked();
    void helpButtonClicked();
    void settingsButtonClickedWithSender();
    void updateButtonClicked();
    void closeButtonClicked();
    void button1Clicked();
    void button2Clicked();
    void button3Clicked();

    void VPNStatusDidChange();
    void firePingTimer();

protected:
    std::unique_ptr<QWidget> makeView() override;
    void willBeReleased() override;

private:
    void favoritesReply(const std::optional<QList<qint64>> &favorites);
    void reloadLists();
    /// Marks the chosen endpoint in the list that holds it; one that neither list holds any more is no
    /// choice.
    void reselectEndpoint();

    void observeTunnel();
    void connectReplied(const std::optional<EndpointConnectResponse> &reply);
    void configureProfile(const EndpointConnectResponse &details);
    void profileSaved(const std::optional<PlatformError> &error);
    void profileReloaded(const std::optional<PlatformError> &error);
    void tunnelStarted(const std::optional<PlatformError> &error);

    enum class TimerMode { Fast, Slow };
    void setTimerMode(TimerMode mode);
    void showSurvey();
    void surveyNext();
    void probeEnded(const Service &endpoint, const PingTest::Summary &result);

    std::shared_ptr<HomeVC> self();

    Outlet<FavoriteTV> favorites;
    Outlet<CountryTV> countries;
    Outlet<PowerButton> connectButton;
    Outlet<QLabel> connectText;
    Outlet<QLabel> connectStatusText;
    Outlet<StatusCard> statusCard;
    Outlet<IconButton> pingButton;
    Outlet<QWidget> updateModal;
    Outlet<QWidget> installModal;
    Outlet<IconView> disconnectedMessageView; // declared
    Outlet<IconView> connectedMessageView;    // declared
    Outlet<CircleImageView> flagImageView;    // declared
    Outlet<QLabel> labelConnectionStatus;     // declared

    Keychain keychain;
    VPNManager &vpnManager;
    bool isConnected = false;
    /// Negative when none is chosen.
    qint64 selectedEndpointId = -1;
    std::optional<QString> vpnUsername;
    /// References to items of the credential store, never the secrets.
    std::optional<QByteArray> vpnPassword;
    std::optional<QByteArray> vpnSharedSecret;
    QObject *notificationObserver = nullptr; // declared

    /// Index into the store's list of the endpoint that is being probed; -1 when no survey runs.
    qint64 currentPingEndpoint = -1;
    std::shared_ptr<PingTest> ping;
    /// The last result of each endpoint, by id.
    QHash<qint64, PingTest::Summary> pingResults;
    /// True if a result has arrived since the lists were last refreshed.
    bool pendingPingResponses = false;
    /// Runs as long as the program and keeps this screen alive.
    QTimer *pingTimer = nullptr;
    /// Counts the ticks with a result, cyclic from 0 to 4.
    qint64 tick = 1;
    /// Declared.
    QList<PingTest::Summary> pings;
};

} // namespace velmora
