#pragma once

#include <QString>

namespace velmora {

/// Opens a page of the service's web site in the user's browser. Does nothing when its address cannot be
/// formed, and reports no failure.
void openWebSitePage(const QString &path);

} // namespace velmora
