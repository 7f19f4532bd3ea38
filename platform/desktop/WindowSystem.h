#pragma once

#include <QString>

class QWindow;

/// What the window system is asked for beyond Qt's own interface.
namespace velmora::windowsystem {

/// Makes the window join every workspace: under X11 by the hint of the Extended Window Manager Hints
/// (`_NET_WM_DESKTOP`, all bits set). Wayland has nothing of the kind; there it does nothing.
void joinAllSpaces(const QWindow &window);

/// Gives the window the focus, whatever other application has it. `token` is what the one who asked for it
/// passed on (XDG activation); without one a Wayland compositor may only mark the window.
void activate(QWindow &window, const QString &token);

} // namespace velmora::windowsystem
