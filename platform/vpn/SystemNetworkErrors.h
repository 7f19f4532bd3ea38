#pragma once

#include "platform/PlatformError.h"
#include "platform/Result.h"

using GError = struct _GError;

namespace velmora::systemnetwork {

/// The system's network daemon does not run.
PlatformError daemonAbsent();
/// There was no answer in time; `what` is a whole sentence.
PlatformError timedOut(const QString &what);
/// A start that a stop overtook before the daemon was asked.
PlatformError cancelled();
PlatformError noSavedProfile();
PlatformError notExpressible(const QString &what);

/// Takes `error` over, which may be null although the call failed.
PlatformError failure(GError *error);

} // namespace velmora::systemnetwork
