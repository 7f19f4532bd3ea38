#include "platform/desktop/WindowSystem.h"

#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <cstring>

namespace velmora::windowsystem {

using namespace Qt::StringLiterals;

namespace {

constexpr uint32_t allDesktops = 0xFFFFFFFF;
/// Source indications of the Extended Window Manager Hints. A pager acts directly for the user, so the window
/// manager lets it take the focus.
constexpr uint32_t sourceApplication = 1;
constexpr uint32_t sourcePager = 2;

struct FreeDeleter
{
    void operator()(void *reply) const { std::free(reply); }
};
template<class T>
using Reply = std::unique_ptr<T, FreeDeleter>;

/// Null under another window system than X11.
xcb_connection_t *x11()
{
    const auto *const native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native != nullptr ? native->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    const xcb_intern_atom_cookie_t asked =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, asked, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

/// Sends a request to the window manager, which watches the root window.
void sendToManager(xcb_connection_t *connection, const QWindow &window, const char *message,
                   const std::array<uint32_t, 5> &data)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window.winId());
    event.type = atom(connection, message);
    std::copy(data.begin(), data.end(), event.data.data32);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(connection);
}

} // namespace

void joinAllSpaces(const QWindow &window)
{
    xcb_connection_t *const connection = x11();
    if (connection == nullptr)
        return;
    if (window.isVisible()) {
        // The window manager owns the properties of a visible window.
        sendToManager(connection, window, "_NET_WM_DESKTOP", {allDesktops, sourceApplication, 0, 0, 0});
        return;
    }
    const xcb_atom_t sticky = atom(connection, "_NET_WM_STATE_STICKY");
    const auto id = static_cast<xcb_window_t>(window.winId());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atom(connection, "_NET_WM_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &allDesktops);
    // xfwm4 takes the number alone for the last workspace. Qt keeps this state when it sets its own ones.
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atom(connection, "_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, 1, &sticky);
    xcb_flush(connection);
}

void activate(QWindow &window, const QString &token)
{
    // Qt's Wayland plugin takes the token out of the environment at the request.
    if (!token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
    window.requestActivate();
    xcb_connection_t *const connection = x11();
    if (connection == nullptr)
        return;
    sendToManager(connection, window, "_NET_ACTIVE_WINDOW", {sourcePager, XCB_CURRENT_TIME, 0, 0, 0});
    // No process that the client starts later may inherit a used token.
    qunsetenv("XDG_ACTIVATION_TOKEN");
}

bool hasSystemTray()
{
    xcb_connection_t *const connection = x11();
    if (connection == nullptr)
        return false;
    const xcb_get_selection_owner_cookie_t asked =
        xcb_get_selection_owner(connection, atom(connection, "_NET_SYSTEM_TRAY_S0"));
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, asked, nullptr));
    return reply && reply->owner != XCB_NONE;
}

bool announcesManager(const QByteArray &type, const void *message)
{
    const auto *const event = static_cast<const xcb_client_message_event_t *>(message);
    return type == "xcb_generic_event_t" && (event->response_type & 0x7F) == XCB_CLIENT_MESSAGE &&
           event->type == atom(x11(), "MANAGER");
}

} // namespace velmora::windowsystem
