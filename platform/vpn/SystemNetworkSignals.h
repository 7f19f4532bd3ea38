#pragma once

#include "platform/network/GLibPointer.h"

#include <vector>

namespace velmora {

/// Connections to GObject signals that end with this object, which also keeps their senders alive.
class SystemNetworkSignals
{
public:
    /// Called with the `data` of `follow()`; what a signal tells besides is not passed on.
    using Slot = void (*)(gpointer data);

    SystemNetworkSignals() = default;
    ~SystemNetworkSignals();
    SystemNetworkSignals(const SystemNetworkSignals &) = delete;
    SystemNetworkSignals &operator=(const SystemNetworkSignals &) = delete;

    void follow(gpointer sender, const char *signal, Slot slot, gpointer data);
    void clear();

private:
    struct Connection
    {
        GObjectPtr<GObject> sender;
        gulong id;
    };
    std::vector<Connection> connections;
};

} // namespace velmora
