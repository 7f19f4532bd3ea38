#include "account/Keychain.h"

#include "platform/Configuration.h"
#include "platform/keyring/SecretStore.h"

namespace velmora {

Keychain::Keychain(QString serviceName) : service(std::move(serviceName)) {}

Keychain Keychain::forApplication()
{
    return Keychain(configuration::applicationIdentifier());
}

void Keychain::set(const std::optional<QString> &text, const QString &key) const
{
    SecretStore &store = SecretStore::shared();
    if (text)
        static_cast<void>(store.store(service, key, *text));
    else
        static_cast<void>(store.remove(service, key));
}

std::optional<QString> Keychain::text(const QString &key) const
{
    const auto found = SecretStore::shared().read(service, key);
    return found ? *found : std::nullopt;
}

std::optional<Keychain::Attributes> Keychain::attributes(const QString &key) const
{
    const auto found = SecretStore::shared().persistentReference(service, key);
    if (!found || !*found)
        return std::nullopt;
    return Attributes{**found};
}

} // namespace velmora
