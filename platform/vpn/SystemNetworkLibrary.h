#pragma once

#include "platform/network/GLibPointer.h"

// libnm as C++ sees it: what it includes of GLib comes first, for that has C++ parts of its own.
extern "C" {
#include <NetworkManager.h>
#include <nm-secret-agent-old.h>
}
