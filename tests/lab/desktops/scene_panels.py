"""The status icon in the panels that people have: it appears, a click brings the client back, a restarted panel has it
again, and a panel that does not show it keeps no client without windows."""

import os
import re
import subprocess

from shell import HERE, WATCHER, bus_call, output, property_of, windows
from stage import NotSo, check, scene, until

PANEL = os.path.join(HERE, "panel.py")
XFCE_PANEL = """<channel name="xfce4-panel" version="1.0">
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty"><property name="plugin-1" type="string" value="systray"/></property>
</channel>"""


def shown():
    """The client's windows, without the panel's."""
    return [window for window in windows() if "elmora" in property_of(window, "WM_CLASS")]


def icon():
    """The place of the product's blue mark among what the panel draws at the top of the screen; None without one."""
    drawn = output("import", "-window", "root", "-crop", "200x40+0+0", "txt:-")
    blue = [(int(x), int(y)) for x, y, r, g, b in re.findall(r"(\d+),(\d+): \((\d+),(\d+),(\d+)", drawn)
            if int(b) > int(r) + 60 * (257 if int(b) > 255 else 1) and int(b) > int(g)]
    return blue[len(blue) // 2] if len(blue) > 20 else None


def back_by_a_click(stage):
    x, y = until("the icon in the panel", icon)
    close_window()
    output("xdotool", "mousemove", str(x), str(y), "click", "1", "mousemove", "600", "790")
    until("a click opens a window", shown)
    stage.client.button("Sign in")


def close_window():
    output("xdotool", "windowactivate", "--sync", str(int(shown()[-1], 16)), "key", "alt+F4")
    until("no window", lambda: not shown())


def ends_with_its_window(stage):
    close_window()
    try:
        status = stage.client.process.wait(15)
    except subprocess.TimeoutExpired as fault:
        raise NotSo("the client stays without a window") from fault
    check("an ordinary end", status == 0, status)


def xfce4_panel(stage):
    stage.spawn("panel", "xfce4-panel", "--disable-wm-check")


@scene("xfce4-panel", "xfconf")
def xfce4_panel_shows_the_icon_late_and_restarted(stage):
    folder = os.path.join(os.environ["XDG_CONFIG_HOME"], "xfce4", "xfconf", "xfce-perchannel-xml")
    stage.run("sh", "-c", f"mkdir -p {folder} && printf %s '{XFCE_PANEL}' >{folder}/xfce4-panel.xml")
    stage.activatable("org.xfce.Xfconf")
    stage.start_client().button("Sign in")
    xfce4_panel(stage)
    back_by_a_click(stage)
    stage.picture("icon")
    stage.end("panel")
    until("no icon", lambda: icon() is None)
    xfce4_panel(stage)
    back_by_a_click(stage)
    stage.picture("icon-again")
    stage.end("panel")
    ends_with_its_window(stage)


@scene("trayer")
def an_xembed_tray_shows_the_icon_late_and_restarted(stage):
    stage.start_client().button("Sign in")
    for occasion in ("late", "restarted"):
        stage.spawn("tray", "trayer", "--edge", "top", "--align", "left", "--widthtype", "pixel", "--width", "100",
                    "--height", "24")
        back_by_a_click(stage)
        stage.picture(occasion)
        stage.end("tray")
        until("no icon", lambda: icon() is None)
    ends_with_its_window(stage)


def items():
    return bus_call(WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties.Get", WATCHER,
                    "RegisteredStatusNotifierItems")


@scene()
def a_host_that_wants_a_menu_shows_the_icon(stage):
    stage.spawn("panel", "/usr/bin/python3", PANEL, "Id", "Menu")
    stage.on_the_bus(WATCHER)
    stage.start_client().button("Sign in")
    name, path = until("the icon in the list", lambda: re.search(r"'([^'/]+)(/[^']+)'", items())).groups()
    close_window()
    bus_call(name, path, "org.kde.StatusNotifierItem.Activate", "0", "0")
    until("a click opens a window", shown)
    menu = bus_call(name, "/MenuBar", "com.canonical.dbusmenu.GetLayout", "0", "1", "[]")
    check("the menu opens and quits", re.findall(r"(\w+ Velmora)", menu) == ["Open Velmora", "Quit Velmora"], menu)
    close_window()
    entry = re.search(r"\((\d+), {[^}]*Open Velmora", menu).group(1)
    bus_call(name, "/MenuBar", "com.canonical.dbusmenu.Event", entry, "clicked", "<0>", "0")
    until("the menu opens a window", shown)
    stage.picture("opened-by-the-menu")


@scene()
def a_host_that_shows_nothing_keeps_no_client_without_windows(stage):
    stage.spawn("panel", "/usr/bin/python3", PANEL, "NothingThatAnIconHas")
    stage.on_the_bus(WATCHER)
    stage.start_client().button("Sign in")
    ends_with_its_window(stage)
