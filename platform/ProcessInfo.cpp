#include "platform/ProcessInfo.h"

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

} // namespace velmora
