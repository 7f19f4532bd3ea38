#include "platform/vpn/VPNManager.h"

#include "platform/Log.h"

namespace velmora {

namespace {

std::unique_ptr<VPNManager> shared;

} // namespace

VPNManager &VPNManager::sharedManager()
{
    if (!shared)
        fatalError(QStringLiteral("No VPN manager was set"));
    return *shared;
}

void VPNManager::setSharedManager(std::unique_ptr<VPNManager> manager)
{
    shared = std::move(manager);
}

} // namespace velmora
