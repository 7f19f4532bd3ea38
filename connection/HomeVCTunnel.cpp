#include "connection/HomeVC.h"

#include "api/NetworkManager.h"
#include "connection/StatusCard.h"
#include "platform/Log.h"
#include "ui/Announcement.h"

#include <QLabel>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

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

/// `enabled`, the flag of the profile, matters only while the status is invalid.
StatusAppearance appearanceOf(VPNStatus status, bool enabled)
{
    const QString connect = u"Quick Connect"_s;
    const QString disconnect = u"Disconnect"_s;
    switch (status) {
    case VPNStatus::Invalid:
        return {u"Invalid"_s, enabled ? u"Connected"_s : u"Disconnected"_s, enabled ? disconnect : connect,
                enabled};
    case VPNStatus::Disconnected:
        return {u"Disconnected"_s, u"Disconnected"_s, connect, false};
    case VPNStatus::Connecting:
        return {u"Connecting"_s, u"Connecting"_s, disconnect, false};
    case VPNStatus::Connected:
        return {u"Connected"_s, u"Connected"_s, disconnect, true};
    case VPNStatus::Reasserting:
        return {u"Reasserting"_s, u"Reasserting Connection"_s, disconnect, false};
    case VPNStatus::Disconnecting:
        return {u"Disconnecting"_s, u"Disconnecting"_s, disconnect, false};
    }
    fatalError(u"unknown VPN status %1"_s.arg(static_cast<int>(status)));
}

} // namespace

void HomeVC::observeTunnel()
{
    connect(&vpnManager, &VPNManager::statusDidChange, this, &HomeVC::VPNStatusDidChange);
    VPNStatusDidChange();
    vpnManager.loadFromPreferences([](const std::optional<PlatformError> &error) {
        systemLog(u"Error loading VPN config from preferences: "_s +
                  (error ? error->description() : u"nil"_s));
    });
}

void HomeVC::VPNStatusDidChange()
{
    printLine(u"VPN Status changed:"_s);
    const StatusAppearance appearance =
        appearanceOf(vpnManager.connection().status(), vpnManager.isEnabled());
    printLine(appearance.printed);
    isConnected = appearance.isConnected;
    if (connectStatusText->isVisible() && connectStatusText->text() != appearance.statusText)
        announce(connectStatusText.get(), appearance.statusText);
    connectText->setText(appearance.buttonText);
    connectStatusText->setText(appearance.statusText);
    connectButton->setImageNamed(appearance.buttonText == u"Quick Connect"_s ? u"power"_s : u"power1"_s);
    connectButton->setAccessibleName(appearance.buttonText);
    statusCard->setProtected(isConnected);
}

void HomeVC::connectButtonClicked()
{
    if (isConnected) {
        systemLog(u"disconnecting"_s);
        vpnManager.connection().stopVPNTunnel();
        return;
    }
    systemLog(u"connecting"_s);
    if (selectedEndpointId < 0)
        return;
    NetworkManager::forOneRequest().connectEndpoint(
        selectedEndpointId, [screen = self()](const std::optional<EndpointConnectResponse> &reply) {
            screen->connectReplied(reply);
        });
}

void HomeVC::connectReplied(const std::optional<EndpointConnectResponse> &reply)
{
    if (!reply) {
        systemLog(u"incomplete response from server"_s);
        return;
    }
    // The log names the shared secret on purpose, and no other secret.
    systemLog(u"connect to %1, %2"_s.arg(reply->address, reply->configuration));
    vpnManager.loadFromPreferences(
        [screen = self(), details = *reply](const std::optional<PlatformError> &error) {
            if (error)
                systemLog(u"error, %1 / %2"_s.arg(error->domain, QString::number(error->code)));
            else
                screen->configureProfile(details);
        });
}

void HomeVC::configureProfile(const EndpointConnectResponse &details)
{
    systemLog(u"configure VPN preferences"_s);
    VPNProtocolIPSec profile;
    keychain.set(details.configuration, u"sharedSecret"_s);
    systemLog(u"set shared secret"_s);
    keychain.set(details.password, u"password"_s);
    systemLog(u"set vpn password"_s);
    vpnUsername = keychain.text(u"username"_s);
    const auto referenceOf = [this](const QString &key) -> std::optional<QByteArray> {
        const auto attributes = keychain.attributes(key);
        return attributes ? std::optional(attributes->persistentReference) : std::nullopt;
    };
    vpnPassword = referenceOf(u"password"_s);
    vpnSharedSecret = referenceOf(u"sharedSecret"_s);

    profile.serverAddress = details.address;
    profile.disconnectOnSleep = false;
    profile.localIdentifier = u"client"_s;
    profile.authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret;
    profile.username = vpnUsername;
    profile.passwordReference = vpnPassword;
    profile.sharedSecretReference = vpnSharedSecret;
    profile.useExtendedAuthentication = true;
    // The second assignment is on purpose.
    profile.disconnectOnSleep = false;
    vpnManager.setProtocolConfiguration(profile);
    vpnManager.setEnabled(true);
    vpnManager.saveToPreferences(
        [screen = self()](const std::optional<PlatformError> &error) { screen->profileSaved(error); });
}

void HomeVC::profileSaved(const std::optional<PlatformError> &error)
{
    if (error) {
        printLine(u"VPN Preferences error: 2"_s);
        return;
    }
    // The system starts a saved profile only after another load.
    vpnManager.loadFromPreferences(
        [screen = self()](const std::optional<PlatformError> &failure) { screen->profileReloaded(failure); });
}

void HomeVC::profileReloaded(const std::optional<PlatformError> &error)
{
    if (error) {
        // The text is the same as after a failed save.
        printLine(u"VPN Preferences error: 2"_s);
        return;
    }
    vpnManager.connection().startVPNTunnel(
        [screen = self()](const std::optional<PlatformError> &failure) { screen->tunnelStarted(failure); });
}

void HomeVC::tunnelStarted(const std::optional<PlatformError> &error)
{
    if (error) {
        printLine(error->description());
        printLine(u"VPN Preferences error: 3"_s);
        printLine(error->description());
        return;
    }
    VPNStatusDidChange();
    printLine(u"VPN started successfully.."_s);
}

} // namespace velmora
