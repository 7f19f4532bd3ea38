#include "platform/keyring/SystemSecretStore.h"

#include "platform/Configuration.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QTimer>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// How long the user may read that there is no keyring before the service asks for the password of a new one.
constexpr std::chrono::milliseconds readingTime = 2s;

/// `xdg:schema` of every item of this application.
constexpr QLatin1StringView schemaName{"com.velmora.Client.Item"};

constexpr QLatin1StringView lockedText{"The keyring is locked"};

QDBusMessage searchFor(const SecretAttributes &attributes)
{
    return SecretService::message(SecretService::path, u"Service.SearchItems"_s,
                                  {QVariant::fromValue(attributes)});
}

/// The client finds an item by these. `name` is its service and key.
SecretAttributes attributesOf(const std::pair<QString, QString> &name)
{
    return {{u"service"_s, name.first}, {u"key"_s, name.second}, {u"xdg:schema"_s, schemaName}};
}

QDBusMessage readDefaultAlias()
{
    return SecretService::message(SecretService::path, u"Service.ReadAlias"_s, {u"default"_s});
}

QDBusArgument secretOf(const QString &text, const QDBusObjectPath &session)
{
    QDBusArgument secret;
    secret.beginStructure();
    secret << session << QByteArray() << text.toUtf8() << u"text/plain"_s;
    secret.endStructure();
    return secret;
}

std::optional<QString> textOf(const QDBusMessage &answer)
{
    if (answer.signature() != u"(oayays)"_s)
        return std::nullopt;
    const auto secret = answer.arguments().constFirst().value<QDBusArgument>();
    QVariantList parts;
    for (secret.beginStructure(); !secret.atEnd();)
        parts << secret.asVariant();
    secret.endStructure();
    return QString::fromUtf8(parts.value(2).toByteArray());
}

auto inCollection(QList<QDBusObjectPath> items, const QDBusObjectPath &collection)
{
    items.removeIf([start = collection.path() + u'/'](const QDBusObjectPath &item) {
        return !item.path().startsWith(start);
    });
    return items;
}

} // namespace

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &serviceName,
                                                                         const QString &key)
{
    const Name name{serviceName, key};
    if (kept.contains(name))
        return kept.value(name) ? std::optional(QByteArray(SecretService::noPath.data())) : std::nullopt;
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
        text = textOf(service.call(SecretService::message(item, u"Item.GetSecret"_s, {session})));
    }
    return service.end(text);
}

std::pair<SystemSecretStore::Paths, SystemSecretStore::Paths> SystemSecretStore::search(const Name &name)
{
    const QDBusPendingReply<Paths, Paths> found = service.call(searchFor(attributesOf(name)));
    return {found.argumentAt<0>(), found.argumentAt<1>()};
}

QString SystemSecretStore::find(const Name &name, const QString &preferred)
{
    const auto [unlocked, locked] = search(name);
    if (unlocked.contains(QDBusObjectPath(preferred)))
        return preferred;
    if (locked.isEmpty() && unlocked.size() < 2)
        return unlocked.value(0).path();
    // The user may have made another collection the default one since an item was stored.
    const auto collection = QDBusPendingReply<QDBusObjectPath>(service.call(readDefaultAlias())).value();
    if (unlocked.isEmpty() ||
        (inCollection(unlocked, collection).isEmpty() && !inCollection(locked, collection).isEmpty())) {
        service.fail(lockedError, lockedText);
        return {};
    }
    const auto modified = [this](const QDBusObjectPath &item) {
        return service.property(item, u"Item.Modified"_s).toULongLong();
    };
    return std::ranges::max_element(unlocked, {}, modified)->path();
}

Result<> SystemSecretStore::keep(const Name &name, const std::optional<QString> &text)
{
    kept.insert(name, text);
    Result<> written = write(name);
    if (!written) {
        isOpen = false;
        look();
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
    const auto collection = QDBusPendingReply<QDBusObjectPath>(service.call(readDefaultAlias())).value();
    // The service would ask the user.
    if (service.property(collection, u"Collection.Locked"_s).toBool() ||
        !inCollection(locked, collection).isEmpty())
        service.fail(lockedError, lockedText);

    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_s, QString(name.first + u": "_s + name.second)},
        {u"org.freedesktop.Secret.Item.Attributes"_s, QVariant::fromValue(attributesOf(name))}};
    const QDBusObjectPath session = service.session();
    // Qt never frees a structure with an empty path.
    if (service.hasFailed())
        return;
    const QVariant secret = QVariant::fromValue(secretOf(text, session));
    constexpr bool replace = true;
    const QDBusPendingReply<QDBusObjectPath, QDBusObjectPath> made = service.call(
        SecretService::message(collection.path(), u"Collection.CreateItem"_s, {properties, secret, replace}));
    // KeePassXC stores nothing without a prompt, even if it asks the user for nothing.
    perform(made.argumentAt<1>(), name);
    // In a collection that was the default one before, an older item would come to light again.
    for (const QDBusObjectPath &item : unlocked) {
        if (!kept.contains(name) && item != made.argumentAt<0>())
            service.call(SecretService::message(item.path(), u"Item.Delete"_s));
    }
}

void SystemSecretStore::erase(const Name &name)
{
    const auto [unlocked, locked] = search(name);
    Paths prompts;
    for (const QDBusObjectPath &item : unlocked)
        prompts << QDBusPendingReply<QDBusObjectPath>(
                       service.call(SecretService::message(item.path(), u"Item.Delete"_s)))
                       .value();
    if (!locked.isEmpty())
        service.fail(lockedError, lockedText);
    if (prompts.isEmpty())
        prompts << QDBusObjectPath();
    for (const QDBusObjectPath &prompt : prompts)
        perform(prompt, name);
}

void SystemSecretStore::perform(const QDBusObjectPath &prompt, const Name &name)
{
    if (service.hasFailed())
        return;
    service.perform(prompt, [this, name, text = kept.value(name)](bool done) {
        if (done && kept.value(name) == text)
            kept.remove(name);
    });
}

void SystemSecretStore::unlock()
{
    mayAsk = true;
    connect(&service, &SecretService::changed, this, &SystemSecretStore::look);
    service.follow();
    look();
}

void SystemSecretStore::look()
{
    if (service.isSilent())
        return;
    QDBusMessage question = readDefaultAlias();
    // A service that was ended on purpose stays ended until it is needed.
    question.setAutoStartService(false);
    service.callLater(question, [this](const QDBusPendingReply<QDBusObjectPath> &collection) {
        if (!collection.isError())
            return lookInto(collection.value());
        isOpen = false;
        report(service.isInstalled() ? std::nullopt : std::optional(MissingPart::SecretService));
    });
}

void SystemSecretStore::lookInto(const QDBusObjectPath &collection)
{
    if (collection.path() == SecretService::noPath)
        return looked(MissingPart::DefaultKeyring, {collection});
    const auto searched = [this, collection](const QDBusPendingReply<Paths, Paths> &items) {
        const Paths locked = inCollection(items.argumentAt<1>(), collection);
        looked(locked.isEmpty() ? std::nullopt : std::optional(MissingPart::UnlockedKeyring), locked);
    };
    const auto read = [this, collection, searched](const QDBusPendingReply<QDBusVariant> &locked) {
        if (locked.value().variant().toBool())
            looked(MissingPart::UnlockedKeyring, {collection});
        else
            service.callLater(searchFor({{u"service"_s, configuration::applicationIdentifier()}}), searched);
    };
    service.callLater(SecretService::propertyMessage(collection.path(), u"Collection.Locked"_s), read);
}

void SystemSecretStore::looked(std::optional<MissingPart> found, const Paths &locked)
{
    const bool wasOpen = std::exchange(isOpen, !found);
    mayAsk = mayAsk && found;
    report(found);
    if (mayAsk)
        askUser(*found, locked);
    if (found || wasOpen)
        return;
    for (const Name &name : kept.keys())
        static_cast<void>(write(name));
    Q_EMIT opened();
}

void SystemSecretStore::report(std::optional<MissingPart> part)
{
    if (std::exchange(lacking, part) != part)
        Q_EMIT missingChanged();
}

void SystemSecretStore::askUser(MissingPart part, Paths objects)
{
    objects.removeIf([this](const QDBusObjectPath &object) { return asked.contains(object); });
    asked += objects;
    if (objects.isEmpty())
        return;
    if (part == MissingPart::UnlockedKeyring)
        return ask(u"Service.Unlock"_s, {QVariant::fromValue(objects)});
    QTimer::singleShot(readingTime, this, [this] {
        const QVariantMap properties{{u"org.freedesktop.Secret.Collection.Label"_s, u"Default keyring"_s}};
        if (lacking == MissingPart::DefaultKeyring)
            ask(u"Service.CreateCollection"_s, {properties, u"default"_s});
    });
}

void SystemSecretStore::ask(const QString &method, const QVariantList &arguments)
{
    const QDBusMessage question = SecretService::message(SecretService::path, method, arguments);
    service.callLater(question, [this](const QDBusPendingReply<> &reply) {
        const auto prompt = reply.reply().arguments().value(1).value<QDBusObjectPath>();
        service.perform(prompt, [this](bool done) {
            look();
            if (!done)
                Q_EMIT dismissed();
        });
    });
}

} // namespace velmora
