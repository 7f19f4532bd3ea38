#pragma once

namespace velmora {

/// Gives windows and panels the roles by which a screen reader reads them, and keeps passwords from it.
/// Called before the first window is shown; further calls do nothing.
void installAccessibility();

} // namespace velmora
