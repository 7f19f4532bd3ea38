#pragma once

namespace velmora {

/// GLib ends a process when a bus that it uses goes away; after this call the one of the present connections
/// does not. A later connection needs the call again.
void survivesEndOfSessionBus();
void survivesEndOfSystemBus();

} // namespace velmora
