#pragma once

#include <QString>

namespace velmora {

/// Opens a page of the service's web site in the user's browser. Does nothing when its address cannot be
/// formed; what becomes of the request is not told.
void openWebSitePage(const QString &path);

} // namespace velmora
