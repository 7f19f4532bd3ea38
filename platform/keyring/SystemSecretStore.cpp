#include "platform/keyring/SystemSecretStore.h"

#include "platform/Configuration.h"

#include <QDBusVariant>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;
using Paths = QList<QDBusObjectPath>;

/// How long the user may read that there is no keyring before the service asks for the password of a new one.
constexpr std::chrono::milliseconds readingTime = 2s;

/// The path that stands for "no such object".
constexpr QLatin1StringView noPath{"/"};
/// `xdg:schema` of every item of this application.
constexpr QLatin1StringView schemaName{"com.velmora.Client.Item"};

PlatformError isLocked()
{
    return {u"org.freedesktop.Secret.Error.IsLocked"_s, 0, u"The keyring is locked"_s};
}

QDBusMessage serviceCall(const QString &method, const QVariantList &arguments)
{
    return SecretService::message(SecretService::path, SecretService::interface, method, arguments);
}

QDBusMessage searchFor(const SecretAttributes &attributes)
{
    return serviceCall(u"SearchItems"_s, {QVariant::fromValue(attributes)});
}

/// An item is found by these. `name` is its service and key.
SecretAttributes attributesOf(const std::pair<QString, QString> &name)
{
    return {{u"service"_s, name.first}, {u"key"_s, name.second}, {u"xdg:schema"_s, schemaName}};
}

QDBusMessage readDefaultAlias()
{
    return serviceCall(u"ReadAlias"_s, {u"default"_s});
}

QDBusMessage deletionOf(const QString &item)
{
    return SecretService::message(item, SecretService::itemInterface, u"Delete"_s, {});
}

QStringList pathsOf(const Paths &objects)
{
    QStringList paths;
    for (const QDBusObjectPath &object : objects)
        paths << object.path();
    return paths;
}

QStringList inCollection(QStringList items, const QString &collection)
{
    items.removeIf([&collection](const QString &item) { return !item.startsWith(collection + u'/'); });
    return items;
}

} // namespace

SystemSecretStore::SystemSecretStore()
{
    lookSoon.setSingleShot(true);
    lookSoon.setInterval(0);
    connect(&lookSoon, &QTimer::timeout, this, &SystemSecretStore::look);
    connect(&service, &SecretService::changed, &lookSoon, qOverload<>(&QTimer::start));
}

Result<> SystemSecretStore::store(const QString &serviceName, const QString &key, const QString &text)
{
    return keep({serviceName, key}, text);
}

Result<> SystemSecretStore::remove(const QString &serviceName, const QString &key)
{
    return keep({serviceName, key}, std::nullopt);
}

Result<std::optional<QString>> SystemSecretStore::read(const QString &serviceName, const QString &key)
{
    return resolve({}, serviceName, key);
}

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &serviceName,
                                                                         const QString &key)
{
    const Name name{serviceName, key};
    if (kept.contains(name))
        return kept.value(name) ? std::optional(QByteArray(noPath.data())) : std::nullopt;
    service.begin();
    const Result<QString> item = find(name);
    if (!item)
        return item.error();
    return item->isEmpty() ? std::optional<QByteArray>() : item->toUtf8();
}

Result<std::optional<QString>> SystemSecretStore::resolve(const QByteArray &reference,
                                                          const QString &serviceName, const QString &key)
{
    const Name name{serviceName, key};
    if (kept.contains(name))
        return kept.value(name);
    service.begin();
    const Result<QString> item = find(name, QString::fromUtf8(reference));
    if (!item)
        return item.error();
    if (item->isEmpty())
        return std::optional<QString>();
    const Result<QDBusObjectPath> session = service.session();
    if (!session)
        return session.error();
    const QDBusPendingReply<Secret> secret = service.call(SecretService::message(
        *item, SecretService::itemInterface, u"GetSecret"_s, {QVariant::fromValue(*session)}));
    if (secret.isError())
        return SecretService::failure(secret.error());
    return std::optional(QString::fromUtf8(secret.value().value));
}

Result<SystemSecretStore::Items> SystemSecretStore::search(const Name &name)
{
    const QDBusPendingReply<Paths, Paths> found = service.call(searchFor(attributesOf(name)));
    if (found.isError())
        return SecretService::failure(found.error());
    return Items{pathsOf(found.argumentAt<0>()), pathsOf(found.argumentAt<1>())};
}

Result<QString> SystemSecretStore::defaultCollection()
{
    const QDBusPendingReply<QDBusObjectPath> collection = service.call(readDefaultAlias());
    if (collection.isError())
        return SecretService::failure(collection.error());
    return collection.value().path();
}

Result<QString> SystemSecretStore::find(const Name &name, const QString &preferred)
{
    const Result<Items> items = search(name);
    if (!items)
        return items.error();
    const auto &[unlocked, locked] = *items;
    if (unlocked.contains(preferred))
        return preferred;
    if (unlocked.isEmpty())
        return locked.isEmpty() ? Result(QString()) : isLocked();
    if (unlocked.size() == 1 && locked.isEmpty())
        return unlocked.first();
    // The user may have made another collection the default one since an item was stored.
    const Result<QString> collection = defaultCollection();
    if (!collection)
        return collection.error();
    const QStringList inDefault = inCollection(unlocked, *collection);
    if (inDefault.isEmpty() && !inCollection(locked, *collection).isEmpty())
        return isLocked();
    QString newest;
    std::pair<qulonglong, bool> newestTime;
    for (const QString &item : unlocked) {
        const QDBusPendingReply<QDBusVariant> modified =
            service.call(SecretService::property(item, SecretService::itemInterface, u"Modified"_s));
        const std::pair time(modified.isError() ? 0 : modified.value().variant().toULongLong(),
                             inDefault.contains(item));
        if (newest.isEmpty() || time > newestTime) {
            newest = item;
            newestTime = time;
        }
    }
    return newest;
}

Result<> SystemSecretStore::keep(const Name &name, const std::optional<QString> &text)
{
    kept.insert(name, text);
    const Result<> written = write(name);
    if (!written) {
        isOpen = false;
        lookSoon.start();
    }
    return written;
}

Result<> SystemSecretStore::write(const Name &name)
{
    service.begin();
    const Result<Items> items = search(name);
    if (!items)
        return items.error();
    const std::optional<QString> text = kept.value(name);
    return text ? create(name, *text, *items) : erase(name, *items);
}

Result<> SystemSecretStore::create(const Name &name, const QString &text, const Items &present)
{
    const Result<QString> collection = defaultCollection();
    if (!collection)
        return collection.error();
    if (*collection == noPath)
        return PlatformError{u"org.freedesktop.Secret.Error.NoSuchObject"_s, 0,
                             u"There is no default keyring"_s};
    const QDBusPendingReply<QDBusVariant> locked =
        service.call(SecretService::property(*collection, SecretService::collectionInterface, u"Locked"_s));
    if (locked.isError())
        return SecretService::failure(locked.error());
    // The service would ask the user.
    if (locked.value().variant().toBool() || !inCollection(present.locked, *collection).isEmpty())
        return isLocked();
    const Result<QDBusObjectPath> session = service.session();
    if (!session)
        return session.error();

    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_s, QString(name.first + u": "_s + name.second)},
        {u"org.freedesktop.Secret.Item.Attributes"_s, QVariant::fromValue(attributesOf(name))}};
    const Secret secret{*session, {}, text.toUtf8(), u"text/plain"_s};
    constexpr bool replace = true;
    const QDBusPendingReply<QDBusObjectPath, QDBusObjectPath> made =
        service.call(SecretService::message(*collection, SecretService::collectionInterface, u"CreateItem"_s,
                                            {properties, QVariant::fromValue(secret), replace}));
    if (made.isError())
        return SecretService::failure(made.error());
    const QString item = made.argumentAt<0>().path();
    if (item == noPath) {
        // KeePassXC stores nothing without a prompt, even if it asks the user for nothing.
        perform(made.argumentAt<1>(), name);
        return Success{};
    }
    kept.remove(name);
    // In a collection that was the default one before, an older item would come to light again.
    for (const QString &other : present.unlocked) {
        if (other != item)
            static_cast<void>(service.call(deletionOf(other)));
    }
    return Success{};
}

Result<> SystemSecretStore::erase(const Name &name, const Items &present)
{
    bool isUnderWay = false;
    for (const QString &item : present.unlocked) {
        const QDBusPendingReply<QDBusObjectPath> prompt = service.call(deletionOf(item));
        if (prompt.isError())
            return SecretService::failure(prompt.error());
        if (prompt.value().path() != noPath) {
            perform(prompt.value(), name);
            isUnderWay = true;
        }
    }
    if (!present.locked.isEmpty())
        return isLocked();
    if (!isUnderWay)
        kept.remove(name);
    return Success{};
}

void SystemSecretStore::perform(const QDBusObjectPath &prompt, const Name &name)
{
    service.perform(prompt, [this, name, text = kept.value(name)](bool done) {
        if (done && kept.value(name) == text)
            kept.remove(name);
    });
}

void SystemSecretStore::unlock()
{
    mayAsk = true;
    service.follow();
    lookSoon.start();
}

QList<MissingPart> SystemSecretStore::missing() const
{
    return lacking ? QList{*lacking} : QList<MissingPart>();
}

void SystemSecretStore::look()
{
    looking = std::make_unique<QObject>();
    if (service.isSilent())
        return;
    const auto listed = [this](const QDBusPendingReply<QStringList> &names) {
        if (!names.isError() && names.value().contains(SecretService::name))
            isOpen = false;
        else
            looked(MissingPart::SecretService);
    };
    QDBusMessage question = readDefaultAlias();
    // A service that was ended on purpose stays ended until it is needed.
    question.setAutoStartService(false);
    service.callLater(question, looking.get(),
                      [this, listed](const QDBusPendingReply<QDBusObjectPath> &collection) {
                          if (collection.isError())
                              service.callLater(SecretService::activatableNames(), looking.get(), listed);
                          else if (collection.value().path() == noPath)
                              looked(MissingPart::DefaultKeyring);
                          else
                              lookInto(collection.value().path());
                      });
}

void SystemSecretStore::lookInto(const QString &collection)
{
    const auto searched = [this, collection](const QDBusPendingReply<Paths, Paths> &items) {
        const QStringList locked =
            items.isError() ? QStringList() : inCollection(pathsOf(items.argumentAt<1>()), collection);
        looked(locked.isEmpty() ? std::nullopt : std::optional(MissingPart::UnlockedKeyring), locked);
    };
    service.callLater(
        SecretService::property(collection, SecretService::collectionInterface, u"Locked"_s), looking.get(),
        [this, collection, searched](const QDBusPendingReply<QDBusVariant> &locked) {
            if (!locked.isError() && locked.value().variant().toBool())
                looked(MissingPart::UnlockedKeyring, {collection});
            else
                service.callLater(searchFor({{u"service"_s, configuration::applicationIdentifier()},
                                             {u"xdg:schema"_s, schemaName}}),
                                  looking.get(), searched);
        });
}

void SystemSecretStore::looked(std::optional<MissingPart> found, const QStringList &locked)
{
    const bool opens = !found && !isOpen;
    isOpen = !found;
    mayAsk = mayAsk && found;
    if (std::exchange(lacking, found) != found)
        Q_EMIT missingChanged();
    if (mayAsk)
        askUser(*found, locked);
    if (!opens)
        return;
    const QList<Name> names = kept.keys();
    static_cast<void>(std::all_of(names.begin(), names.end(),
                                  [this](const Name &name) { return static_cast<bool>(write(name)); }));
    Q_EMIT opened();
}

void SystemSecretStore::askUser(MissingPart part, const QStringList &locked)
{
    if (part == MissingPart::DefaultKeyring && !asked.contains(noPath)) {
        asked << noPath;
        const QVariantMap properties{{u"org.freedesktop.Secret.Collection.Label"_s, u"Default keyring"_s}};
        QTimer::singleShot(readingTime, this, [this, properties] {
            if (lacking == MissingPart::DefaultKeyring)
                ask(serviceCall(u"CreateCollection"_s, {properties, u"default"_s}));
        });
    }
    Paths objects;
    for (const QString &path : locked) {
        if (!asked.contains(path))
            objects << QDBusObjectPath(path);
        asked << path;
    }
    if (!objects.isEmpty())
        ask(serviceCall(u"Unlock"_s, {QVariant::fromValue(objects)}));
}

void SystemSecretStore::ask(const QDBusMessage &question)
{
    service.callLater(question, this, [this](const QDBusPendingReply<> &reply) {
        const auto prompt = reply.reply().arguments().value(1).value<QDBusObjectPath>();
        if (prompt.path().isEmpty() || prompt.path() == noPath)
            lookSoon.start();
        else
            service.perform(prompt, [this](bool) { lookSoon.start(); });
    });
}

} // namespace velmora
