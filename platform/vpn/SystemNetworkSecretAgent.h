#pragma once

#include "platform/vpn/SystemNetworkProfile.h"

#include <QDBusContext>
#include <QDBusObjectPath>
#include <QObject>

namespace velmora {

/// Gives NetworkManager the secrets of our profile while the program runs: it looks up the profile's
/// references in the credential store. It answers for no other profile, keeps nothing and asks nobody.
class SystemNetworkSecretAgent final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.NetworkManager.SecretAgent")

public:
    /// The unique bus name of the daemon, the only caller that gets an answer.
    void setDaemon(const QString &uniqueName) { daemon = uniqueName; }

public Q_SLOTS:
    /// The D-Bus interface.
    SystemNetworkSettings GetSecrets(const SystemNetworkSettings &connection, const QDBusObjectPath &path,
                                     const QString &settingName, const QStringList &hints, uint flags);
    /// Every request is answered before it can be cancelled.
    void CancelGetSecrets(const QDBusObjectPath &, const QString &) {}
    // The secrets belong to the credential store: the daemon asks to save and delete them also when a profile
    // merely comes or goes, and for the profiles of other programs too.
    void SaveSecrets(const SystemNetworkSettings &, const QDBusObjectPath &) {}
    void DeleteSecrets(const SystemNetworkSettings &, const QDBusObjectPath &) {}

private:
    QString daemon;
};

} // namespace velmora
