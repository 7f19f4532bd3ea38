"""The client's windows under the window managers that people have."""

import os
import re

from scene_panels import PANEL, items, shown
from shell import WATCHER, bus_call, output, property_of
from stage import check, scene, until

ALL_WORKSPACES = "4294967295"


def of_root(name):
    return output("xprop", "-root", name)


def manager_name():
    window = re.search("0x[0-9a-f]+", of_root("_NET_SUPPORTING_WM_CHECK"))
    return property_of(window[0], "_NET_WM_NAME") if window else ""


def on_all_workspaces(stage, what):
    """The window is on screen on each of four workspaces, the current one first."""
    window = until("a window", shown)[0]
    for workspace in (1, 0, 2, 3):
        output("xdotool", "set_desktop", str(workspace))
        until(f"{what}: workspace {workspace + 1} with the window", lambda: of_root("_NET_CURRENT_DESKTOP").
              endswith(f"= {workspace}") and int(window, 16) in map(int, output(
                  "xdotool", "search", "--onlyvisible", "--class", "velmora").split()))
        until(f"{what}: {ALL_WORKSPACES}", lambda: ALL_WORKSPACES in property_of(window, "_NET_WM_DESKTOP"))
    stage.picture(what.replace(" ", "-"))


def four_workspaces(stage, name, *manager):
    stage.spawn(name, *manager)
    until(f"{name} manages the windows", lambda: name in manager_name().lower())
    output("xdotool", "set_num_desktops", "4")
    until("four workspaces", lambda: of_root("_NET_NUMBER_OF_DESKTOPS").endswith("= 4"))
    output("xdotool", "set_desktop", "1")
    until("the second one", lambda: of_root("_NET_CURRENT_DESKTOP").endswith("= 1"))
    client = stage.start_client()
    client.button("Sign in")
    on_all_workspaces(stage, "opened")
    client.press("Sign in")
    client.button("OK")
    on_all_workspaces(stage, "behind an alert")
    client.press("OK")
    until("no alert", lambda: stage.desktop.find("OK") is None)
    on_all_workspaces(stage, "after the alert")


@scene("xfwm4", "xfconf")
def xfwm4_shows_the_window_on_each_workspace(stage):
    stage.activatable("org.xfce.Xfconf")
    four_workspaces(stage, "xfwm4", "xfwm4", "--replace", "--compositor=off")


@scene("metacity")
def metacity_shows_the_window_on_each_workspace(stage):
    four_workspaces(stage, "metacity", "metacity", "--replace", "--no-composite")


@scene()
def an_open_alert_stays_on_top_of_what_comes_to_the_front(stage):
    stage.spawn("panel", "/usr/bin/python3", PANEL)
    stage.on_the_bus(WATCHER)
    client = stage.start_client()
    client.press("Sign in")
    client.button("OK")
    alert = hex(int(output("xdotool", "getactivewindow")))
    icon = until("the icon in the panel", lambda: re.search(r"'([^'/]+)/", items()))[1]
    for what, bring in (
            ("a click, which opens a window",
             lambda: bus_call(icon, "/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate", "0", "0")),
            ("a second start", lambda: stage.run(*client.program.split()))):
        bring()
        until("two windows and the alert", lambda: len(shown()) == 3)
        until(f"{what}: the alert on top and active", lambda: hex(int(output("xdotool", "getactivewindow"))) == alert and
              re.findall("0x[0-9a-f]+", of_root("_NET_CLIENT_LIST_STACKING"))[-1] == alert)
        stage.picture(what.split(",")[0].replace(" ", "-"))
    client.press("OK")


@scene("weston", "qt6-wayland")
def weston_shows_the_client_and_its_icon_opens_and_quits(stage):
    stage.spawn("weston", "weston", "--backend=x11-backend.so", "--width=1000", "--height=760", "--socket=velmora",
                "--idle-time=0")
    stage.spawn("panel", "/usr/bin/python3", PANEL)
    stage.on_the_bus(WATCHER)
    until("the compositor", lambda: os.path.exists(os.path.join(os.environ["XDG_RUNTIME_DIR"], "velmora")))
    client = stage.start_client(WAYLAND_DISPLAY="velmora", QT_QPA_PLATFORM="wayland")
    client.button("Sign in")
    icon = until("the icon in the panel", lambda: re.search(r"'([^'/]+)/", items()))[1]
    bus_call(icon, "/StatusNotifierItem", "org.kde.StatusNotifierItem.ProvideXdgActivationToken", "token")
    bus_call(icon, "/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate", "0", "0")
    until("another window", lambda: stage.desktop.application().get_child_count() == 2)
    stage.picture("another")
    menu = bus_call(icon, "/MenuBar", "com.canonical.dbusmenu.GetLayout", "0", "1", "[]")
    entry = re.search(r"<\((\d+), {[^}]*Quit Velmora", menu)[1]
    bus_call(icon, "/MenuBar", "com.canonical.dbusmenu.Event", entry, "clicked", "<0>", "0")
    check("an ordinary end", client.process.wait(15) == 0, client.process.returncode)
