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
/// How long a conversation waits for the next question: a reply of the API, in most cases.
constexpr std::chrono::milliseconds patience = 2s;

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

} // namespace

/// A conversation with the service on its bus.
///
/// The session that secrets are handed over in is made when the first one is, and lasts as long as the
/// conversation; what is read of items and collections lasts for one question.
class SystemSecretStore::Conversation
{
public:
    Result<> open(std::chrono::milliseconds limit)
    {
        survivesEndOfSessionBus();
        call.setLimit(limit);
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

    /// Whether the service is still the one that the conversation was opened with: another one knows nothing
    /// of its session.
    bool resume(std::chrono::milliseconds limit)
    {
        item.reset();
        collection.reset();
        call.setLimit(limit);
        const auto result =
            call.run([this](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                g_dbus_connection_call(
                    g_dbus_proxy_get_connection(G_DBUS_PROXY(service.get())), "org.freedesktop.DBus",
                    "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
                    g_variant_new("(s)", g_dbus_proxy_get_name(G_DBUS_PROXY(service.get()))),
                    G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, -1, cancellable, ready, data);
            });
        if (!result)
            return false;
        const GObjectPtr<GObject> bus(g_async_result_get_source_object(result.get()));
        const GVariantPtr reply(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus.get()), result.get(), nullptr));
        const char *present = nullptr;
        if (reply)
            g_variant_get(reply.get(), "(&s)", &present);
        return present != nullptr && g_strcmp0(present, owner.get()) == 0;
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

    /// The item of this service and key; null when there is none.
    Result<SecretItem *> find(const QString &serviceName, const QString &key)
    {
        const GHashTablePtr attributes = attributesOf(serviceName, key);
        const auto result =
            call.run([&](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_service_search(service.get(), &schema, attributes.get(), SECRET_SEARCH_ALL,
                                      cancellable, ready, data);
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

    /// Reads the secret of the item that was found.
    Result<QString> text()
    {
        const auto result =
            call.run([this](GCancellable *cancellable, GAsyncReadyCallback ready, gpointer data) {
                secret_item_load_secret(item.get(), cancellable, ready, data);
            });
        if (!result)
            return noAnswer();
        GError *error = nullptr;
        if (!secret_item_load_secret_finish(item.get(), result.get(), &error))
            return failure(error);
        return textOf(item.get());
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
    /// The service's own name on the bus.
    GCharPtr owner;
    GObjectPtr<SecretCollection> collection;
    GObjectPtr<SecretItem> item;
};

SystemSecretStore::SystemSecretStore()
{
    end.setSingleShot(true);
    end.setInterval(patience);
    QObject::connect(&end, &QTimer::timeout, &end, [this] { conversation.reset(); });
}

SystemSecretStore::~SystemSecretStore() = default;

Result<> SystemSecretStore::converse(std::chrono::milliseconds limit)
{
    end.start();
    if (conversation && conversation->resume(limit))
        return Success{};
    conversation = std::make_unique<Conversation>();
    return conversation->open(limit);
}

template<class Answer, class Question>
Answer SystemSecretStore::ask(std::chrono::milliseconds limit, Question question)
{
    const Result<> opened = converse(limit);
    Answer answer = opened ? question(*conversation) : Answer(opened.error());
    // What has failed once could fail what comes next.
    if (!answer)
        conversation.reset();
    return answer;
}

Result<> SystemSecretStore::store(const QString &service, const QString &key, const QString &text)
{
    return ask<Result<>>(operationLimit, [&](Conversation &open) -> Result<> {
        const Result<SecretCollection *> collection = open.openCollection();
        if (!collection)
            return collection.error();
        if (*collection == nullptr)
            return storeError(SECRET_ERROR_NO_SUCH_OBJECT, u"There is no default collection"_s);
        // Creating an item in a locked collection would ask the user to unlock it.
        if (secret_collection_get_locked(*collection))
            return isLocked();
        return open.create(service, key, text);
    });
}

Result<> SystemSecretStore::remove(const QString &service, const QString &key)
{
    return ask<Result<>>(operationLimit, [&](Conversation &open) -> Result<> {
        const Result<SecretItem *> item = open.find(service, key);
        if (!item)
            return item.error();
        if (*item == nullptr)
            return Success{};
        return open.erase();
    });
}

Result<std::optional<QString>> SystemSecretStore::read(const QString &service, const QString &key)
{
    using Answer = Result<std::optional<QString>>;
    return ask<Answer>(operationLimit, [&](Conversation &open) -> Answer {
        const Result<SecretItem *> item = open.find(service, key);
        if (!item)
            return item.error();
        if (*item == nullptr)
            return std::optional<QString>{};
        const Result<QString> text = open.text();
        if (!text)
            return text.error();
        return std::optional(*text);
    });
}

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &service,
                                                                         const QString &key)
{
    using Answer = Result<std::optional<QByteArray>>;
    return ask<Answer>(operationLimit, [&](Conversation &open) -> Answer {
        const Result<SecretItem *> item = open.find(service, key);
        if (!item)
            return item.error();
        if (*item == nullptr)
            return std::optional<QByteArray>{};
        return std::optional(QByteArray(g_dbus_proxy_get_object_path(G_DBUS_PROXY(*item))));
    });
}

Result<std::optional<QString>> SystemSecretStore::resolve(const QByteArray &reference, const QString &service,
                                                          const QString &key)
{
    if (!g_variant_is_object_path(reference.constData()))
        return std::optional<QString>{};
    using Answer = Result<std::optional<QString>>;
    return ask<Answer>(operationLimit, [&](Conversation &open) -> Answer {
        const Result<SecretItem *> item = open.itemAt(reference);
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
    });
}

Result<> SystemSecretStore::unlock()
{
    return ask<Result<>>(unlockLimit, [](Conversation &open) -> Result<> {
        const Result<SecretCollection *> collection = open.openCollection();
        if (!collection)
            return collection.error();
        if (*collection == nullptr || !secret_collection_get_locked(*collection))
            return Success{};
        return open.unlockCollection();
    });
}

} // namespace velmora
