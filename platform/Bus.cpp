#include "platform/Bus.h"

#include "platform/network/GLibPointer.h"

namespace velmora {

namespace {

void survivesEndOf(GBusType bus)
{
    const GObjectPtr<GDBusConnection> connection(g_bus_get_sync(bus, nullptr, nullptr));
    if (connection)
        g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
}

} // namespace

void survivesEndOfSessionBus()
{
    survivesEndOf(G_BUS_TYPE_SESSION);
}

void survivesEndOfSystemBus()
{
    survivesEndOf(G_BUS_TYPE_SYSTEM);
}

} // namespace velmora
