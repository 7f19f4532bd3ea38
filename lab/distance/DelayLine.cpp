#include "DelayLine.h"

#include <arpa/inet.h>

#include <cstring>
#include <stdexcept>
#include <utility>

namespace velmora::lab {

namespace {

constexpr std::size_t mostHeld = 8192;
// RFC 791.
constexpr std::size_t smallestHeader = 20;
constexpr std::size_t destinationOffset = 16;
constexpr unsigned versionShift = 4;
constexpr unsigned version4 = 4;

/// In network order, as packets carry it.
std::uint32_t parseAddress(const std::string &text)
{
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1)
        throw std::runtime_error("no IPv4 address: " + text);
    return address.s_addr;
}

} // namespace

DelayLine::DelayLine(const Seed &seed)
{
    for (const Endpoint &endpoint : seed.endpoints)
        roundTrips[parseAddress(endpoint.address)] = endpoint.distance;
}

void DelayLine::take(std::span<const std::byte> bytes, Clock::time_point came)
{
    if (bytes.size() < smallestHeader || std::to_integer<unsigned>(bytes[0]) >> versionShift != version4 ||
        held.size() >= mostHeld)
        return;
    std::uint32_t destination = 0;
    std::memcpy(&destination, bytes.data() + destinationOffset, sizeof(destination));
    const auto found = roundTrips.find(destination);
    const Clock::duration roundTrip = found != roundTrips.end() ? found->second : Clock::duration::zero();
    held.push({came + roundTrip, taken++, Packet(bytes.begin(), bytes.end())});
}

std::optional<DelayLine::Clock::time_point> DelayLine::nextDue() const
{
    if (held.empty())
        return std::nullopt;
    return held.top().due;
}

DelayLine::Packet DelayLine::release()
{
    // The queue gives its top as const, but it goes with the next line.
    Packet packet = std::move(const_cast<Held &>(held.top()).packet);
    held.pop();
    return packet;
}

} // namespace velmora::lab
