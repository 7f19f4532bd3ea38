#include "platform/keyring/SystemSecretStore.h"

#include "platform/keyring/SecretConversation.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds operationLimit = 2s;
constexpr std::chrono::milliseconds unlockLimit = 20s;
/// How long a conversation waits for the next question: a reply of the API, in most cases.
constexpr std::chrono::milliseconds patience = 2s;

} // namespace

SystemSecretStore::SystemSecretStore()
{
    end.setSingleShot(true);
    end.setInterval(patience);
    QObject::connect(&end, &QTimer::timeout, &end, [this] { conversation.reset(); });
}

SystemSecretStore::~SystemSecretStore() = default;

template<class Answer, class Question>
Answer SystemSecretStore::ask(std::chrono::milliseconds limit, Question question)
{
    const auto bound = std::chrono::steady_clock::now() + limit;
    end.start();
    if (conversation) {
        conversation->setEnd(bound);
        Answer answer = question(*conversation);
        if (answer)
            return answer;
        const bool final = std::chrono::steady_clock::now() >= bound || conversation->isWithTheSameService();
        // What has failed once could fail what comes next.
        conversation.reset();
        if (final)
            return answer;
    }
    conversation = std::make_unique<SecretConversation>();
    conversation->setEnd(bound);
    const Result<> opened = conversation->open();
    Answer answer = opened ? question(*conversation) : Answer(opened.error());
    if (!answer)
        conversation.reset();
    return answer;
}

Result<> SystemSecretStore::store(const QString &service, const QString &key, const QString &text)
{
    return ask<Result<>>(operationLimit, [&](SecretConversation &open) -> Result<> {
        const Result<QByteArray> collection = open.defaultCollection();
        if (!collection)
            return collection.error();
        if (collection->isEmpty())
            return SecretConversation::hasNoCollection();
        const Result<bool> locked = open.isCollectionLocked(*collection);
        if (!locked)
            return locked.error();
        // Creating an item in a locked collection would ask the user to unlock it.
        if (*locked)
            return SecretConversation::isLocked();
        return open.create(*collection, service, key, text);
    });
}

Result<> SystemSecretStore::remove(const QString &service, const QString &key)
{
    return ask<Result<>>(operationLimit, [&](SecretConversation &open) -> Result<> {
        const Result<QByteArrayList> paths = open.find(service, key);
        if (!paths)
            return paths.error();
        for (const QByteArray &path : *paths) {
            if (Result<> erased = open.eraseAt(path); !erased)
                return erased;
        }
        return Success{};
    });
}

Result<std::optional<QString>> SystemSecretStore::read(const QString &service, const QString &key)
{
    using Answer = Result<std::optional<QString>>;
    return ask<Answer>(operationLimit, [&](SecretConversation &open) -> Answer {
        const Result<QByteArrayList> paths = open.find(service, key);
        if (!paths)
            return paths.error();
        if (paths->isEmpty())
            return std::optional<QString>{};
        const Result<QString> text = open.textAt(paths->first());
        if (!text)
            return text.error();
        return std::optional(*text);
    });
}

Result<std::optional<QByteArray>> SystemSecretStore::persistentReference(const QString &service,
                                                                         const QString &key)
{
    using Answer = Result<std::optional<QByteArray>>;
    return ask<Answer>(operationLimit, [&](SecretConversation &open) -> Answer {
        const Result<QByteArrayList> paths = open.find(service, key);
        if (!paths)
            return paths.error();
        return paths->isEmpty() ? std::optional<QByteArray>{} : std::optional(paths->first());
    });
}

Result<std::optional<QString>> SystemSecretStore::resolve(const QByteArray &reference, const QString &service,
                                                          const QString &key)
{
    if (!g_variant_is_object_path(reference.constData()))
        return std::optional<QString>{};
    using Answer = Result<std::optional<QString>>;
    return ask<Answer>(operationLimit,
                       [&](SecretConversation &open) { return open.resolve(reference, service, key); });
}

Result<> SystemSecretStore::unlock()
{
    return ask<Result<>>(unlockLimit, [](SecretConversation &open) -> Result<> {
        const Result<QByteArray> collection = open.defaultCollection();
        if (!collection)
            return collection.error();
        if (collection->isEmpty())
            return Success{};
        const Result<bool> locked = open.isCollectionLocked(*collection);
        if (!locked)
            return locked.error();
        return *locked ? open.unlock(*collection) : Success{};
    });
}

} // namespace velmora
