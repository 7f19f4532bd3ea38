#pragma once

#include "platform/SecretStore.h"

#include <QMap>

namespace velmora::testing {

/// A credential store in memory that notes what it is asked in the
/// capture's order, as "store set KEY TEXT", "store get KEY", "store attributes KEY",
/// "store resolve KEY", and fails where it is told to.
class FakeSecretStore final : public SecretStore
{
public:
    /// Makes a new one the store of this process.
    static FakeSecretStore &install();

    Result<> store(const QString &service, const QString &key, const QString &text) override;
    Result<> remove(const QString &service, const QString &key) override;
    Result<std::optional<QString>> read(const QString &service, const QString &key) override;
    Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                          const QString &key) override;
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                           const QString &key) override;
    Result<> unlock() override;

    /// By key; a reference is "ref:" and the key.
    QMap<QString, QString> items;
    bool failing = false;
};

} // namespace velmora::testing
