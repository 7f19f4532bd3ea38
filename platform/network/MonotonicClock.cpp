#include "platform/network/MonotonicClock.h"

#include <ctime>

namespace velmora {

std::uint64_t monotonicTicks()
{
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * nanosecondsPerSecond +
           static_cast<std::uint64_t>(now.tv_nsec);
}

bool readTimebase(TimebaseInfo &info)
{
    info = {1, 1};
    return true;
}

} // namespace velmora
