#pragma once

#include "Exchange.h"

#include <string>

namespace velmora::lab {

/// The service's web site: the home page "/" and the page "/support".
Reply webPage(const std::string &path);

} // namespace velmora::lab
