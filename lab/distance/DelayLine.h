#pragma once

#include "../service/Seed.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <queue>
#include <span>
#include <unordered_map>
#include <vector>

namespace velmora::lab {

/// Holds IPv4 packets, each for as long as the endpoint that it goes to is away. Packets to one address keep
/// their order.
class DelayLine
{
public:
    using Clock = std::chrono::steady_clock;
    using Packet = std::vector<std::byte>;

    explicit DelayLine(const Seed &seed);

    /// Takes a packet that came at that time. What is no IPv4 packet is dropped, and everything while too
    /// much is under way.
    void take(std::span<const std::byte> bytes, Clock::time_point came);
    /// When the next packet is due; nothing while none is held.
    std::optional<Clock::time_point> nextDue() const;
    /// Takes out the packet that is due first. One must be held.
    Packet release();

private:
    struct Held
    {
        Clock::time_point due;
        /// Packets that are due at the same time leave as they came.
        std::uint64_t number;
        Packet packet;
    };
    struct LaterFirst
    {
        bool operator()(const Held &one, const Held &other) const
        {
            return one.due != other.due ? one.due > other.due : one.number > other.number;
        }
    };

    std::unordered_map<std::uint32_t, Clock::duration> roundTrips;
    std::priority_queue<Held, std::vector<Held>, LaterFirst> held;
    std::uint64_t taken = 0;
};

} // namespace velmora::lab
