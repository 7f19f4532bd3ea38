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

constexpr QLatin1StringView noPath = SecretService::noPath;
/// `xdg:schema` of every item of this application.
constexpr QLatin1StringView schemaName{"com.velmora.Client.Item"};

constexpr QLatin1StringView lockedError{"org.freedesktop.Secret.Error.IsLocked"};
constexpr QLatin1StringView lockedText{"The keyring is locked"};

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

QDBusMessage lockedProperty(const QString &collection)
{
    return SecretService::property(collection, SecretService::collectionInterface, u"Locked"_s);
}

QDBusMessage readDefaultAlias()
{
    return serviceCall(u"ReadAlias"_s, {u"default"_s});
}

QDBusMessage itemCall(const QString &item, const QString &method, const QVariantList &arguments)
{
    return SecretService::message(item, SecretService::itemInterface, method, arguments);
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

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &serviceName,
                                                                         const QString &key)
{
    const Name name{serviceName, key};
    if (kept.contains(name))
        return kept.value(name) ? std::optional(QByteArray(noPath.data())) : std::nullopt;
    service.begin();
    const QString item = find(name);
    return service.end(item.isEmpty() ? std::optional<QByteArray>() : item.toUtf8());
}

Result<std::optional<QString>> SystemSecretStore::resolve(const QByteArray &reference,
                                                          const QString &serviceName, const QString &key)
{
    const Name name{serviceName, key};
    if (kept.contains(name))
        return kept.value(name);
    service.begin();
    std::optional<QString> text;
    if (const QString item = find(name, QString::fromUtf8(reference)); !item.isEmpty()) {
        const QVariant session = QVariant::fromValue(service.session());
        const QDBusPendingReply<Secret> secret = service.call(itemCall(item, u"GetSecret"_s, {session}));
        text = QString::fromUtf8(secret.value().value);
    }
    return service.end(text);
}

SystemSecretStore::Items SystemSecretStore::search(const Name &name)
{
    const QDBusPendingReply<Paths, Paths> found = service.call(searchFor(attributesOf(name)));
    return {pathsOf(found.argumentAt<0>()), pathsOf(found.argumentAt<1>())};
}

QString SystemSecretStore::defaultCollection()
{
    const QDBusPendingReply<QDBusObjectPath> collection = service.call(readDefaultAlias());
    return collection.value().path();
}

QString SystemSecretStore::find(const Name &name, const QString &preferred)
{
    const auto [unlocked, locked] = search(name);
    if (unlocked.contains(preferred))
        return preferred;
    if (locked.isEmpty() && unlocked.size() < 2)
        return unlocked.value(0);
    // The user may have made another collection the default one since an item was stored.
    const QString collection = defaultCollection();
    if (unlocked.isEmpty() ||
        (inCollection(unlocked, collection).isEmpty() && !inCollection(locked, collection).isEmpty())) {
        service.fail(lockedError, lockedText);
        return {};
    }
    const auto modified = [this](const QString &item) {
        const QDBusPendingReply<QDBusVariant> time =
            service.call(SecretService::property(item, SecretService::itemInterface, u"Modified"_s));
        return time.value().variant().toULongLong();
    };
    return *std::max_element(
        unlocked.begin(), unlocked.end(),
        [&modified](const QString &one, const QString &other) { return modified(one) < modified(other); });
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
    if (const std::optional<QString> text = kept.value(name))
        create(name, *text);
    else
        erase(name);
    return service.end(Success{});
}

void SystemSecretStore::create(const Name &name, const QString &text)
{
    const auto [unlocked, locked] = search(name);
    const QString collection = defaultCollection();
    if (collection == noPath)
        service.fail(u"org.freedesktop.Secret.Error.NoSuchObject"_s, u"There is no default keyring"_s);
    const QDBusPendingReply<QDBusVariant> isLocked = service.call(lockedProperty(collection));
    // The service would ask the user.
    if (isLocked.value().variant().toBool() || !inCollection(locked, collection).isEmpty())
        service.fail(lockedError, lockedText);

    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_s, QString(name.first + u": "_s + name.second)},
        {u"org.freedesktop.Secret.Item.Attributes"_s, QVariant::fromValue(attributesOf(name))}};
    const Secret secret{service.session(), {}, text.toUtf8(), u"text/plain"_s};
    constexpr bool replace = true;
    const QDBusPendingReply<QDBusObjectPath, QDBusObjectPath> made =
        service.call(SecretService::message(collection, SecretService::collectionInterface, u"CreateItem"_s,
                                            {properties, QVariant::fromValue(secret), replace}));
    if (made.isError())
        return;
    // KeePassXC stores nothing without a prompt, even if it asks the user for nothing.
    perform(made.argumentAt<1>(), name);
    // In a collection that was the default one before, an older item would come to light again.
    for (const QString &item : unlocked) {
        if (!kept.contains(name) && item != made.argumentAt<0>().path())
            service.call(itemCall(item, u"Delete"_s, {}));
    }
}

void SystemSecretStore::erase(const Name &name)
{
    const auto [unlocked, locked] = search(name);
    Paths prompts;
    for (const QString &item : unlocked)
        prompts << QDBusPendingReply<QDBusObjectPath>(service.call(itemCall(item, u"Delete"_s, {}))).value();
    if (!locked.isEmpty())
        service.fail(lockedError, lockedText);
    if (service.hasFailed())
        return;
    if (prompts.isEmpty())
        kept.remove(name);
    for (const QDBusObjectPath &prompt : prompts)
        perform(prompt, name);
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

void SystemSecretStore::look()
{
    if (service.isSilent())
        return;
    const auto listed = [this](const QDBusPendingReply<QStringList> &names) {
        isOpen = false;
        report(names.value().contains(SecretService::name) ? std::nullopt
                                                           : std::optional(MissingPart::SecretService));
    };
    QDBusMessage question = readDefaultAlias();
    // A service that was ended on purpose stays ended until it is needed.
    question.setAutoStartService(false);
    service.callLater(question, this, [this, listed](const QDBusPendingReply<QDBusObjectPath> &collection) {
        if (collection.isError())
            service.callLater(SecretService::activatableNames(), this, listed);
        else if (collection.value().path() == noPath)
            looked(MissingPart::DefaultKeyring);
        else
            lookInto(collection.value().path());
    });
}

void SystemSecretStore::lookInto(const QString &collection)
{
    const auto searched = [this, collection](const QDBusPendingReply<Paths, Paths> &items) {
        const QStringList locked = inCollection(pathsOf(items.argumentAt<1>()), collection);
        looked(locked.isEmpty() ? std::nullopt : std::optional(MissingPart::UnlockedKeyring), locked);
    };
    service.callLater(lockedProperty(collection), this,
                      [this, collection, searched](const QDBusPendingReply<QDBusVariant> &locked) {
                          if (locked.value().variant().toBool())
                              looked(MissingPart::UnlockedKeyring, {collection});
                          else
                              service.callLater(
                                  searchFor({{u"service"_s, configuration::applicationIdentifier()},
                                             {u"xdg:schema"_s, schemaName}}),
                                  this, searched);
                      });
}

void SystemSecretStore::looked(std::optional<MissingPart> found, const QStringList &locked)
{
    const bool opens = !found && !isOpen;
    isOpen = !found;
    mayAsk = mayAsk && found;
    report(found);
    if (mayAsk)
        askUser(*found, locked);
    if (!opens)
        return;
    // The first failure is that of the service: it would only repeat itself.
    for (const Name &name : kept.keys()) {
        if (!write(name))
            break;
    }
    Q_EMIT opened();
}

void SystemSecretStore::report(std::optional<MissingPart> part)
{
    if (std::exchange(lacking, part) != part)
        Q_EMIT missingChanged();
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
        service.perform(prompt, [this](bool) { lookSoon.start(); });
    });
}

} // namespace velmora
