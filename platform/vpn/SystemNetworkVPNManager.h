#pragma once

#include "platform/vpn/SystemNetworkClient.h"

#include <QFileSystemWatcher>

#include <deque>

namespace velmora {

/// NetworkManager as the system's VPN configuration, and the manager that the program uses.
///
/// A start always ends with a tunnel of the profile that was last saved: where one is up, or comes up, that
/// was begun before that save, it is ended first. Starts are done one after another; a stop ends also those
/// that were asked for before it.
class SystemNetworkVPNManager final : public VPNManager, public VPNConnection
{
    Q_OBJECT

public:
    /// A program that only removes the profile offers no secrets, and can start no tunnel.
    enum class Secrets { Offered, None };

    /// `folders` are those in which NetworkManager looks for descriptions of its VPN plugins.
    explicit SystemNetworkVPNManager(Secrets secrets = Secrets::Offered,
                                     QStringList folders = {QStringLiteral("/usr/lib/NetworkManager/VPN"),
                                                            QStringLiteral("/etc/NetworkManager/VPN")});

    void loadFromPreferences(VPNCompletion completion) override;
    void saveToPreferences(VPNCompletion completion) override;
    void removeFromPreferences(VPNCompletion completion) override;
    void setProtocolConfiguration(const VPNProtocolIPSec &configuration) override
    {
        protocol = configuration;
    }
    std::optional<VPNProtocolIPSec> protocolConfiguration() const override { return protocol; }
    void setEnabled(bool value) override { enabled = value; }
    bool isEnabled() const override { return client.profile() && client.profile()->enabled; }
    VPNConnection &connection() override { return *this; }
    QList<MissingPart> missing() const override { return missingParts; }

    VPNStatus status() const override { return machine.status(); }
    void startVPNTunnel(VPNCompletion completion) override;
    void stopVPNTunnel() override;

private:
    struct Save
    {
        SystemNetworkProfile profile;
        VPNCompletion completion;
    };
    struct Start
    {
        VPNCompletion completion;
        bool underWay = false;
        bool activating = false;
        /// True if a stop was asked for after this start.
        bool stopped = false;
    };

    void save(const SystemNetworkProfile &profile, const VPNCompletion &completion);
    void beginSave();
    void write();
    void finishSave(const std::optional<PlatformError> &error);
    void lookForParts();

    void beginStart();
    void activate();
    void activated(const std::optional<PlatformError> &error, const QString &path, int revision);
    std::optional<PlatformError> obstacle() const;
    void finishStart(const std::optional<PlatformError> &error);
    void deactivateAll();
    void deactivate(quint64 number);
    void updateStatus();

    SystemNetworkClient client;
    std::optional<VPNProtocolIPSec> protocol;
    /// The next save writes it.
    bool enabled = false;
    /// Done one after another, so that two of them make one profile and the later wins.
    std::deque<Save> saves;
    std::deque<Start> starts;
    SystemNetworkStatus machine;
    const QStringList pluginFolders;
    QFileSystemWatcher pluginWatcher;
    QList<MissingPart> missingParts;
};

} // namespace velmora
