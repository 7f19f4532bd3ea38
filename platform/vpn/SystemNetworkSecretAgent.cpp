#include "platform/vpn/SystemNetworkSecretAgent.h"

#include "platform/Configuration.h"
#include "platform/keyring/SecretStore.h"
#include "platform/Log.h"
#include "platform/vpn/SystemNetworkErrors.h"
#include "platform/vpn/SystemNetworkLibrary.h"
#include "platform/vpn/SystemNetworkProfile.h"

#include <QUuid>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// Cancelled calls return with the next turn of the event loop.
constexpr guint millisecondsAfterDestruction = 1000;

PlatformError noSecrets(const QString &why)
{
    return {QString::fromUtf8(g_quark_to_string(NM_SECRET_AGENT_ERROR)), NM_SECRET_AGENT_ERROR_NO_SECRETS,
            why};
}

Result<QByteArray> secret(const std::optional<QByteArray> &reference, const QString &key)
{
    if (!reference)
        return noSecrets(u"The profile has no reference to \"%1\""_s.arg(key));
    const Result<std::optional<QString>> text =
        SecretStore::shared().resolve(*reference, configuration::applicationIdentifier(), key);
    if (!text)
        return noSecrets(text.error().description());
    if (!*text)
        return noSecrets(u"The credential store has no \"%1\" where the profile refers to"_s.arg(key));
    return (*text)->toUtf8();
}

void getSecrets(NMSecretAgentOld *agent, NMConnection *connection, const char *, const char *settingName,
                const char **, NMSecretAgentGetSecretsFlags, NMSecretAgentOldGetSecretsFunc callback,
                gpointer data)
{
    const Result<GVariantPtr> secrets = SystemNetworkSecretAgent::secretsFor(connection, settingName);
    if (secrets) {
        callback(agent, connection, secrets->get(), nullptr, data);
        return;
    }
    const GErrorPtr error(g_error_new_literal(NM_SECRET_AGENT_ERROR, NM_SECRET_AGENT_ERROR_NO_SECRETS,
                                              secrets.error().message.toUtf8().constData()));
    callback(agent, connection, nullptr, error.get(), data);
}

/// Every request is answered before it can be cancelled.
void cancelGetSecrets(NMSecretAgentOld *, const char *, const char *) {}

// The secrets belong to the credential store, not to the daemon's idea of a profile: it asks to save and to
// delete also when a profile merely comes and goes, and that of other programs too.
void saveSecrets(NMSecretAgentOld *agent, NMConnection *connection, const char *,
                 NMSecretAgentOldSaveSecretsFunc callback, gpointer data)
{
    callback(agent, connection, nullptr, data);
}

void deleteSecrets(NMSecretAgentOld *agent, NMConnection *connection, const char *,
                   NMSecretAgentOldDeleteSecretsFunc callback, gpointer data)
{
    callback(agent, connection, nullptr, data);
}

void initClass(gpointer made, gpointer)
{
    auto *agentClass = static_cast<NMSecretAgentOldClass *>(made);
    agentClass->get_secrets = getSecrets;
    agentClass->cancel_get_secrets = cancelGetSecrets;
    agentClass->save_secrets = saveSecrets;
    agentClass->delete_secrets = deleteSecrets;
}

GType agentType()
{
    static const GType type = g_type_register_static_simple(
        NM_TYPE_SECRET_AGENT_OLD, "VelmoraSecretAgent", sizeof(NMSecretAgentOldClass), initClass,
        sizeof(NMSecretAgentOld), nullptr, G_TYPE_FLAG_NONE);
    return type;
}

/// The daemon takes a name once per user; a name of this process alone cannot be held by one that is gone but
/// not yet missed.
QByteArray identifier()
{
    return (configuration::applicationIdentifier() + u'.' + QUuid::createUuid().toString(QUuid::Id128))
        .toUtf8();
}

} // namespace

SystemNetworkSecretAgent::SystemNetworkSecretAgent(GDBusConnection *bus,
                                                   std::function<void()> onRegistrationChanged)
    : registrationChanged(std::move(onRegistrationChanged))
{
    // Registration is switched on afterwards: as a part of the creation its failure would be final. The
    // creation is not to be cancelled: libnm then touches the agent after its end.
    g_async_initable_new_async(agentType(), G_PRIORITY_DEFAULT, nullptr, GLibCalls::ready,
                               calls.expect([this](GAsyncResult *result) { created(result); }),
                               NM_SECRET_AGENT_OLD_IDENTIFIER, identifier().constData(),
                               NM_SECRET_AGENT_OLD_AUTO_REGISTER, FALSE, NM_SECRET_AGENT_OLD_DBUS_CONNECTION,
                               bus, nullptr);
}

SystemNetworkSecretAgent::~SystemNetworkSecretAgent()
{
    signalsOfAgent.clear();
    if (!agent)
        return;
    nm_secret_agent_old_destroy(NM_SECRET_AGENT_OLD(agent.get()));
    // libnm 1.42 touches the agent once more when the calls return that this has cancelled.
    g_timeout_add_full(
        G_PRIORITY_LOW, millisecondsAfterDestruction, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; },
        agent.release(), g_object_unref);
}

bool SystemNetworkSecretAgent::isRegistered() const
{
    return agent && nm_secret_agent_old_get_registered(NM_SECRET_AGENT_OLD(agent.get())) != FALSE;
}

Result<GVariantPtr> SystemNetworkSecretAgent::secretsFor(NMConnection *connection, const char *settingName)
{
    if (SystemNetworkProfile::uuid() != QString::fromUtf8(nm_connection_get_uuid(connection)) ||
        qstrcmp(settingName, NM_SETTING_VPN_SETTING_NAME) != 0)
        return noSecrets(u"Not a profile of this program"_s);
    const VPNProtocolIPSec protocol = SystemNetworkProfile::fromConnection(connection).protocol;
    const Result<QByteArray> sharedSecret = secret(protocol.sharedSecretReference, u"sharedSecret"_s);
    if (!sharedSecret)
        return sharedSecret.error();
    const Result<QByteArray> password = secret(protocol.passwordReference, u"password"_s);
    if (!password)
        return password.error();

    const GObjectPtr<NMConnection> answer(nm_simple_connection_new());
    NMSetting *setting = nm_setting_vpn_new();
    nm_setting_vpn_add_secret(NM_SETTING_VPN(setting), "IPSec secret", sharedSecret->constData());
    nm_setting_vpn_add_secret(NM_SETTING_VPN(setting), "Xauth password", password->constData());
    nm_connection_add_setting(answer.get(), setting);
    return GVariantPtr(
        g_variant_ref_sink(nm_connection_to_dbus(answer.get(), NM_CONNECTION_SERIALIZE_ONLY_SECRETS)));
}

void SystemNetworkSecretAgent::created(GAsyncResult *result)
{
    const GObjectPtr<GObject> source(g_async_result_get_source_object(result));
    GError *error = nullptr;
    agent.reset(g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()), result, &error));
    if (!agent) {
        systemLog(u"no secret agent: %1"_s.arg(systemnetwork::failure(error).description()));
        return;
    }
    signalsOfAgent.follow(
        agent.get(), "notify::registered",
        [](gpointer self) { static_cast<SystemNetworkSecretAgent *>(self)->registrationChanged(); }, this);
    nm_secret_agent_old_enable(NM_SECRET_AGENT_OLD(agent.get()), TRUE);
}

} // namespace velmora
