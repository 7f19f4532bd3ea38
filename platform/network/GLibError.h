#pragma once

#include "platform/network/GLibPointer.h"
#include "platform/PlatformError.h"

namespace velmora {

/// The domain, code and text of `error`; an error of its own where a failed call left none.
PlatformError fromGError(const GError *error);

} // namespace velmora
