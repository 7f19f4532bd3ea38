#include "platform/keyring/SecretConversation.h"

#include "platform/Bus.h"
#include "platform/network/GLibError.h"

// The calls that take object paths are behind this name.
#define SECRET_API_SUBJECT_TO_CHANGE 1
#include <libsecret/secret.h>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// `xdg:schema` and attribute names of every item of this application.
constexpr const char *schemaName = "com.velmora.Client.Item";

const SecretSchema schema = [] {
    SecretSchema made{};
    made.name = schemaName;
    made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    made.attributes[1] = {"key", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return made;
}();

PlatformError storeError(int code, const QString &message)
{
    return {QString::fromUtf8(g_quark_to_string(SECRET_ERROR)), code, message};
}

PlatformError failure(GError *error)
{
    const GErrorPtr owned(error);
    return fromGError(owned.get());
}

PlatformError noAnswer()
{
    return storeError(SECRET_ERROR_PROTOCOL, u"The credential store does not answer"_s);
}

GHashTablePtr attributesOf(const QString &service, const QString &key)
{
    return GHashTablePtr(secret_attributes_build(&schema, "service", service.toUtf8().constData(), "key",
                                                 key.toUtf8().constData(), nullptr));
}

/// Takes over the null-terminated texts.
QByteArrayList listOf(char **texts)
{
    QByteArrayList list;
    for (char **text = texts; *text != nullptr; ++text)
        list.append(*text);
    g_strfreev(texts);
    return list;
}

QString textOf(SecretValue *value)
{
    gsize size = 0;
    const gchar *bytes = secret_value_get(value, &size);
    QString text = QString::fromUtf8(bytes, static_cast<qsizetype>(size));
    secret_value_unref(value);
    return text;
}

} // namespace

PlatformError SecretConversation::isLocked()
{
    return storeError(SECRET_ERROR_IS_LOCKED, u"The credential store is locked"_s);
}

PlatformError SecretConversation::hasNoCollection()
{
    return storeError(SECRET_ERROR_NO_SUCH_OBJECT, u"There is no default collection"_s);
}

SecretConversation::SecretConversation() = default;

SecretConversation::~SecretConversation() = default;

Result<> SecretConversation::open()
{
    survivesEndOfSessionBus();
    const auto result = call.run([](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, cancellable, ready, data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    service.reset(secret_service_open_finish(result.get(), &error));
    if (!service)
        return failure(error);
    owner.reset(g_dbus_proxy_get_name_owner(G_DBUS_PROXY(service.get())));
    return Success{};
}

bool SecretConversation::isWithTheSameService()
{
    const auto reply = onBus("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetNameOwner", g_variant_new("(s)", nameOnBus()), "(s)");
    if (!reply)
        return false;
    const char *present = nullptr;
    g_variant_get(reply->get(), "(&s)", &present);
    return g_strcmp0(present, owner.get()) == 0;
}

Result<QByteArray> SecretConversation::defaultCollection()
{
    const auto result = call.run([this](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_read_alias_dbus_path(service.get(), SECRET_COLLECTION_DEFAULT, cancellable, ready,
                                            data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    const GCharPtr path(secret_service_read_alias_dbus_path_finish(service.get(), result.get(), &error));
    if (error != nullptr)
        return failure(error);
    return QByteArray(path.get());
}

Result<bool> SecretConversation::isCollectionLocked(const QByteArray &path)
{
    const auto locked = property(path, "org.freedesktop.Secret.Collection", "Locked");
    if (!locked)
        return locked.error();
    return g_variant_is_of_type(locked->get(), G_VARIANT_TYPE_BOOLEAN) &&
           g_variant_get_boolean(locked->get()) != FALSE;
}

Result<> SecretConversation::create(const QByteArray &collection, const QString &serviceName,
                                    const QString &key, const QString &text)
{
    const QByteArray label = (serviceName + u": "_s + key).toUtf8();
    const QByteArray bytes = text.toUtf8();
    GVariantBuilder attributes;
    g_variant_builder_init(&attributes, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&attributes, "{ss}", "service", serviceName.toUtf8().constData());
    g_variant_builder_add(&attributes, "{ss}", "key", key.toUtf8().constData());
    g_variant_builder_add(&attributes, "{ss}", "xdg:schema", schemaName);
    const GHashTablePtr properties(
        g_hash_table_new_full(g_str_hash, g_str_equal, nullptr,
                              [](gpointer value) { g_variant_unref(static_cast<GVariant *>(value)); }));
    const auto setProperty = [&properties](const char *name, GVariant *value) {
        g_hash_table_insert(properties.get(), const_cast<char *>(name), g_variant_ref_sink(value));
    };
    setProperty("org.freedesktop.Secret.Item.Label", g_variant_new_string(label.constData()));
    setProperty("org.freedesktop.Secret.Item.Attributes", g_variant_builder_end(&attributes));
    SecretValue *value = secret_value_new(bytes.constData(), bytes.size(), "text/plain");
    const auto result = call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_create_item_dbus_path(service.get(), collection.constData(), properties.get(), value,
                                             SECRET_ITEM_CREATE_REPLACE, cancellable, ready, data);
    });
    secret_value_unref(value);
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    const GCharPtr path(secret_service_create_item_dbus_path_finish(service.get(), result.get(), &error));
    if (!path)
        return failure(error);
    return Success{};
}

Result<QByteArrayList> SecretConversation::find(const QString &serviceName, const QString &key)
{
    const GHashTablePtr attributes = attributesOf(serviceName, key);
    const auto result = call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_search_for_dbus_paths(service.get(), &schema, attributes.get(), cancellable, ready,
                                             data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    char **unlocked = nullptr;
    char **locked = nullptr;
    if (!secret_service_search_for_dbus_paths_finish(service.get(), result.get(), &unlocked, &locked, &error))
        return failure(error);
    QByteArrayList paths = listOf(unlocked);
    const QByteArrayList closed = listOf(locked);
    if (paths.isEmpty() && !closed.isEmpty())
        return isLocked();
    // The user may have made another collection the default one since an item was stored.
    if (paths.size() + closed.size() > 1) {
        const Result<QByteArray> collection = defaultCollection();
        if (!collection)
            return collection.error();
        const auto isInDefault = [&collection](const QByteArray &path) {
            return path.startsWith(*collection + '/');
        };
        const auto others = std::stable_partition(paths.begin(), paths.end(), isInDefault);
        if (others == paths.begin() && std::any_of(closed.cbegin(), closed.cend(), isInDefault))
            return isLocked();
    }
    return paths;
}

Result<QString> SecretConversation::textAt(const QByteArray &path)
{
    const auto ready = call.run([this](GCancellable *cancellable, GAsyncReadyCallback end, gpointer data) {
        secret_service_ensure_session(service.get(), cancellable, end, data);
    });
    if (!ready)
        return noAnswer();
    GError *error = nullptr;
    if (secret_service_ensure_session_finish(service.get(), ready.get(), &error) == FALSE)
        return failure(error);
    // The library's own calls for this ask for all of the item first, or never let go of the reply.
    const auto reply =
        onBus(nameOnBus(), path.constData(), "org.freedesktop.Secret.Item", "GetSecret",
              g_variant_new("(o)", secret_service_get_session_dbus_path(service.get())), "((oayays))");
    if (!reply)
        return reply.error();
    const GVariantPtr secret(g_variant_get_child_value(reply->get(), 0));
    SecretValue *const value = secret_service_decode_dbus_secret(service.get(), secret.get());
    if (value == nullptr)
        return storeError(SECRET_ERROR_PROTOCOL, u"The credential store's answer is not readable"_s);
    return textOf(value);
}

Result<std::optional<QString>> SecretConversation::resolve(const QByteArray &path, const QString &serviceName,
                                                           const QString &key)
{
    const auto attributes = property(path, "org.freedesktop.Secret.Item", "Attributes");
    if (!attributes)
        return attributes.error();
    const auto holds = [&attributes](const char *name, const QString &wanted) {
        const char *value = nullptr;
        return g_variant_is_of_type(attributes->get(), G_VARIANT_TYPE("a{ss}")) &&
               g_variant_lookup(attributes->get(), name, "&s", &value) != FALSE &&
               QString::fromUtf8(value) == wanted;
    };
    if (!holds("service", serviceName) || !holds("key", key))
        return std::optional<QString>{};
    const Result<QString> text = textAt(path);
    if (!text)
        return text.error();
    return std::optional(*text);
}

Result<> SecretConversation::eraseAt(const QByteArray &path)
{
    const auto result = call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_delete_item_dbus_path(service.get(), path.constData(), cancellable, ready, data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    if (!secret_service_delete_item_dbus_path_finish(service.get(), result.get(), &error))
        return failure(error);
    return Success{};
}

Result<> SecretConversation::unlock(const QByteArray &collection)
{
    const char *paths[] = {collection.constData(), nullptr};
    const auto result = call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        secret_service_unlock_dbus_paths(service.get(), paths, cancellable, ready, data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    char **unlocked = nullptr;
    const int count = secret_service_unlock_dbus_paths_finish(service.get(), result.get(), &unlocked, &error);
    g_strfreev(unlocked);
    if (count <= 0)
        return error != nullptr ? failure(error) : isLocked();
    return Success{};
}

Result<std::shared_ptr<GVariant>> SecretConversation::property(const QByteArray &path, const char *interface,
                                                               const char *name)
{
    const auto reply = onBus(nameOnBus(), path.constData(), "org.freedesktop.DBus.Properties", "Get",
                             g_variant_new("(ss)", interface, name), "(v)");
    if (!reply)
        return reply.error();
    GVariant *value = nullptr;
    g_variant_get(reply->get(), "(v)", &value);
    return std::shared_ptr<GVariant>(value, GVariantUnref());
}

const char *SecretConversation::nameOnBus() const
{
    return g_dbus_proxy_get_name(G_DBUS_PROXY(service.get()));
}

Result<std::shared_ptr<GVariant>> SecretConversation::onBus(const char *name, const char *path,
                                                            const char *interface, const char *method,
                                                            GVariant *parameters, const char *type)
{
    const auto result = call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
        g_dbus_connection_call(g_dbus_proxy_get_connection(G_DBUS_PROXY(service.get())), name, path,
                               interface, method, parameters, G_VARIANT_TYPE(type), G_DBUS_CALL_FLAGS_NONE,
                               -1, cancellable, ready, data);
    });
    if (!result)
        return noAnswer();
    GError *error = nullptr;
    const GObjectPtr<GObject> bus(g_async_result_get_source_object(result.get()));
    GVariant *reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus.get()), result.get(), &error);
    if (reply == nullptr)
        return failure(error);
    return std::shared_ptr<GVariant>(reply, GVariantUnref());
}

} // namespace velmora
