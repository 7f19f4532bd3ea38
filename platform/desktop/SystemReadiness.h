#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

namespace velmora {

class BusNameWatch;
class KeyringWatch;
class VPNPluginWatch;

/// What the client needs of the system and does not find: told once after the start, and from then on when
/// the system has news of it. What has not answered does not count as missing. Nothing blocks, nothing is
/// polled, and nobody is asked for anything.
class SystemReadiness final : public QObject
{
    Q_OBJECT

public:
    enum class Missing {
        NetworkManager,
        VPNPlugin,
        SecretService,
        /// The Secret Service has no default collection.
        DefaultKeyring,
        UnlockedKeyring,
    };
    Q_ENUM(Missing)

    /// `pluginFolders` are those in which NetworkManager looks for descriptions of its VPN plugins.
    explicit SystemReadiness(QStringList pluginFolders = {QStringLiteral("/usr/lib/NetworkManager/VPN"),
                                                          QStringLiteral("/etc/NetworkManager/VPN")});
    ~SystemReadiness() override;

    /// In the order of the enumeration.
    const QList<Missing> &missing() const { return told; }

Q_SIGNALS:
    void missingChanged();

private:
    void begin();
    void newsCame();
    void tell(const QList<Missing> &parts);
    QList<Missing> seen() const;

    const QStringList pluginFolders;
    std::unique_ptr<BusNameWatch> daemon;
    std::unique_ptr<VPNPluginWatch> plugin;
    std::unique_ptr<KeyringWatch> keyring;
    QTimer settling;
    QList<Missing> told;
};

} // namespace velmora
