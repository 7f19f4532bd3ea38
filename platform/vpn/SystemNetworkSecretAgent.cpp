#include "platform/vpn/SystemNetworkSecretAgent.h"

#include "platform/Configuration.h"
#include "platform/keyring/SecretStore.h"
#include "platform/Log.h"

#include <QDBusMessage>
#include <QRegularExpression>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

PlatformError refusal(const QString &why)
{
    return {u"org.freedesktop.NetworkManager.SecretAgent.NoSecrets"_s, 0, why};
}

Result<QString> secret(const std::optional<QByteArray> &reference, const QString &key)
{
    if (!reference)
        return refusal(u"the profile has no reference to \"%1\""_s.arg(key));
    const Result<std::optional<QString>> text =
        SecretStore::shared().resolve(*reference, configuration::applicationIdentifier(), key);
    if (!text)
        return refusal(text.error().description());
    if (!*text)
        return refusal(u"the keyring has no \"%1\" at the profile's reference"_s.arg(key));
    // The plugin hands them on in lines.
    if ((*text)->contains(QRegularExpression(u"[\\x00\\r\\n]"_s)))
        return refusal(u"\"%1\" holds a null character or a line break"_s.arg(key));
    return **text;
}

Result<SystemNetworkSettings> secretsFor(const SystemNetworkSettings &connection, const QString &settingName)
{
    const std::optional<SystemNetworkProfile> profile = SystemNetworkProfile::fromSettings(connection);
    if (!profile || settingName != u"vpn"_s)
        return refusal(u"this is not the client's profile"_s);
    if (!SystemNetworkProfile::isAsSaved(connection))
        return refusal(u"the profile's gateway or user is not the one that the client saved"_s);
    const Result<QString> sharedSecret = secret(profile->protocol.sharedSecretReference, u"sharedSecret"_s);
    if (!sharedSecret)
        return sharedSecret.error();
    const Result<QString> password = secret(profile->protocol.passwordReference, u"password"_s);
    if (!password)
        return password.error();
    const QMap<QString, QString> secrets{{u"IPSec secret"_s, *sharedSecret},
                                         {u"Xauth password"_s, *password}};
    return SystemNetworkSettings{{u"vpn"_s, {{u"secrets"_s, QVariant::fromValue(secrets)}}}};
}

} // namespace

SystemNetworkSettings SystemNetworkSecretAgent::GetSecrets(const SystemNetworkSettings &connection,
                                                           const QDBusObjectPath &,
                                                           const QString &settingName, const QStringList &,
                                                           uint)
{
    const Result<SystemNetworkSettings> secrets = message().service() == daemon
                                                      ? secretsFor(connection, settingName)
                                                      : refusal(u"the caller is not NetworkManager"_s);
    if (secrets)
        return *secrets;
    systemLog(u"no secrets for NetworkManager: %1"_s.arg(secrets.error().message));
    sendErrorReply(secrets.error().domain, secrets.error().message);
    return {};
}

} // namespace velmora
