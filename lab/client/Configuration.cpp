#include "platform/Configuration.h"

namespace velmora::configuration {

using namespace Qt::StringLiterals;

QString apiBaseUrl()
{
    return qEnvironmentVariable("VELMORA_LAB_API");
}

QString webHost()
{
    return u"www.velmora.test"_s;
}

QString applicationIdentifier()
{
    return u"com.velmora.Lab"_s;
}

QString version()
{
    return u"0"_s;
}

QString ikeDhGroup()
{
    return u"dh14"_s;
}

QString natTraversalMode()
{
    return u"force-natt"_s;
}

QString dpdIdleSeconds()
{
    return u"10"_s;
}

} // namespace velmora::configuration
