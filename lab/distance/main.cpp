// Gives the lab's endpoints their distance: what is routed to a TUN device comes back out of it later, by the
// round trip of the endpoint that it goes to. The way back is not delayed.

#include "DelayLine.h"
#include "TunDevice.h"

#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fstream>
#include <system_error>

namespace {

using namespace velmora::lab;

constexpr std::size_t largestPacket = 65536;

// The delays are what a measurement is compared with: the timers must not be rounded, and nothing that
// computes may keep this program from its turn. Both are wishes.
void askForPunctuality()
{
    ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    sched_param parameters{};
    parameters.sched_priority = 1;
    ::sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters);
}

void waitFor(const TunDevice &device, const DelayLine &line)
{
    timespec timeout{};
    if (const auto due = line.nextDue()) {
        const auto rest = std::max(*due - DelayLine::Clock::now(), DelayLine::Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
        timeout.tv_sec = seconds.count();
        timeout.tv_nsec = std::chrono::nanoseconds(rest - seconds).count();
    }
    pollfd watched{device.descriptor(), POLLIN, 0};
    if (::ppoll(&watched, 1, line.nextDue() ? &timeout : nullptr, nullptr) < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "ppoll");
}

[[noreturn]] void forward(const TunDevice &device, DelayLine &line)
{
    std::array<std::byte, largestPacket> buffer;
    for (;;) {
        waitFor(device, line);
        while (const std::size_t size = device.read(buffer))
            line.take(std::span(buffer).first(size), DelayLine::Clock::now());
        while (line.nextDue() && *line.nextDue() <= DelayLine::Clock::now())
            device.write(line.release());
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: velmora-lab-distance SEED DEVICE READY-FILE\n");
        return 1;
    }
    try {
        DelayLine line(readSeed(argv[1]));
        const TunDevice device(argv[2]);
        askForPunctuality();
        std::ofstream(argv[3]) << "forwarding\n";
        forward(device, line);
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "velmora-lab-distance: %s\n", problem.what());
        return 1;
    }
}
