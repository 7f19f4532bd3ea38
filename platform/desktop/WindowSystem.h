#pragma once

#include <QByteArray>
#include <QString>

class QWindow;

/// Access to the window system beyond Qt's own interface.
namespace velmora::windowsystem {

/// Shows the window on every workspace by the Extended Window Manager Hints of X11 (`_NET_WM_DESKTOP` with
/// all bits set, `_NET_WM_STATE_STICKY`). Wayland has no such request.
void joinAllSpaces(const QWindow &window);

/// Gives the window the focus, whichever application has it. `token` is the permission that came with the
/// user's request (XDG activation). Without one a Wayland compositor may only highlight the window.
void activate(QWindow &window, const QString &token);

/// True if an X11 system tray runs.
bool hasSystemTray();

/// True if a native event announces the manager of an X11 selection, which may be a system tray.
bool announcesManager(const QByteArray &type, const void *message);

} // namespace velmora::windowsystem
