#pragma once

#include "platform/SecretStore.h"

namespace velmora {

/// The Secret Service of the user's session. Items lie in the default collection; a reference is the D-Bus
/// object path of the item.
class SystemSecretStore final : public SecretStore
{
public:
    Result<> store(const QString &service, const QString &key, const QString &text) override;
    Result<> remove(const QString &service, const QString &key) override;
    Result<std::optional<QString>> read(const QString &service, const QString &key) override;
    Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                          const QString &key) override;
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                           const QString &key) override;
    Result<> unlock() override;
};

} // namespace velmora
