#include "platform/vpn/SystemNetworkErrors.h"

#include "platform/network/GLibError.h"
#include "platform/vpn/SystemNetworkLibrary.h"

namespace velmora::systemnetwork {

using namespace Qt::StringLiterals;

namespace {

PlatformError make(GQuark domain, int code, const QString &message)
{
    return {QString::fromUtf8(g_quark_to_string(domain)), code, message};
}

} // namespace

PlatformError daemonAbsent()
{
    return make(NM_CLIENT_ERROR, NM_CLIENT_ERROR_MANAGER_NOT_RUNNING, u"NetworkManager is not running"_s);
}

PlatformError timedOut(const QString &what)
{
    return make(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, what);
}

PlatformError cancelled()
{
    return make(G_IO_ERROR, G_IO_ERROR_CANCELLED, u"The tunnel was stopped before it began"_s);
}

PlatformError noSavedProfile()
{
    return make(NM_MANAGER_ERROR, NM_MANAGER_ERROR_UNKNOWN_CONNECTION, u"There is no saved profile"_s);
}

PlatformError notExpressible(const QString &what)
{
    return make(NM_CONNECTION_ERROR, NM_CONNECTION_ERROR_INVALID_PROPERTY, what);
}

PlatformError failure(GError *error)
{
    const GErrorPtr owned(error);
    return fromGError(owned.get());
}

} // namespace velmora::systemnetwork
