// Starts a program and prints, once its first window has been painted, the milliseconds since the start and
// the processor milliseconds that the program has used; then ends it. What counts is seen by the X server, so
// that it is the same for every program: the first drawing into a window that is no helper.
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <X11/extensions/Xdamage.h>
#include <X11/Xlib.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::seconds timeout{30};
/// Smaller ones are helpers that nobody sees.
constexpr int leastSide = 100;

[[noreturn]] void die(const char *why)
{
    std::fprintf(stderr, "velmora-bench-launch: %s\n", why);
    std::exit(1);
}

double processorMilliseconds(pid_t process)
{
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &used) != 0)
        die("the program has ended");
    return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

/// Waits for the first drawing into a window that has appeared since the display was opened.
bool waitForPaint(Display *display, int damageEvents, Clock::time_point end)
{
    while (Clock::now() < end) {
        if (XPending(display) == 0) {
            pollfd waiting{ConnectionNumber(display), POLLIN, 0};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            ::poll(&waiting, 1, static_cast<int>(left.count()) + 1);
            continue;
        }
        XEvent event;
        XNextEvent(display, &event);
        // The frames of a window manager bypass it.
        if (event.type == CreateNotify && event.xcreatewindow.override_redirect == False) {
            XDamageCreate(display, event.xcreatewindow.window, XDamageReportRawRectangles);
        } else if (event.type == damageEvents + XDamageNotify) {
            const auto &damage = reinterpret_cast<const XDamageNotifyEvent &>(event);
            if (damage.geometry.width >= leastSide && damage.geometry.height >= leastSide)
                return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2)
        die("usage: velmora-bench-launch PROGRAM [ARGUMENT]…");
    Display *const display = XOpenDisplay(nullptr);
    int damageEvents = 0;
    int damageErrors = 0;
    if (display == nullptr || XDamageQueryExtension(display, &damageEvents, &damageErrors) == False)
        die("no X display with the DAMAGE extension");
    // A window may be gone by the time that it is looked at.
    XSetErrorHandler([](Display *, XErrorEvent *) { return 0; });
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    XSync(display, False);

    pid_t child = 0;
    const auto began = Clock::now();
    if (posix_spawnp(&child, argv[1], nullptr, nullptr, argv + 1, environ) != 0)
        die("the program cannot be started");
    const bool painted = waitForPaint(display, damageEvents, began + timeout);
    const Milliseconds taken = Clock::now() - began;
    const double used = processorMilliseconds(child);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    if (!painted)
        die("no window has been painted");
    std::printf("%.3f %.3f\n", taken.count(), used);
    return 0;
}
