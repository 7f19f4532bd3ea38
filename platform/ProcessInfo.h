#pragma once

namespace velmora {

struct OperatingSystemVersion
{
    int major;
    int minor;
    int patch;
};

/// What the client runs on, in the numbering of the desktop interfaces that it was written for. How a Linux
/// distribution numbers itself says nothing of its desktop, so this is the level that the client provides for
/// itself, the same everywhere.
class ProcessInfo
{
public:
    static OperatingSystemVersion operatingSystemVersion();
    /// Makes the process believe that it runs on another level.
    static void setOperatingSystemVersion(const OperatingSystemVersion &version);

    /// Whether Qt's event loop is GLib's. The platform's libraries report through that one; under another
    /// they would stay silent for ever. Needs the application object; the reason goes to the system log.
    static bool runsOnGLib();

    /// Gives each of the standard files that is closed at the start to /dev/null: what is opened next would
    /// take its place, and get what is meant for standard output.
    static void openStandardFiles();
    /// From here on a crash leaves no image of the memory behind, in which passwords would be.
    static void leaveNoCoreDump();
};

} // namespace velmora
