#include "platform/network/GLibError.h"

namespace velmora {

using namespace Qt::StringLiterals;

PlatformError fromGError(const GError *error)
{
    if (error == nullptr)
        return {u"velmora-platform"_s, 0, u"The call failed without saying why"_s};
    return {QString::fromUtf8(g_quark_to_string(error->domain)), error->code,
            QString::fromUtf8(error->message)};
}

} // namespace velmora
