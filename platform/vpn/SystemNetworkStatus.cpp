#include "platform/vpn/SystemNetworkStatus.h"

#include <algorithm>

namespace velmora {

namespace {

using Tunnel = SystemNetworkStatus::Tunnel;
using State = SystemNetworkStatus::Tunnel::State;

/// After a quick stop and start the old tunnel may still be going down beside the new one.
const Tunnel *newest(const QList<Tunnel> &tunnels)
{
    const Tunnel *found = nullptr;
    for (const Tunnel &tunnel : tunnels) {
        if (tunnel.state != State::Deactivated && (found == nullptr || tunnel.number > found->number))
            found = &tunnel;
    }
    return found;
}

} // namespace

bool SystemNetworkStatus::update(const Facts &facts, Time now)
{
    noticeLoss(facts, now);
    const VPNStatus next = statusOf(facts, now);
    const bool changed = next != current;
    current = next;
    return changed;
}

void SystemNetworkStatus::noticeLoss(const Facts &facts, Time now)
{
    // The numbers begin again with the next run of the daemon, and a start of ours is no doing of the daemon.
    if (!facts.daemonRuns || facts.startUnderWay || facts.stopUnderWay) {
        upTunnel.reset();
        lostAt.reset();
        reassertedTunnel.reset();
    }
    if (!upTunnel)
        return;
    const auto found = std::find_if(facts.tunnels.begin(), facts.tunnels.end(),
                                    [this](const Tunnel &tunnel) { return tunnel.number == *upTunnel; });
    if (found == facts.tunnels.end()) {
        lostAt = now;
        upTunnel.reset();
    } else if (found->stopRequested || found->endedOnRequest) {
        upTunnel.reset();
    } else if (found->state != State::Activated) {
        lostAt = now;
        upTunnel.reset();
    }
}

VPNStatus SystemNetworkStatus::statusOf(const Facts &facts, Time now)
{
    if (!facts.known)
        return VPNStatus::Invalid;
    if (!facts.daemonRuns)
        return VPNStatus::Disconnected;
    if (facts.startUnderWay)
        return VPNStatus::Connecting;
    if (facts.stopUnderWay)
        return VPNStatus::Disconnecting;
    const Tunnel *tunnel = newest(facts.tunnels);
    if (tunnel == nullptr)
        return facts.hasProfile ? VPNStatus::Disconnected : VPNStatus::Invalid;
    if (tunnel->stopRequested || tunnel->state == State::Deactivating)
        return VPNStatus::Disconnecting;
    if (tunnel->state == State::Activated) {
        upTunnel = tunnel->number;
        lostAt.reset();
        return VPNStatus::Connected;
    }
    if (lostAt && now - *lostAt <= reassertWindow)
        reassertedTunnel = tunnel->number;
    lostAt.reset();
    return reassertedTunnel == tunnel->number ? VPNStatus::Reasserting : VPNStatus::Connecting;
}

} // namespace velmora
