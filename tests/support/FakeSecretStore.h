#pragma once

#include "platform/keyring/SecretStore.h"
#include "tests/support/OutputCapture.h"

#include <QMap>

namespace velmora::testing {

/// A credential store in memory that notes some of what it is asked in the capture's order, as
/// "store set KEY TEXT", "store get KEY" and "store attributes KEY", and fails where it is told to.
class FakeSecretStore final : public SecretStore
{
public:
    /// Makes a new one the store of this process.
    static FakeSecretStore &install()
    {
        setShared(std::make_unique<FakeSecretStore>());
        return static_cast<FakeSecretStore &>(shared());
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
        items.remove(key);
        return Success{};
    }
    Result<std::optional<QString>> read(const QString &, const QString &key) override
    {
        OutputCapture::note(QStringLiteral("store get ") + key);
        return answer(key, items.value(key));
    }
    Result<std::optional<QByteArray>> persistentReference(const QString &, const QString &key) override
    {
        OutputCapture::note(QStringLiteral("store attributes ") + key);
        return answer(key, "ref:" + key.toUtf8());
    }
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &,
                                           const QString &key) override
    {
        return answer(reference == "ref:" + key.toUtf8() ? key : QString(), items.value(key));
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

private:
    template<class Value>
    Result<std::optional<Value>> answer(const QString &key, const Value &value) const
    {
        if (failing)
            return refused;
        return items.contains(key) ? std::optional(value) : std::nullopt;
    }

    QList<MissingPart> missingParts;
    const PlatformError refused{QStringLiteral("fake"), 1, QStringLiteral("refused")};
};

} // namespace velmora::testing
