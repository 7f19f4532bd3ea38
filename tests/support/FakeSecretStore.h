#pragma once

#include "platform/keyring/SecretStore.h"
#include "tests/support/OutputCapture.h"

#include <QMap>

namespace velmora::testing {

/// A credential store in memory that notes what it is asked in the
/// capture's order, as "store set KEY TEXT", "store get KEY", "store attributes KEY",
/// "store resolve KEY", and fails where it is told to.
class FakeSecretStore final : public SecretStore
{
public:
    /// Makes a new one the store of this process.
    static FakeSecretStore &install()
    {
        auto store = std::make_unique<FakeSecretStore>();
        FakeSecretStore &installed = *store;
        SecretStore::setShared(std::move(store));
        return installed;
    }

    Result<> store(const QString &, const QString &key, const QString &text) override
    {
        OutputCapture::note(QStringLiteral("store set %1 %2").arg(key, text));
        if (failing)
            return refused;
        items.insert(key, text);
        return Success{};
    }
    Result<> remove(const QString &, const QString &key) override
    {
        OutputCapture::note(QStringLiteral("store remove ") + key);
        items.remove(key);
        return Success{};
    }
    Result<std::optional<QString>> read(const QString &, const QString &key) override
    {
        return item<QString>(QStringLiteral("get"), key, items.value(key));
    }
    Result<std::optional<QByteArray>> persistentReference(const QString &, const QString &key) override
    {
        return item<QByteArray>(QStringLiteral("attributes"), key, referenceOf(key));
    }
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &,
                                           const QString &key) override
    {
        auto found = item<QString>(QStringLiteral("resolve"), key, items.value(key));
        if (found && reference != referenceOf(key))
            return std::optional<QString>();
        return found;
    }
    void unlock() override {}
    QList<MissingPart> missing() const override { return missingParts; }
    void lack(const QList<MissingPart> &parts)
    {
        missingParts = parts;
        Q_EMIT missingChanged();
    }

    /// By key; a reference is "ref:" and the key.
    QMap<QString, QString> items;
    bool failing = false;
    QList<MissingPart> missingParts;

private:
    static QByteArray referenceOf(const QString &key) { return "ref:" + key.toUtf8(); }

    template<class Value>
    Result<std::optional<Value>> item(const QString &question, const QString &key, const Value &value) const
    {
        OutputCapture::note(QStringLiteral("store %1 %2").arg(question, key));
        if (failing)
            return refused;
        return items.contains(key) ? std::optional(value) : std::nullopt;
    }

    const PlatformError refused{QStringLiteral("fake"), 1, QStringLiteral("refused")};
};

} // namespace velmora::testing
