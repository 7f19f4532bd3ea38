#include "platform/LateVPNManager.h"

#include <utility>

namespace velmora {

LateVPNManager::LateVPNManager() = default;

LateVPNManager::~LateVPNManager() = default;

void LateVPNManager::setManager(std::unique_ptr<VPNManager> real)
{
    manager = std::move(real);
    connect(manager.get(), &VPNManager::statusDidChange, this, &VPNManager::statusDidChange);
    for (const Call &call : std::exchange(waiting, {}))
        call(*manager);
}

void LateVPNManager::loadFromPreferences(Completion completion)
{
    whenSet([completion = std::move(completion)](VPNManager &real) { real.loadFromPreferences(completion); });
}

void LateVPNManager::saveToPreferences(Completion completion)
{
    whenSet([completion = std::move(completion)](VPNManager &real) { real.saveToPreferences(completion); });
}

void LateVPNManager::removeFromPreferences(Completion completion)
{
    whenSet(
        [completion = std::move(completion)](VPNManager &real) { real.removeFromPreferences(completion); });
}

void LateVPNManager::setProtocolConfiguration(const VPNProtocolIPSec &protocol)
{
    whenSet([protocol](VPNManager &real) { real.setProtocolConfiguration(protocol); });
}

std::optional<VPNProtocolIPSec> LateVPNManager::protocolConfiguration() const
{
    return manager ? manager->protocolConfiguration() : std::nullopt;
}

void LateVPNManager::setEnabled(bool enabled)
{
    whenSet([enabled](VPNManager &real) { real.setEnabled(enabled); });
}

bool LateVPNManager::isEnabled() const
{
    return manager && manager->isEnabled();
}

VPNStatus LateVPNManager::status() const
{
    return manager ? manager->connection().status() : VPNStatus::Invalid;
}

void LateVPNManager::startVPNTunnel(std::function<void(VPNStartOutcome)> completion)
{
    whenSet([completion = std::move(completion)](VPNManager &real) {
        real.connection().startVPNTunnel(completion);
    });
}

void LateVPNManager::stopVPNTunnel()
{
    whenSet([](VPNManager &real) { real.connection().stopVPNTunnel(); });
}

void LateVPNManager::whenSet(Call call)
{
    if (manager)
        call(*manager);
    else
        waiting.push_back(std::move(call));
}

} // namespace velmora
