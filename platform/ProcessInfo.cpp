#include "platform/ProcessInfo.h"

#include <algorithm>

#include <sys/resource.h>

namespace velmora {

namespace {

OperatingSystemVersion current{10, 13, 0};

} // namespace

OperatingSystemVersion ProcessInfo::operatingSystemVersion()
{
    return current;
}

void ProcessInfo::setOperatingSystemVersion(const OperatingSystemVersion &version)
{
    current = version;
}

// One byte, not none: a collector that the kernel pipes dumps to is called with a limit of none as well, and
// not with this one (see core(5) and the kernel's fs/coredump.c). PR_SET_DUMPABLE would do, too, but takes
// /proc/PID/root away from the desktop portals, which then refuse the client everything.
void ProcessInfo::leaveNoCoreDump()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
    setrlimit(RLIMIT_CORE, &limit);
}

} // namespace velmora
