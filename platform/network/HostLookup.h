#pragma once

#include "platform/network/GLibPointer.h"

#include <QString>

#include <functional>
#include <vector>

namespace velmora {

using HostAddresses = std::vector<GObjectPtr<GInetAddress>>;

/// The addresses of a host without asking anybody: of an address literal, or of a name that was resolved less
/// than a minute ago. Empty where that takes a look-up.
HostAddresses rememberedAddresses(const QString &name);

/// Resolves a name through the system, without blocking. `handler` gets the addresses, none when the name
/// cannot be resolved, from the event loop; never after `cancellable` was cancelled.
void lookUpHost(const QString &name, GCancellable *cancellable, std::function<void(HostAddresses)> handler);

} // namespace velmora
