#include "tests/support/TestConfiguration.h"

#include "platform/Configuration.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

QString &baseUrl()
{
    static QString url = u"http://127.0.0.1:9/api/"_s;
    return url;
}

} // namespace

void testing::setApiBaseUrl(const QString &url)
{
    baseUrl() = url;
}

namespace configuration {

QString apiBaseUrl()
{
    return baseUrl();
}

QString webHost()
{
    return u"www.velmora.test"_s;
}

QString applicationIdentifier()
{
    return u"com.velmora.Test"_s;
}

QString version()
{
    return u"0.0.0"_s;
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

} // namespace configuration

} // namespace velmora
