#include "platform/vpn/SystemNetworkProfile.h"

#include "platform/Configuration.h"
#include "platform/vpn/SystemNetworkErrors.h"
#include "platform/vpn/SystemNetworkLibrary.h"

#include <QUuid>

#include <sys/socket.h>
#include <unistd.h>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr const char *gatewayKey = "IPSec gateway";
constexpr const char *identifierKey = "IPSec ID";
constexpr const char *usernameKey = "Xauth username";
constexpr const char *enabledKey = "velmora.enabled";
constexpr const char *passwordReferenceKey = "velmora.password-reference";
constexpr const char *sharedSecretReferenceKey = "velmora.shared-secret-reference";

/// NM_SETTING_SECRET_FLAG_AGENT_OWNED, as the plugin's data spells it.
const QString agentOwned = u"1"_s;

/// What name servers of other connections have is zero or more; a negative priority keeps them out.
constexpr int dnsPriority = -50;

constexpr const char *deadEndAddress = "fd7c:55d1:9d52::2";

/// Namespace of the version 5 UUIDs of profiles.
constexpr QUuid profileNamespace(0x5b1d4a70, 0x3c0e, 0x4b8a, 0x9d, 0x52, 0x7e, 0x61, 0x0f, 0xc4, 0x28, 0xb3);

void setData(NMSettingVpn *vpn, const char *key, const QString &value)
{
    // libnm has no empty values.
    if (!value.isEmpty())
        nm_setting_vpn_add_data_item(vpn, key, value.toUtf8().constData());
}

void setUserData(NMSettingUser *user, const char *key, const QByteArray &value)
{
    nm_setting_user_set_data(user, key, value.constData(), nullptr);
}

void setReference(NMSettingUser *user, const char *key, const std::optional<QByteArray> &reference)
{
    if (reference)
        setUserData(user, key, reference->toBase64());
}

std::optional<QByteArray> reference(NMSettingUser *user, const char *key)
{
    const char *value = nm_setting_user_get_data(user, key);
    if (value == nullptr)
        return std::nullopt;
    return QByteArray::fromBase64(value);
}

NMSetting *identity(SystemNetworkProfile::Scope scope)
{
    NMSetting *setting = nm_setting_connection_new();
    g_object_set(setting, NM_SETTING_CONNECTION_ID, "Velmora", NM_SETTING_CONNECTION_UUID,
                 SystemNetworkProfile::uuid().toUtf8().constData(), NM_SETTING_CONNECTION_TYPE,
                 NM_SETTING_VPN_SETTING_NAME, NM_SETTING_CONNECTION_AUTOCONNECT, FALSE, nullptr);
    if (scope == SystemNetworkProfile::Scope::Private)
        nm_setting_connection_add_permission(NM_SETTING_CONNECTION(setting), "user", g_get_user_name(),
                                             nullptr);
    return setting;
}

NMSetting *tunnel(const VPNProtocolIPSec &protocol)
{
    NMSetting *setting = nm_setting_vpn_new();
    g_object_set(setting, NM_SETTING_VPN_SERVICE_TYPE, SystemNetworkProfile::serviceType,
                 NM_SETTING_VPN_PERSISTENT, protocol.disconnectOnSleep ? FALSE : TRUE, nullptr);
    NMSettingVpn *vpn = NM_SETTING_VPN(setting);
    setData(vpn, gatewayKey, protocol.serverAddress);
    setData(vpn, identifierKey, protocol.localIdentifier);
    setData(vpn, "IPSec secret-flags", agentOwned);
    setData(vpn, usernameKey, protocol.username.value_or(QString()));
    setData(vpn, "Xauth password-flags", agentOwned);
    setData(vpn, "IKE DH Group", configuration::ikeDhGroup());
    setData(vpn, "NAT Traversal Mode", configuration::natTraversalMode());
    setData(vpn, "DPD idle timeout (our side)", configuration::dpdIdleSeconds());
    // Any free port: the fixed one may be taken by another IKE daemon.
    setData(vpn, "Local Port", u"0"_s);
    return setting;
}

NMSetting *addresses4()
{
    NMSetting *setting = nm_setting_ip4_config_new();
    g_object_set(setting, NM_SETTING_IP_CONFIG_METHOD, NM_SETTING_IP4_CONFIG_METHOD_AUTO,
                 NM_SETTING_IP_CONFIG_DNS_PRIORITY, dnsPriority, NM_SETTING_IP_CONFIG_NEVER_DEFAULT, FALSE,
                 nullptr);
    return setting;
}

/// The tunnel carries no IPv6; without this it would go on beside it. Both halves of its addresses, which win
/// over any default route, lead into the tunnel's device, and no further: the gateway drops what
/// is not IPv4. The routes are the device's, so that they go with it, however the tunnel ends. A route of
/// type "unreachable" would refuse at once what this lets time out, but stays for good when the daemon is
/// killed. The address is a unique local one (RFC 4193), which programs use for no destination outside while
/// they have an IPv4 address for it (RFC 6724).
NMSetting *addresses6()
{
    NMSetting *setting = nm_setting_ip6_config_new();
    g_object_set(setting, NM_SETTING_IP_CONFIG_METHOD, NM_SETTING_IP6_CONFIG_METHOD_MANUAL, nullptr);
    NMSettingIPConfig *addresses = NM_SETTING_IP_CONFIG(setting);
    NMIPAddress *address = nm_ip_address_new(AF_INET6, deadEndAddress, 128, nullptr);
    nm_setting_ip_config_add_address(addresses, address);
    nm_ip_address_unref(address);
    for (const char *half : {"::", "8000::"}) {
        NMIPRoute *route = nm_ip_route_new(AF_INET6, half, 1, nullptr, -1, nullptr);
        nm_setting_ip_config_add_route(addresses, route);
        nm_ip_route_unref(route);
    }
    return setting;
}

NMSetting *own(const SystemNetworkProfile &profile)
{
    NMSetting *setting = nm_setting_user_new();
    NMSettingUser *user = NM_SETTING_USER(setting);
    setUserData(user, enabledKey, profile.enabled ? "true" : "false");
    setReference(user, passwordReferenceKey, profile.protocol.passwordReference);
    setReference(user, sharedSecretReferenceKey, profile.protocol.sharedSecretReference);
    return setting;
}

bool hasNul(const QString &text)
{
    return text.contains(QChar(u'\0'));
}

QString data(NMSettingVpn *vpn, const char *key)
{
    return QString::fromUtf8(nm_setting_vpn_get_data_item(vpn, key));
}

} // namespace

QString SystemNetworkProfile::uuid()
{
    const QString name = u"%1/%2"_s.arg(configuration::applicationIdentifier(), QString::number(getuid()));
    return QUuid::createUuidV5(profileNamespace, name).toString(QUuid::WithoutBraces);
}

Result<GObjectPtr<NMConnection>> SystemNetworkProfile::toConnection(Scope scope) const
{
    if (protocol.authenticationMethod != VPNIKEAuthenticationMethod::SharedSecret ||
        !protocol.useExtendedAuthentication)
        return systemnetwork::notExpressible(
            u"Only a shared secret with extended authentication can be saved"_s);
    // A text would end there on its way, and name another gateway or person than it says.
    if (hasNul(protocol.serverAddress) || hasNul(protocol.localIdentifier) ||
        hasNul(protocol.username.value_or(QString())))
        return systemnetwork::notExpressible(u"A text of the profile holds a null character"_s);

    GObjectPtr<NMConnection> connection(nm_simple_connection_new());
    for (NMSetting *setting : {identity(scope), tunnel(protocol), addresses4(), addresses6(), own(*this)})
        nm_connection_add_setting(connection.get(), setting);
    return connection;
}

SystemNetworkProfile SystemNetworkProfile::fromConnection(NMConnection *connection)
{
    SystemNetworkProfile profile;
    if (NMSettingVpn *vpn = nm_connection_get_setting_vpn(connection)) {
        profile.protocol.serverAddress = data(vpn, gatewayKey);
        profile.protocol.localIdentifier = data(vpn, identifierKey);
        if (const QString username = data(vpn, usernameKey); !username.isEmpty())
            profile.protocol.username = username;
        profile.protocol.disconnectOnSleep = nm_setting_vpn_get_persistent(vpn) == FALSE;
        profile.protocol.authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret;
        profile.protocol.useExtendedAuthentication = true;
    }
    if (NMSetting *setting = nm_connection_get_setting(connection, NM_TYPE_SETTING_USER)) {
        NMSettingUser *user = NM_SETTING_USER(setting);
        profile.enabled = qstrcmp(nm_setting_user_get_data(user, enabledKey), "true") == 0;
        profile.protocol.passwordReference = reference(user, passwordReferenceKey);
        profile.protocol.sharedSecretReference = reference(user, sharedSecretReferenceKey);
    }
    return profile;
}

SystemNetworkProfile::Scope SystemNetworkProfile::scopeOf(NMConnection *connection)
{
    NMSettingConnection *setting = nm_connection_get_setting_connection(connection);
    return setting != nullptr && nm_setting_connection_get_num_permissions(setting) > 0 ? Scope::Private
                                                                                        : Scope::SystemWide;
}

} // namespace velmora
