#include "ui/WebSite.h"

#include "platform/Configuration.h"

#include <QDesktopServices>
#include <QUrl>

namespace velmora {

using namespace Qt::StringLiterals;

void openWebSitePage(const QString &path)
{
    const QUrl address(u"https://"_s + configuration::webHost() + path, QUrl::StrictMode);
    if (address.isValid() && !address.toString().isEmpty())
        QDesktopServices::openUrl(address);
}

} // namespace velmora
