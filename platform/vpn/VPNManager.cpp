#include "platform/vpn/VPNManager.h"

#include "platform/Log.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<VPNManager> &sharedSlot()
{
    static std::unique_ptr<VPNManager> manager;
    return manager;
}

} // namespace

VPNManager &VPNManager::sharedManager()
{
    if (!sharedSlot())
        fatalError(u"No VPN manager was set"_s);
    return *sharedSlot();
}

void VPNManager::setSharedManager(std::unique_ptr<VPNManager> manager)
{
    sharedSlot() = std::move(manager);
}

} // namespace velmora
