#include "tests/support/FakeSecretStore.h"

#include "tests/support/OutputCapture.h"

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

PlatformError refused()
{
    return {u"fake"_s, 1, u"refused"_s};
}

} // namespace

FakeSecretStore &FakeSecretStore::install()
{
    auto store = std::make_unique<FakeSecretStore>();
    FakeSecretStore &installed = *store;
    SecretStore::setShared(std::move(store));
    return installed;
}

Result<> FakeSecretStore::store(const QString &, const QString &key, const QString &text)
{
    OutputCapture::note(u"store set %1 %2"_s.arg(key, text));
    if (failing)
        return refused();
    items.insert(key, text);
    return Success{};
}

Result<> FakeSecretStore::remove(const QString &, const QString &key)
{
    OutputCapture::note(u"store remove "_s + key);
    items.remove(key);
    return Success{};
}

Result<std::optional<QString>> FakeSecretStore::read(const QString &, const QString &key)
{
    OutputCapture::note(u"store get "_s + key);
    if (failing)
        return refused();
    return items.contains(key) ? std::optional(items.value(key)) : std::nullopt;
}

Result<std::optional<QByteArray>> FakeSecretStore::persistentReference(const QString &, const QString &key)
{
    OutputCapture::note(u"store attributes "_s + key);
    if (failing)
        return refused();
    return items.contains(key) ? std::optional("ref:" + key.toUtf8()) : std::nullopt;
}

Result<std::optional<QString>> FakeSecretStore::resolve(const QByteArray &reference, const QString &,
                                                        const QString &key)
{
    OutputCapture::note(u"store resolve "_s + key);
    if (failing)
        return refused();
    return reference == "ref:" + key.toUtf8() && items.contains(key) ? std::optional(items.value(key))
                                                                     : std::nullopt;
}

Result<> FakeSecretStore::unlock()
{
    return Success{};
}

} // namespace velmora::testing
