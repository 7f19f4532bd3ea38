#include "platform/SystemSecretStore.h"

#include "platform/BoundedCall.h"
#include "platform/Bus.h"
#include "platform/GLibError.h"

// The calls that take object paths are behind this name.
#define SECRET_API_SUBJECT_TO_CHANGE 1
#include <libsecret/secret.h>

#include <QList>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds operationLimit = 2s;
constexpr std::chrono::milliseconds unlockLimit = 20s;

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

PlatformError isLocked()
{
    return storeError(SECRET_ERROR_IS_LOCKED, u"The credential store is locked"_s);
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

QString textOf(SecretItem *item)
{
    SecretValue *value = secret_item_get_secret(item);
    if (value == nullptr)
        return {};
    gsize size = 0;
    const gchar *bytes = secret_value_get(value, &size);
    QString text = QString::fromUtf8(bytes, static_cast<qsizetype>(size));
    secret_value_unref(value);
    return text;
}

/// One conversation with the store, from its opening to its end, within one time limit.
///
/// Each has a connection to the service of its own: a shared one would keep the session of a daemon that has
/// been restarted since.
class Conversation
{
public:
    explicit Conversation(std::chrono::milliseconds limit) : call(limit) {}

    Result<> open()
    {
        survivesEndOfSessionBus();
        const auto result = call.run([](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
            secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, cancellable, ready,
                                data);
        });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        service.reset(secret_service_open_finish(result.get(), &error));
        if (!service)
            return failure(error);
        return Success{};
    }

    /// The default collection; null when the user has none.
    Result<SecretCollection *> openCollection()
    {
        const auto result =
            call.run([this](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_collection_for_alias(service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                                            cancellable, ready, data);
            });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        collection.reset(secret_collection_for_alias_finish(result.get(), &error));
        if (error != nullptr)
            return failure(error);
        return collection.get();
    }

    Result<> create(const QString &serviceName, const QString &key, const QString &text)
    {
        const GHashTablePtr attributes = attributesOf(serviceName, key);
        const QByteArray label = (serviceName + u": "_s + key).toUtf8();
        const QByteArray bytes = text.toUtf8();
        SecretValue *value = secret_value_new(bytes.constData(), bytes.size(), "text/plain");
        const auto result =
            call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_item_create(collection.get(), &schema, attributes.get(), label.constData(), value,
                                   SECRET_ITEM_CREATE_REPLACE, cancellable, ready, data);
            });
        secret_value_unref(value);
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        const GObjectPtr<SecretItem> created(secret_item_create_finish(result.get(), &error));
        if (!created)
            return failure(error);
        return Success{};
    }

    /// The item of this service and key, with its secret where `flags` ask for it; null when there is none.
    Result<SecretItem *> find(const QString &serviceName, const QString &key, SecretSearchFlags flags)
    {
        const GHashTablePtr attributes = attributesOf(serviceName, key);
        const auto result =
            call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_service_search(service.get(), &schema, attributes.get(),
                                      static_cast<SecretSearchFlags>(flags | SECRET_SEARCH_ALL), cancellable,
                                      ready, data);
            });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        GList *found = secret_service_search_finish(service.get(), result.get(), &error);
        if (error != nullptr)
            return failure(error);
        bool locked = false;
        for (GList *link = found; link != nullptr; link = link->next) {
            auto *candidate = static_cast<SecretItem *>(link->data);
            if (secret_item_get_locked(candidate))
                locked = true;
            else if (!item)
                item = refObject(candidate);
        }
        g_list_free_full(found, g_object_unref);
        if (!item && locked)
            return isLocked();
        return item.get();
    }

    Result<SecretItem *> itemAt(const QByteArray &path)
    {
        const auto result =
            call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_item_new_for_dbus_path(service.get(), path.constData(), SECRET_ITEM_LOAD_SECRET,
                                              cancellable, ready, data);
            });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        item.reset(secret_item_new_for_dbus_path_finish(result.get(), &error));
        if (!item)
            return failure(error);
        return item.get();
    }

    Result<> erase()
    {
        const auto result =
            call.run([this](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_item_delete(item.get(), cancellable, ready, data);
            });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        if (!secret_item_delete_finish(item.get(), result.get(), &error))
            return failure(error);
        return Success{};
    }

    Result<> unlockCollection()
    {
        GList *objects = g_list_append(nullptr, collection.get());
        const auto result =
            call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_service_unlock(service.get(), objects, cancellable, ready, data);
            });
        g_list_free(objects);
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        if (secret_service_unlock_finish(service.get(), result.get(), nullptr, &error) == 0)
            return error != nullptr ? failure(error) : isLocked();
        return Success{};
    }

private:
    BoundedCall call;
    GObjectPtr<SecretService> service;
    GObjectPtr<SecretCollection> collection;
    GObjectPtr<SecretItem> item;
};

} // namespace

Result<> SystemSecretStore::store(const QString &service, const QString &key, const QString &text)
{
    Conversation conversation(operationLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretCollection *> collection = conversation.openCollection();
    if (!collection)
        return collection.error();
    if (*collection == nullptr)
        return storeError(SECRET_ERROR_NO_SUCH_OBJECT, u"There is no default collection"_s);
    // Creating an item in a locked collection would ask the user to unlock it.
    if (secret_collection_get_locked(*collection))
        return isLocked();
    return conversation.create(service, key, text);
}

Result<> SystemSecretStore::remove(const QString &service, const QString &key)
{
    Conversation conversation(operationLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretItem *> item = conversation.find(service, key, SECRET_SEARCH_NONE);
    if (!item)
        return item.error();
    if (*item == nullptr)
        return Success{};
    return conversation.erase();
}

Result<std::optional<QString>> SystemSecretStore::read(const QString &service, const QString &key)
{
    Conversation conversation(operationLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretItem *> item = conversation.find(service, key, SECRET_SEARCH_LOAD_SECRETS);
    if (!item)
        return item.error();
    if (*item == nullptr)
        return std::optional<QString>{};
    return std::optional(textOf(*item));
}

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &service,
                                                                         const QString &key)
{
    Conversation conversation(operationLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretItem *> item = conversation.find(service, key, SECRET_SEARCH_NONE);
    if (!item)
        return item.error();
    if (*item == nullptr)
        return std::optional<QByteArray>{};
    return std::optional(QByteArray(g_dbus_proxy_get_object_path(G_DBUS_PROXY(*item))));
}

Result<std::optional<QString>> SystemSecretStore::resolve(const QByteArray &reference, const QString &service,
                                                          const QString &key)
{
    if (!g_variant_is_object_path(reference.constData()))
        return std::optional<QString>{};
    Conversation conversation(operationLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretItem *> item = conversation.itemAt(reference);
    if (!item)
        return item.error();
    if (secret_item_get_locked(*item))
        return isLocked();
    const GHashTablePtr attributes(secret_item_get_attributes(*item));
    const auto holds = [&attributes](const char *name, const QString &wanted) {
        const auto *value = static_cast<const char *>(g_hash_table_lookup(attributes.get(), name));
        return value != nullptr && QString::fromUtf8(value) == wanted;
    };
    if (!attributes || !holds("service", service) || !holds("key", key))
        return std::optional<QString>{};
    return std::optional(textOf(*item));
}

Result<> SystemSecretStore::unlock()
{
    Conversation conversation(unlockLimit);
    if (const Result<> opened = conversation.open(); !opened)
        return opened.error();
    const Result<SecretCollection *> collection = conversation.openCollection();
    if (!collection)
        return collection.error();
    if (*collection == nullptr || !secret_collection_get_locked(*collection))
        return Success{};
    return conversation.unlockCollection();
}

} // namespace velmora
