#include "platform/keyring/SecretStore.h"

#include "platform/Log.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<SecretStore> &sharedSlot()
{
    static std::unique_ptr<SecretStore> store;
    return store;
}

} // namespace

SecretStore &SecretStore::shared()
{
    if (!sharedSlot())
        fatalError(u"No credential store was set"_s);
    return *sharedSlot();
}

void SecretStore::setShared(std::unique_ptr<SecretStore> store)
{
    sharedSlot() = std::move(store);
}

} // namespace velmora
