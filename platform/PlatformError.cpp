#include "platform/PlatformError.h"

namespace velmora {

using namespace Qt::StringLiterals;

QString PlatformError::description() const
{
    return u"Error Domain=%1 Code=%2 \"%3\""_s.arg(domain, QString::number(code), message);
}

} // namespace velmora
