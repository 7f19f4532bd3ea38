#include "platform/vpn/SystemNetworkStatus.h"

#include <algorithm>

namespace velmora {

using State = SystemNetworkTunnel::State;

bool SystemNetworkStatus::update(const Facts &facts, Time now)
{
    const VPNStatus before = current;
    noticeLoss(facts, now);
    current = statusOf(facts, now);
    return current != before;
}

void SystemNetworkStatus::noticeLoss(const Facts &facts, Time now)
{
    // The numbers begin again with the next run of the daemon, and a start of ours is not the daemon's doing.
    if (!facts.daemonRuns || facts.startUnderWay || facts.stopUnderWay) {
        upTunnel.reset();
        lostAt.reset();
        reassertedTunnel.reset();
    }
    if (!upTunnel)
        return;
    const auto found = facts.tunnels.find(*upTunnel);
    const SystemNetworkTunnel tunnel = found != facts.tunnels.end() ? found->second : SystemNetworkTunnel();
    if (tunnel.state == State::Activated && !tunnel.stopRequested)
        return;
    if (!tunnel.stopRequested && !tunnel.endedOnRequest)
        lostAt = now;
    upTunnel.reset();
}

VPNStatus SystemNetworkStatus::statusOf(const Facts &facts, Time now)
{
    if (!facts.daemonRuns)
        return VPNStatus::Disconnected;
    if (facts.startUnderWay)
        return VPNStatus::Connecting;
    if (facts.stopUnderWay)
        return VPNStatus::Disconnecting;
    // After a quick stop and start the old tunnel may still go down beside the new one.
    const auto newest = std::find_if(facts.tunnels.rbegin(), facts.tunnels.rend(),
                                     [](const auto &entry) { return entry.second.isAlive(); });
    if (newest == facts.tunnels.rend())
        return facts.hasProfile ? VPNStatus::Disconnected : VPNStatus::Invalid;
    const auto &[number, tunnel] = *newest;
    if (tunnel.stopRequested || tunnel.state == State::Deactivating)
        return VPNStatus::Disconnecting;
    if (tunnel.state == State::Activated) {
        upTunnel = number;
        lostAt.reset();
        return VPNStatus::Connected;
    }
    if (lostAt && now - *lostAt <= reassertWindow)
        reassertedTunnel = number;
    lostAt.reset();
    return reassertedTunnel == number ? VPNStatus::Reasserting : VPNStatus::Connecting;
}

} // namespace velmora
