#include "platform/Bus.h"

#include "platform/network/GLibPointer.h"

namespace velmora {

void survivesEndOfSystemBus()
{
    const GObjectPtr<GDBusConnection> connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (connection)
        g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
}

} // namespace velmora
