#pragma once

namespace velmora {

/// GLib ends a process when a bus that it uses goes away; after this call the system bus's present connection
/// does not. A later connection needs the call again.
void survivesEndOfSystemBus();

} // namespace velmora
