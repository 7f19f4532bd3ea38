#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

class QWindow;

namespace velmora {

/// Requests to the window system beyond Qt's own interface.
namespace windowsystem {

/// Makes the window join every workspace: under X11 by the Extended Window Manager Hints (`_NET_WM_DESKTOP`
/// with all bits set, `_NET_WM_STATE_STICKY`). Wayland has no such request.
void joinAllSpaces(const QWindow &window);

/// Gives the window the focus, whichever application has it. `token` is the permission that came with the
/// user's request (XDG activation); without one a Wayland compositor may only mark the window.
void activate(QWindow &window, const QString &token);

} // namespace windowsystem

/// Tells when an X11 system tray appears. Under Wayland none ever does.
class SystemTrayWatch final : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    SystemTrayWatch();

    static bool isPresent();

Q_SIGNALS:
    /// Comes for the manager of another X11 selection too.
    void appeared();

private:
    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *result) override;
};

} // namespace velmora
