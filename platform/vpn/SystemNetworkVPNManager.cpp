#include "platform/vpn/SystemNetworkVPNManager.h"

#include "platform/vpn/SystemNetworkClient.h"
#include "platform/vpn/SystemNetworkLibrary.h"
#include "platform/vpn/SystemNetworkPreferences.h"
#include "platform/vpn/SystemNetworkVPNConnection.h"

namespace velmora {

namespace {

template<class T>
std::optional<PlatformError> errorOf(const Result<T> &result)
{
    return result ? std::nullopt : std::optional(result.error());
}

} // namespace

SystemNetworkVPNManager::SystemNetworkVPNManager()
    : client(std::make_unique<SystemNetworkClient>()),
      preferences(std::make_unique<SystemNetworkPreferences>(*client)),
      tunnel(std::make_unique<SystemNetworkVPNConnection>(*client, *preferences))
{
    connect(client.get(), &SystemNetworkClient::profileChanged, this,
            &SystemNetworkVPNManager::readSavedEnabled);
    connect(tunnel.get(), &SystemNetworkVPNConnection::statusDidChange, this, &VPNManager::statusDidChange);
}

SystemNetworkVPNManager::~SystemNetworkVPNManager() = default;

void SystemNetworkVPNManager::loadFromPreferences(Completion completion)
{
    preferences->load([this, completion = std::move(completion)](
                          const Result<std::optional<SystemNetworkProfile>> &loaded) {
        if (loaded) {
            protocol = *loaded ? std::optional((*loaded)->protocol) : std::nullopt;
            savedEnabled = *loaded && (*loaded)->enabled;
        }
        completion(errorOf(loaded));
    });
}

void SystemNetworkVPNManager::saveToPreferences(Completion completion)
{
    const SystemNetworkProfile profile{protocol.value_or(VPNProtocolIPSec()), isEnabled()};
    const auto saved = [this, enabled = profile.enabled, assignment = assignments,
                        completion = std::move(completion)](const Result<> &outcome) {
        if (outcome)
            savedEnabled = enabled;
        // What was assigned since waits for a save of its own.
        if (assignment == assignments)
            assignedEnabled.reset();
        completion(errorOf(outcome));
    };
    preferences->save(profile, saved);
}

void SystemNetworkVPNManager::removeFromPreferences(Completion completion)
{
    preferences->remove(
        [completion = std::move(completion)](const Result<> &outcome) { completion(errorOf(outcome)); });
}

void SystemNetworkVPNManager::setProtocolConfiguration(const VPNProtocolIPSec &configuration)
{
    protocol = configuration;
}

std::optional<VPNProtocolIPSec> SystemNetworkVPNManager::protocolConfiguration() const
{
    return protocol;
}

void SystemNetworkVPNManager::setEnabled(bool enabled)
{
    assignedEnabled = enabled;
    ++assignments;
}

bool SystemNetworkVPNManager::isEnabled() const
{
    // The status tells that the profile is gone before profileChanged() does.
    return assignedEnabled.value_or(savedEnabled && client->profile() != nullptr);
}

VPNConnection &SystemNetworkVPNManager::connection()
{
    return *tunnel;
}

void SystemNetworkVPNManager::readSavedEnabled()
{
    NMRemoteConnection *saved = client->profile();
    savedEnabled = saved != nullptr && SystemNetworkProfile::fromConnection(NM_CONNECTION(saved)).enabled;
}

} // namespace velmora
