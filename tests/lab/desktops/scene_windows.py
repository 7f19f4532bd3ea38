"""The status icon in the panels and the windows under the window managers that people have."""

import os
import re

from stage import BUS, HERE, WATCHER, bus_call, output, property_of, scene, until, windows_of

XFCONF = "org.xfce.Xfconf", "/usr/lib/*/xfce4/xfconf/xfconfd"
XFCE_PANEL = """<channel name="xfce4-panel" version="1.0">
  <property name="panels" type="array"><value type="int" value="1"/><property name="panel-1" type="empty">
    <property name="position" type="string" value="p=6;x=0;y=0"/>
    <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
  </property></property>
  <property name="plugins" type="empty"><property name="plugin-1" type="string" value="systray"/></property>
</channel>"""


def close_window():
    output("xdotool", "windowactivate", "--sync", str(int(windows_of()[-1], 16)), "key", "alt+F4")
    until("no window", lambda: not windows_of())


def icon():
    """The place of the product's blue mark among what the panel draws at the top of the screen; None without one."""
    drawn = output("import", "-window", "root", "-crop", "200x40+0+0", "-depth", "8", "txt:-")
    blue = [(x, y) for x, y, r, g, b in re.findall(r"(\d+),(\d+): \((\d+),(\d+),(\d+)", drawn)
            if int(b) > max(int(r) + 60, int(g))]
    return blue[len(blue) // 2] if len(blue) > 20 else None


def shows_the_icon_late_and_restarted(stage, *panel):
    stage.start_client().button("Sign in")
    for occasion in ("late", "restarted"):
        panel_process = stage.spawn("panel", *panel)
        place = until("the icon in the panel", icon)
        close_window()
        output("xdotool", "mousemove", *place, "click", "1", "mousemove", "600", "790")
        until("a click opens a window", windows_of)
        stage.client.button("Sign in")
        stage.desktop.picture(occasion)
        panel_process.kill()
        until("no icon", lambda: icon() is None)
    close_window()
    until("an ordinary end", lambda: stage.client.process.poll() == 0)


@scene("xfce4-panel", "xfconf")
def xfce4_panel_shows_the_icon_late_and_restarted(stage):
    stage.write(".config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml", XFCE_PANEL)
    stage.start_on_demand(*XFCONF)
    shows_the_icon_late_and_restarted(stage, "xfce4-panel", "--disable-wm-check")


@scene("trayer")
def an_xembed_tray_shows_the_icon_late_and_restarted(stage):
    shows_the_icon_late_and_restarted(stage, "trayer", "--edge", "top", "--align", "left")


def start_host(stage, *wanted):
    """A host that shows only icons with these properties."""
    stage.spawn("host", "/usr/bin/python3", os.path.join(HERE, "panel.py"), *wanted)
    until("the host", lambda: bus_call(WATCHER, "/StatusNotifierWatcher", BUS + ".Peer.Ping"))


def listed_icon():
    """The bus name and the path of the client's icon at the host."""
    return until("the icon in the list", lambda: re.search(r"'([^'/]+)(/[^']+)'", bus_call(
        WATCHER, "/StatusNotifierWatcher", BUS + ".Properties.Get", WATCHER, "RegisteredStatusNotifierItems"))).groups()


def choose(name, entry):
    """An entry of the icon's menu."""
    menu = bus_call(name, "/MenuBar", "com.canonical.dbusmenu.GetLayout", "0", "1", "[]")
    number = re.search(r"\((\d+), {[^}]*" + entry, menu)[1]
    bus_call(name, "/MenuBar", "com.canonical.dbusmenu.Event", number, "clicked", "<0>", "0")


@scene()
def a_host_that_shows_nothing_keeps_no_client_without_windows(stage):
    start_host(stage, "NothingThatAnIconHas")
    stage.start_client().button("Sign in")
    close_window()
    until("an ordinary end", lambda: stage.client.process.poll() == 0)


def on_all_workspaces(stage, when):
    """The window is on screen on each of four workspaces."""
    window = str(int(until("the window", windows_of)[0], 16))
    for workspace in (1, 2, 3, 0):
        output("xdotool", "set_desktop", str(workspace))
        until(f"{when}: the window on workspace {workspace + 1}", lambda: (
            output("xdotool", "get_desktop") == str(workspace) and
            window in output("xdotool", "search", "--onlyvisible", "--class", "velmora").split()))
    stage.desktop.picture(when.replace(" ", "-"))


def four_workspaces(stage, manager, *options):
    stage.spawn(manager, manager, "--replace", *options)
    until(f"{manager} manages the windows", lambda: manager in property_of(
        output("xprop", "-root", "_NET_SUPPORTING_WM_CHECK").split()[-1], "_NET_WM_NAME").lower())
    output("xdotool", "set_num_desktops", "4")
    client = stage.start_client()
    client.button("Sign in")
    on_all_workspaces(stage, "opened")
    client.press("Sign in")
    client.press("OK")
    until("no alert", lambda: stage.desktop.find("OK") is None)
    on_all_workspaces(stage, "after the alert")


@scene("xfwm4", "xfconf")
def xfwm4_shows_the_window_on_each_workspace(stage):
    stage.start_on_demand(*XFCONF)
    four_workspaces(stage, "xfwm4", "--compositor=off")


@scene("metacity")
def metacity_shows_the_window_on_each_workspace(stage):
    four_workspaces(stage, "metacity", "--no-composite")


@scene("weston", "qt6-wayland")
def weston_shows_the_client_and_a_host_that_wants_a_menu_its_icon(stage):
    stage.spawn("weston", "weston", "--backend=x11-backend.so", "--socket=velmora", "--idle-time=0")
    until("the compositor", lambda: os.path.exists(os.path.join(os.environ["XDG_RUNTIME_DIR"], "velmora")))
    os.environ.update(WAYLAND_DISPLAY="velmora", QT_QPA_PLATFORM="wayland")
    stage.start_client().button("Sign in")
    start_host(stage, "Id", "Menu")
    icon_at = listed_icon()
    bus_call(*icon_at, "org.kde.StatusNotifierItem.Activate", "0", "0")
    until("another window", lambda: stage.desktop.application().get_child_count() == 2)
    choose(icon_at[0], "Open Velmora")
    until("a third window", lambda: stage.desktop.application().get_child_count() == 3)
    stage.desktop.picture("windows")
    choose(icon_at[0], "Quit Velmora")
    until("an ordinary end", lambda: stage.client.process.poll() == 0)
