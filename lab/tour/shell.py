"""The tour of the client as a whole: notices, settings, reset, log-out, menu, status icon, second start, end."""

import os
import re
import signal
import subprocess
import sys

from desktop import Atspi, NotSo, until

HERE = os.path.dirname(os.path.abspath(__file__))
# The client for a machine without namespaces has an identifier of its own.
IDENTIFIER = "com.velmora.Client" if "VELMORA_LAB" in os.environ else "com.velmora.Lab"
WATCHER = "org.kde.StatusNotifierWatcher"


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()


def bus_call(destination, path, method, *arguments):
    return output("gdbus", "call", "--session", "--dest", destination, "--object-path", path, "--method", method,
                  *arguments)


def windows():
    """The ids of the windows that the window manager shows."""
    return re.findall(r"0x[0-9a-f]+", output("xprop", "-root", "_NET_CLIENT_LIST"))


def property_of(window, name):
    return output("xprop", "-id", window, name)


def geometry(window):
    said = output("xdotool", "getwindowgeometry", "--shell", str(int(window, 16)))
    values = dict(line.split("=") for line in said.splitlines())
    return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))


class Shell:
    def __init__(self, tour, say):
        self.tour = tour
        self.desktop = tour.desktop
        self.say = say
        self.button, self.press, self.gone = tour.button, tour.press, tour.gone
        self.panel = None

    def steps(self):
        return [self.all_spaces, self.notices, self.recent, self.settings, self.reset, self.logout, self.menu,
                self.status_icon, self.second_start, self.last_window]

    def at_home(self):
        self.button("Measure latencies")

    def all_spaces(self):
        hint = property_of(windows()[0], "_NET_WM_DESKTOP")
        if "4294967295" not in hint:
            raise NotSo(f"the window is on one workspace: {hint}")
        self.say("all workspaces", hint)

    def notice(self, button, title, picture):
        """Opens a notice and looks where it stands."""
        before = windows()
        self.press(button)
        self.desktop.wait_for(title, Atspi.Role.LABEL)
        window = until("a window for it", lambda: [each for each in windows() if each not in before])[0]
        x, y, width, _ = geometry(window)
        if (x + width, y) != (1280, 0):
            raise NotSo(f"the notice ends at {x + width}, {y}")
        until("a window without a frame", lambda: "= 0, 0, 0, 0" in property_of(window, "_NET_FRAME_EXTENTS"))
        self.desktop.picture(picture)
        return window

    def notices(self):
        self.notice("Notice", "Stay up to date", "notice-1")
        # Its first button is Close.
        self.desktop.key("Return")
        self.gone("Stay up to date")
        self.notice("Installation", "Install updates", "notice-2")
        self.desktop.key("Return")
        self.gone("Install updates")
        self.button("Done")
        self.desktop.picture("install")
        self.desktop.key("Escape")
        self.gone("Done")
        self.press("Update")
        self.button("Not now")
        self.desktop.picture("update")
        self.desktop.key("Escape")
        self.gone("Not now")
        self.say("notices", "both at the top right without a frame, the second leads to the install notice")

    def recent(self):
        before = windows()
        self.notice("A few places", "A few places", "notice-3")
        self.desktop.key("alt+o")
        self.gone("Open Velmora")
        until("another window in place of the first",
              lambda: len(windows()) == 1 and windows()[0] not in before)
        self.at_home()
        self.say("a few places", "opens a login window, which goes home, in place of the first")

    def settings(self):
        self.press("Settings")
        self.button("Log out")
        self.desktop.picture("settings")
        self.desktop.key("Escape")
        self.at_home()
        self.press("Settings")
        self.press("Change password")
        self.button("Send reset link")
        if len(windows()) != 1:
            raise NotSo("the reset screen is in another window")
        self.say("settings", "and back, and on to the reset screen in the same window")

    def reset(self):
        until("the focus in the field", lambda: (field := self.desktop.focused()) and
              field.get_name() == "User name")
        self.desktop.type("ann")
        self.desktop.picture("reset")
        self.desktop.key("Return")
        self.desktop.wait_for_text("If there is an account associated with ann a reset link will be sent to that "
                                   "address.")
        self.desktop.picture("reset-sent")
        self.desktop.key("Return")
        self.gone("OK")
        self.press("Back to sign in")
        self.at_home()
        self.say("reset", "confirmed; the way back goes through the login screen home")

    def logout(self):
        defaults = os.path.join(os.environ["XDG_CONFIG_HOME"], f"{IDENTIFIER}.conf")
        os.makedirs(os.path.dirname(defaults), exist_ok=True)
        with open(defaults, "w", encoding="utf-8") as file:
            file.write("other=1\n[group]\nkey=2\n")
        os.chmod(defaults, 0o666)
        self.press("Settings")
        self.press("Log out")
        self.at_home()
        with open(defaults, encoding="utf-8") as file:
            left = file.read().strip()
        if left:
            raise NotSo(f"the defaults still hold {left}")
        self.say("log out", "the defaults are empty; the login screen goes home, as the keyring still knows the user")

    def menu(self):
        before = windows()
        self.desktop.key("alt+v")
        self.desktop.wait_for("Settings…", Atspi.Role.MENU_ITEM)
        self.desktop.picture("menu")
        self.desktop.key("Escape", "Escape")
        self.gone("Settings…")
        self.desktop.key("ctrl+comma")
        self.button("Log out")
        until("the settings in a window of their own",
              lambda: len(windows()) == 1 and windows()[0] not in before)
        if "4294967295" in property_of(windows()[0], "_NET_WM_DESKTOP"):
            raise NotSo("a window that was opened later is on all workspaces")
        self.press("Back to home")
        self.at_home()
        self.say("menu", "Ctrl+comma opens the settings in a new window in place of the current one")

    def start_panel(self):
        self.panel = subprocess.Popen(["/usr/bin/python3", os.path.join(HERE, "panel.py")], stdout=subprocess.PIPE,
                                      text=True)
        self.item = self.panel.stdout.readline().strip()
        if not self.item:
            raise NotSo("no status icon")

    def stop_panel(self):
        if self.panel is not None:
            self.panel.send_signal(signal.SIGTERM)
            self.panel.wait(10)
            self.panel = None

    def click(self):
        bus_call(self.item, "/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate", "0", "0")

    def status_icon(self):
        self.start_panel()
        self.say("status icon", "a panel that comes late gets it: " + bus_call(
            WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties.Get", WATCHER,
            "RegisteredStatusNotifierItems"))
        self.stop_panel()
        self.start_panel()
        interface = output("gdbus", "introspect", "--session", "--dest", self.item, "--object-path",
                           "/StatusNotifierItem")
        if "Menu = '/MenuBar'" not in interface or "ItemIsMenu = false" not in interface:
            raise NotSo("a click does not run the action, or there is no menu beside it")
        window = windows()[0]
        place = geometry(window)
        subprocess.run(["xdotool", "windowminimize", str(int(window, 16))], check=True)
        until("the window away", lambda: "_NET_WM_STATE_HIDDEN" in property_of(window, "_NET_WM_STATE"))
        self.desktop.picture("miniaturised")
        self.click()
        until("the window back", lambda: "_NET_WM_STATE_HIDDEN" not in property_of(window, "_NET_WM_STATE"))
        # The window manager moves it there step by step.
        until("the window in its place", lambda: geometry(window) == place)
        until("the window active",
              lambda: hex(int(output("xdotool", "getactivewindow"))) == window)
        self.desktop.picture("restored")
        self.click()
        until("another window, as none was miniaturised", lambda: len(windows()) == 2)
        self.desktop.key("alt+F4")
        until("one window", lambda: len(windows()) == 1)
        self.say("status icon", "restores the window, also after the panel was restarted; has a menu")

    def second_start(self):
        before = windows()
        subprocess.run(["xdotool", "windowminimize", str(int(before[0], 16))], check=True)
        until("the window away", lambda: "_NET_WM_STATE_HIDDEN" in property_of(before[0], "_NET_WM_STATE"))
        second = self.tour.launch().wait(20)
        until("the window back", lambda: "_NET_WM_STATE_HIDDEN" not in property_of(before[0], "_NET_WM_STATE"))
        if second != 0 or windows() != before:
            raise NotSo(f"the second start ended with {second} and left {len(windows())} windows")
        if "org.freedesktop.Application" not in output("gdbus", "introspect", "--session", "--dest", IDENTIFIER,
                                                       "--object-path", "/" + IDENTIFIER.replace(".", "/")):
            raise NotSo(f"{IDENTIFIER} has no interface to activate it")
        self.say("second start", f"ends at once and brings the first one's window back; {IDENTIFIER} is on the bus")

    def last_window(self):
        self.desktop.key("alt+F4")
        until("no window", lambda: not windows())
        self.click()
        until("a window", windows)
        self.at_home()
        self.stop_panel()
        self.desktop.key("alt+F4")
        try:
            status = self.tour.process.wait(15)
        except subprocess.TimeoutExpired as fault:
            raise NotSo("the client stays although nothing brings it back") from fault
        if status != 0:
            raise NotSo(f"the client ended with status {status}")
        self.say("last window", "closed, a status icon brings it back; without one it ends the client")
