#include "platform/vpn/SystemNetworkPreferences.h"

#include "platform/vpn/SystemNetworkClient.h"
#include "platform/vpn/SystemNetworkErrors.h"
#include "platform/vpn/SystemNetworkLibrary.h"

namespace velmora {

using namespace Qt::StringLiterals;
using Scope = SystemNetworkProfile::Scope;

namespace {

constexpr int loadTimeoutMilliseconds = 5000;

/// Whether the daemon might take a profile for everybody where it has not taken a private one.
bool refusesPrivateProfile(const PlatformError &error)
{
    const auto domainIs = [&error](GQuark domain) {
        return error.domain == QString::fromUtf8(g_quark_to_string(domain));
    };
    return domainIs(NM_CONNECTION_ERROR) ||
           (domainIs(NM_SETTINGS_ERROR) && (error.code == NM_SETTINGS_ERROR_PERMISSION_DENIED ||
                                            error.code == NM_SETTINGS_ERROR_NOT_SUPPORTED ||
                                            error.code == NM_SETTINGS_ERROR_INVALID_CONNECTION));
}

/// Whether the plugin is there, but does not promise to read a private profile's files as its user only.
bool pluginNeedsSystemWideProfile()
{
    GSList *plugins = nm_vpn_plugin_info_list_load();
    NMVpnPluginInfo *plugin =
        nm_vpn_plugin_info_list_find_by_service(plugins, SystemNetworkProfile::serviceType);
    const char *promise =
        plugin != nullptr ? nm_vpn_plugin_info_lookup_property(plugin, NM_VPN_PLUGIN_INFO_KF_GROUP_CONNECTION,
                                                               "supports-safe-private-file-access")
                          : nullptr;
    const bool needs = plugin != nullptr && qstrcmp(promise, "true") != 0;
    g_slist_free_full(plugins, g_object_unref);
    return needs;
}

Result<std::optional<SystemNetworkProfile>> parse(GVariant *settings)
{
    GError *error = nullptr;
    const GObjectPtr<NMConnection> connection(nm_simple_connection_new_from_dbus(settings, &error));
    if (!connection)
        return systemnetwork::failure(error);
    return std::optional(SystemNetworkProfile::fromConnection(connection.get()));
}

} // namespace

SystemNetworkPreferences::SystemNetworkPreferences(SystemNetworkClient &networkClient) : client(networkClient)
{
}

void SystemNetworkPreferences::load(LoadHandler handler)
{
    client.whenRunning([this, handler = std::move(handler)](const Result<> &running) {
        if (!running) {
            handler(running.error());
            return;
        }
        NMRemoteConnection *profile = client.profile();
        if (profile == nullptr) {
            handler(std::optional<SystemNetworkProfile>{});
            return;
        }
        // libnm's copy is still the old one for a while after a save.
        GDBusConnection *bus = nm_client_get_dbus_connection(client.handle());
        const auto answered = [handler](GAsyncResult *result) {
            const GObjectPtr<GObject> asked(g_async_result_get_source_object(result));
            GError *error = nullptr;
            const GVariantPtr reply(
                g_dbus_connection_call_finish(G_DBUS_CONNECTION(asked.get()), result, &error));
            if (!reply) {
                handler(systemnetwork::failure(error));
                return;
            }
            const GVariantPtr settings(g_variant_get_child_value(reply.get(), 0));
            handler(parse(settings.get()));
        };
        g_dbus_connection_call(bus, NM_DBUS_SERVICE, nm_connection_get_path(NM_CONNECTION(profile)),
                               NM_DBUS_INTERFACE_SETTINGS_CONNECTION, "GetSettings", nullptr,
                               G_VARIANT_TYPE("(a{sa{sv}})"), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                               loadTimeoutMilliseconds, calls.cancellable(), GLibCalls::ready,
                               calls.expect(answered));
    });
}

void SystemNetworkPreferences::save(const SystemNetworkProfile &profile, SaveHandler handler)
{
    enqueue({profile, std::nullopt, std::move(handler)});
}

void SystemNetworkPreferences::remove(SaveHandler handler)
{
    client.whenRunning([this, handler = std::move(handler)](const Result<> &running) {
        NMRemoteConnection *saved = client.profile();
        if (!running || saved == nullptr) {
            handler(running);
            return;
        }
        const auto deleted = [handler](GAsyncResult *result) {
            const GObjectPtr<GObject> asked(g_async_result_get_source_object(result));
            GError *error = nullptr;
            const bool done = nm_remote_connection_delete_finish(NM_REMOTE_CONNECTION(asked.get()), result,
                                                                 &error) != FALSE;
            handler(done ? Result<>(Success{}) : systemnetwork::failure(error));
        };
        nm_remote_connection_delete_async(saved, calls.cancellable(), GLibCalls::ready,
                                          calls.expect(deleted));
    });
}

void SystemNetworkPreferences::widen(SaveHandler handler)
{
    load([this, handler = std::move(handler)](const Result<std::optional<SystemNetworkProfile>> &loaded) {
        NMRemoteConnection *saved = client.profile();
        if (!loaded)
            handler(loaded.error());
        else if (!*loaded || saved == nullptr)
            handler(systemnetwork::noSavedProfile());
        else if (SystemNetworkProfile::scopeOf(NM_CONNECTION(saved)) != Scope::Private ||
                 !pluginNeedsSystemWideProfile())
            handler(systemnetwork::notExpressible(u"The profile's scope is not the reason"_s));
        else
            enqueue({**loaded, Scope::SystemWide, handler});
    });
}

void SystemNetworkPreferences::enqueue(Save save)
{
    queue.push_back(std::move(save));
    if (queue.size() == 1)
        beginSave();
}

void SystemNetworkPreferences::beginSave()
{
    client.whenRunning([this](const Result<> &running) {
        NMRemoteConnection *saved = client.profile();
        if (!running)
            finishSave(running.error());
        else if (queue.front().scope)
            write(*queue.front().scope);
        else
            write(saved != nullptr ? SystemNetworkProfile::scopeOf(NM_CONNECTION(saved)) : Scope::Private);
    });
}

void SystemNetworkPreferences::write(Scope scope)
{
    const Result<GObjectPtr<NMConnection>> connection = queue.front().profile.toConnection(scope);
    if (!connection) {
        finishSave(connection.error());
        return;
    }
    const GVariantPtr settings(
        g_variant_ref_sink(nm_connection_to_dbus(connection->get(), NM_CONNECTION_SERIALIZE_NO_SECRETS)));
    NMRemoteConnection *saved = client.profile();
    if (saved == nullptr) {
        add(settings.get(), scope);
        return;
    }
    const auto updated = [this, scope, saved](GAsyncResult *result) {
        GError *error = nullptr;
        const GVariantPtr reply(nm_remote_connection_update2_finish(saved, result, &error));
        written(scope, false, reply ? Result<>(Success{}) : systemnetwork::failure(error));
    };
    nm_remote_connection_update2(
        saved, settings.get(),
        static_cast<NMSettingsUpdate2Flags>(NM_SETTINGS_UPDATE2_FLAG_TO_DISK |
                                            NM_SETTINGS_UPDATE2_FLAG_BLOCK_AUTOCONNECT),
        nullptr, calls.cancellable(), GLibCalls::ready, calls.expect(updated));
}

void SystemNetworkPreferences::add(GVariant *settings, Scope scope)
{
    const auto added = [this, scope](GAsyncResult *result) {
        GError *error = nullptr;
        const GObjectPtr<GObject> asked(g_async_result_get_source_object(result));
        const GObjectPtr<NMRemoteConnection> made(nm_client_add_connection2_finish(
            reinterpret_cast<NMClient *>(asked.get()), result, nullptr, &error));
        written(scope, true, made ? Result<>(Success{}) : systemnetwork::failure(error));
    };
    nm_client_add_connection2(
        client.handle(), settings,
        static_cast<NMSettingsAddConnection2Flags>(NM_SETTINGS_ADD_CONNECTION2_FLAG_TO_DISK |
                                                   NM_SETTINGS_ADD_CONNECTION2_FLAG_BLOCK_AUTOCONNECT),
        nullptr, TRUE, calls.cancellable(), GLibCalls::ready, calls.expect(added));
}

void SystemNetworkPreferences::written(Scope scope, bool added, const Result<> &outcome)
{
    if (!outcome && added && scope == Scope::Private && client.isRunning() &&
        refusesPrivateProfile(outcome.error()))
        write(Scope::SystemWide);
    else
        finishSave(outcome);
}

void SystemNetworkPreferences::finishSave(const Result<> &outcome)
{
    if (outcome)
        ++saves;
    const SaveHandler handler = std::move(queue.front().handler);
    queue.pop_front();
    if (!queue.empty())
        beginSave();
    handler(outcome);
}

} // namespace velmora
