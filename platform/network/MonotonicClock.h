#pragma once

#include <cstdint>

namespace velmora {

/// Factor from clock ticks to nanoseconds.
struct TimebaseInfo
{
    std::uint32_t numer = 0;
    std::uint32_t denom = 0;
};

/// Ticks of a clock that never goes backwards and knows no wall-clock time (CLOCK_MONOTONIC,
/// clock_gettime(2)).
std::uint64_t monotonicTicks();

/// Fills `info` and tells whether that succeeded. A tick is a nanosecond here.
bool readTimebase(TimebaseInfo &info);

} // namespace velmora
