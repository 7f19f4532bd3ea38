#include "platform/vpn/SystemNetworkSignals.h"

namespace velmora {

SystemNetworkSignals::~SystemNetworkSignals()
{
    clear();
}

void SystemNetworkSignals::follow(gpointer sender, const char *signal, Slot slot, gpointer data)
{
    // Swapped, so that the data comes first whatever arguments the signal has.
    const gulong id = g_signal_connect_swapped(sender, signal, G_CALLBACK(slot), data);
    connections.push_back({refObject(static_cast<GObject *>(sender)), id});
}

void SystemNetworkSignals::clear()
{
    for (const Connection &connection : connections)
        g_signal_handler_disconnect(connection.sender.get(), connection.id);
    connections.clear();
}

} // namespace velmora
