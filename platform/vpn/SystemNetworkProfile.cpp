#include "platform/vpn/SystemNetworkProfile.h"

#include "platform/Configuration.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QUuid>

#include <pwd.h>
#include <unistd.h>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using Texts = QMap<QString, QString>;

const QString gatewayKey = u"IPSec gateway"_s;
const QString identifierKey = u"IPSec ID"_s;
const QString usernameKey = u"Xauth username"_s;

const QString dataKey = u"data"_s;
const QString markKey = u"velmora.application"_s;
const QString enabledKey = u"velmora.enabled"_s;
const QString savedGatewayKey = u"velmora.gateway"_s;
const QString savedUsernameKey = u"velmora.username"_s;
const QString passwordReferenceKey = u"velmora.password-reference"_s;
const QString sharedSecretReferenceKey = u"velmora.shared-secret-reference"_s;

/// Namespace of the version 5 UUIDs of profiles.
constexpr QUuid profileNamespace(0x5b1d4a70, 0x3c0e, 0x4b8a, 0x9d, 0x52, 0x7e, 0x61, 0x0f, 0xc4, 0x28, 0xb3);

QString userName()
{
    const passwd *user = getpwuid(getuid());
    // The daemon refuses a profile of a user without a name.
    return user != nullptr ? QString::fromLocal8Bit(user->pw_name) : QString();
}

/// The tunnel carries no IPv6; without this, IPv6 would go on beside it. Two routes, for both halves of the
/// address space, win over any default route and lead into the tunnel's device, and no further: the gateway
/// drops all but IPv4. The routes belong to the device, so they go with it, however the tunnel ends. Routes
/// of type "unreachable" would fail at once instead of timing out, but they stay when the daemon is killed.
/// The address is a unique local one (RFC 4193), which programs do not use for outside destinations while
/// they have an IPv4 address for them (RFC 6724).
QVariantMap addresses6()
{
    using Entries = QList<QVariantMap>;
    const Entries addresses{{{u"address"_s, u"fd7c:55d1:9d52::2"_s}, {u"prefix"_s, 128U}}};
    const Entries routes{{{u"dest"_s, u"::"_s}, {u"prefix"_s, 1U}},
                         {{u"dest"_s, u"8000::"_s}, {u"prefix"_s, 1U}}};
    return {{u"method"_s, u"manual"_s},
            {u"address-data"_s, QVariant::fromValue(addresses)},
            {u"route-data"_s, QVariant::fromValue(routes)}};
}

Texts dataOf(const SystemNetworkSettings &settings, const QString &name)
{
    return qdbus_cast<Texts>(settings.value(name).value(dataKey));
}

std::optional<QByteArray> reference(const Texts &data, const QString &key)
{
    return data.contains(key) ? std::optional(QByteArray::fromBase64(data[key].toLatin1())) : std::nullopt;
}

} // namespace

QString SystemNetworkProfile::uuid()
{
    const QString name = u"%1/%2"_s.arg(configuration::applicationIdentifier(), QString::number(getuid()));
    return QUuid::createUuidV5(profileNamespace, name).toString(QUuid::WithoutBraces);
}

Result<SystemNetworkSettings> SystemNetworkProfile::toSettings() const
{
    const QString username = protocol.username.value_or(QString());
    // D-Bus ends a text there.
    if ((protocol.serverAddress + protocol.localIdentifier + username).contains(QChar(u'\0')))
        return PlatformError{QDBusError::errorString(QDBusError::InvalidArgs), QDBusError::InvalidArgs,
                             u"A text of the profile holds a null character"_s};
    QVariantMap connection{
        {u"id"_s, u"Velmora"_s}, {u"uuid"_s, uuid()}, {u"type"_s, u"vpn"_s}, {u"autoconnect"_s, false}};
    if (isPrivate)
        connection.insert(u"permissions"_s, QStringList{u"user:%1:"_s.arg(userName())});
    // NM_SETTING_SECRET_FLAG_AGENT_OWNED, as the plugin's data spells it.
    const QString agentOwned = u"1"_s;
    Texts data{{gatewayKey, protocol.serverAddress},
               {identifierKey, protocol.localIdentifier},
               {u"IPSec secret-flags"_s, agentOwned},
               {usernameKey, username},
               {u"Xauth password-flags"_s, agentOwned},
               {u"IKE DH Group"_s, configuration::ikeDhGroup()},
               {u"NAT Traversal Mode"_s, configuration::natTraversalMode()},
               {u"DPD idle timeout (our side)"_s, configuration::dpdIdleSeconds()},
               // Any free port: another IKE daemon may use the fixed one.
               {u"Local Port"_s, u"0"_s}};
    // The daemon takes no empty values here.
    data.removeIf([](const auto &entry) { return entry.value().isEmpty(); });
    Texts user{{markKey, configuration::applicationIdentifier()},
               {enabledKey, enabled ? u"true"_s : u"false"_s},
               {savedGatewayKey, protocol.serverAddress},
               {savedUsernameKey, username}};
    if (protocol.passwordReference)
        user.insert(passwordReferenceKey, QString::fromLatin1(protocol.passwordReference->toBase64()));
    if (protocol.sharedSecretReference)
        user.insert(sharedSecretReferenceKey,
                    QString::fromLatin1(protocol.sharedSecretReference->toBase64()));
    return SystemNetworkSettings{
        {u"connection"_s, connection},
        {u"vpn"_s,
         {{u"service-type"_s, serviceType()},
          {u"persistent"_s, !protocol.disconnectOnSleep},
          {dataKey, QVariant::fromValue(data)}}},
        // Name servers of other connections have zero or more; a negative one excludes them.
        {u"ipv4"_s, {{u"method"_s, u"auto"_s}, {u"dns-priority"_s, -50}}},
        {u"ipv6"_s, addresses6()},
        {u"user"_s, {{dataKey, QVariant::fromValue(user)}}}};
}

std::optional<SystemNetworkProfile> SystemNetworkProfile::fromSettings(const SystemNetworkSettings &settings)
{
    const QVariantMap connection = settings.value(u"connection"_s);
    const Texts user = dataOf(settings, u"user"_s);
    if (connection.value(u"uuid"_s).toString() != uuid() ||
        user.value(markKey) != configuration::applicationIdentifier())
        return std::nullopt;
    const Texts data = dataOf(settings, u"vpn"_s);
    SystemNetworkProfile profile;
    profile.protocol.serverAddress = data.value(gatewayKey);
    profile.protocol.localIdentifier = data.value(identifierKey);
    if (data.contains(usernameKey))
        profile.protocol.username = data[usernameKey];
    profile.protocol.disconnectOnSleep = !settings.value(u"vpn"_s).value(u"persistent"_s).toBool();
    profile.protocol.authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret;
    profile.protocol.useExtendedAuthentication = true;
    profile.protocol.passwordReference = reference(user, passwordReferenceKey);
    profile.protocol.sharedSecretReference = reference(user, sharedSecretReferenceKey);
    profile.enabled = user.value(enabledKey) == u"true"_s;
    profile.isPrivate = !connection.value(u"permissions"_s).toStringList().isEmpty();
    return profile;
}

bool SystemNetworkProfile::isAsSaved(const SystemNetworkSettings &settings)
{
    const Texts data = dataOf(settings, u"vpn"_s);
    const Texts user = dataOf(settings, u"user"_s);
    return data.value(gatewayKey) == user.value(savedGatewayKey) &&
           data.value(usernameKey) == user.value(savedUsernameKey);
}

} // namespace velmora
