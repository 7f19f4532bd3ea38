#pragma once

namespace velmora {

struct OperatingSystemVersion
{
    int major;
    int minor;
    int patch;
};

/// The process and the system level that it runs on. The level counts in the versions of the desktop
/// interfaces that the client was written for. The version of a Linux distribution does not tell its desktop,
/// so the client provides the same level everywhere.
class ProcessInfo
{
public:
    static OperatingSystemVersion operatingSystemVersion();
    /// Changes the level for this process.
    static void setOperatingSystemVersion(const OperatingSystemVersion &version);

    /// True if Qt runs on GLib's event loop, without which libsoup and GIO never call back. Needs the
    /// application object. Writes a failure to the system log.
    static bool runsOnGLib();

    /// Opens /dev/null for each standard stream that is closed. Otherwise the next file that the process
    /// opens would take its number and receive the output.
    static void openStandardFiles();
    /// Keeps the kernel from writing core dumps, which would contain passwords.
    static void leaveNoCoreDump();
};

} // namespace velmora
