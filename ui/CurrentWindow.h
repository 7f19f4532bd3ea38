#pragma once

namespace velmora {

class Window;

/// The window in which the login screen was shown last; null when there was none or it is gone. Process-wide,
/// because screens of other windows close it when they open the one that takes its place.
Window *currentWindow();
void setCurrentWindow(Window *window);

} // namespace velmora
