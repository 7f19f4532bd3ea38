#include "platform/ProcessInfo.h"

#include "platform/Log.h"

#include <QAbstractEventDispatcher>

#include <algorithm>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace velmora {

using namespace Qt::StringLiterals;

static OperatingSystemVersion current{10, 13, 0};

OperatingSystemVersion ProcessInfo::operatingSystemVersion()
{
    return current;
}

void ProcessInfo::setOperatingSystemVersion(const OperatingSystemVersion &version)
{
    current = version;
}

bool ProcessInfo::runsOnGLib()
{
    if (QAbstractEventDispatcher::instance()->inherits("QEventDispatcherGlib"))
        return true;
    systemLog(u"Qt does not run on GLib's event loop here (is QT_NO_GLIB set?); the client cannot work"_s);
    return false;
}

void ProcessInfo::openStandardFiles()
{
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() returns the lowest free number, which is this one.
        if (::fcntl(file, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR);
    }
}

// The limit is one byte: the kernel ignores a limit of zero when it pipes the dump to a program, and obeys
// this one (core(5) and the kernel's fs/coredump.c). PR_SET_DUMPABLE would hide /proc/PID/root from the
// desktop portals, which would then refuse every request.
void ProcessInfo::leaveNoCoreDump()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
    setrlimit(RLIMIT_CORE, &limit);
}

} // namespace velmora
