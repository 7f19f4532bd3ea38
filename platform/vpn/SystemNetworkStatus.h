#pragma once

#include "platform/vpn/VPNStatus.h"

#include <QList>

#include <chrono>
#include <optional>

namespace velmora {

/// Makes the status of the tunnel out of what is known of the daemon.
///
/// - `Invalid`: the daemon's state is not known, or it runs and there is no profile
/// - `Connecting`: our start is under way, or the newest tunnel comes up
/// - `Connected`: the newest tunnel is up
/// - `Disconnecting`: our stop is under way, or the newest tunnel goes down
/// - `Reasserting`: a tunnel comes up that we did not ask for, begun within a second of losing one
/// - `Disconnected`: otherwise, and whenever the daemon is gone
class SystemNetworkStatus
{
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Tunnel
    {
        enum class State { Activating, Activated, Deactivating, Deactivated };

        /// Rises with each tunnel of one run of the daemon.
        quint64 number = 0;
        State state = State::Activating;
        /// Whether it ends, or ended, because somebody asked for it.
        bool endedOnRequest = false;
        /// Whether we have asked for its end.
        bool stopRequested = false;
    };

    struct Facts
    {
        bool known = false;
        bool daemonRuns = false;
        bool hasProfile = false;
        bool startUnderWay = false;
        bool stopUnderWay = false;
        /// Those of our profile, in any order.
        QList<Tunnel> tunnels;
    };

    /// How soon after a loss the daemon begins the tunnel anew, if it does.
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
