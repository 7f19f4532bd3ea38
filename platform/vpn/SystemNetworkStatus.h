#pragma once

#include "platform/vpn/VPNManager.h"

#include <chrono>
#include <map>
#include <optional>

namespace velmora {

/// One activation of our profile.
struct SystemNetworkTunnel
{
    /// NMActiveConnectionState.
    enum class State : uint { Unknown, Activating, Activated, Deactivating, Deactivated };

    State state = State::Activating;
    /// True if it ends because somebody asked for it.
    bool endedOnRequest = false;
    /// True if we have asked for its end.
    bool stopRequested = false;
    /// How many saves of the profile came before it.
    int revision = 0;

    bool isAlive() const { return state != State::Deactivated; }
    bool isUpOrComingUp() const { return isAlive() && state != State::Deactivating; }
};

/// By number, which rises with each activation of one run of the daemon.
using SystemNetworkTunnels = std::map<quint64, SystemNetworkTunnel>;

/// Derives the status of the tunnel from what is known of the daemon.
///
/// - `Invalid`: nothing is known yet, or the daemon runs and there is no profile
/// - `Connecting`: our start is under way, or the newest tunnel comes up
/// - `Connected`: the newest tunnel is up
/// - `Disconnecting`: our stop is under way, or the newest tunnel goes down
/// - `Reasserting`: a tunnel comes up that we did not ask for, begun within a second of losing one
/// - `Disconnected`: otherwise, and whenever the daemon is gone
class SystemNetworkStatus
{
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Facts
    {
        bool daemonRuns = false;
        bool hasProfile = false;
        bool startUnderWay = false;
        bool stopUnderWay = false;
        SystemNetworkTunnels tunnels;
    };

    /// A daemon that begins a lost tunnel anew does so within this time.
    static constexpr std::chrono::milliseconds reassertWindow{1000};

    VPNStatus status() const { return current; }
    /// Takes the facts as they stand at `now`; true when that changes the status.
    [[nodiscard]] bool update(const Facts &facts, Time now);

private:
    void noticeLoss(const Facts &facts, Time now);
    VPNStatus statusOf(const Facts &facts, Time now);

    VPNStatus current = VPNStatus::Invalid;
    /// The tunnel that was last seen up and that nobody has asked to end.
    std::optional<quint64> upTunnel;
    std::optional<Time> lostAt;
    std::optional<quint64> reassertedTunnel;
};

} // namespace velmora
