#!/usr/bin/python3
"""Walks every screen of the client through the accessibility interface and with the keyboard: each control has a name
and a fitting role, and Tab and the arrow keys lead to it.

Usage, inside a lab with a display: accessibility.py CLIENT PLACEHOLDER FOLDER
PLACEHOLDER is a command that shows the screen to which nothing leads.
"""

import os
import re
import subprocess
import sys
import time
import warnings

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "..", "lab", "tour"))
from desktop import Atspi, Desktop, GLib, NotSo, descendants, is_showing, until  # noqa: E402
from person import check, labctl  # noqa: E402

# Of an action's names Qt answers for this one only.
warnings.filterwarnings("ignore", message=".*get_action_name")

Role, State = Atspi.Role, Atspi.StateType
# What a person can do something with, and what such a thing may call itself.
CONTROLS = {Role.PUSH_BUTTON, Role.TEXT, Role.PASSWORD_TEXT, Role.LIST, Role.LIST_ITEM, Role.MENU_ITEM, Role.CHECK_BOX,
            Role.LINK}
# They hold controls and have actions of their own only in Qt's eyes.
HOLDERS = {Role.FRAME, Role.WINDOW, Role.DIALOG, Role.ALERT, Role.MENU_BAR, Role.POPUP_MENU, Role.MENU}
MOVED_SECONDS = 3
MOST_STOPS = 200


def states(node):
    return node.get_state_set()


def described(node):
    return f"{node.get_role_name()} “{node.get_name()}”"


def is_control(node):
    if not is_showing(node) or node.get_role() in HOLDERS:
        return False
    count = Atspi.Action.get_n_actions(node) if "Action" in node.get_interfaces() else 0
    actions = {Atspi.Action.get_action_name(node, index) for index in range(count)}
    # A text that can be selected with the pointer takes the focus for that.
    if node.get_role() == Role.LABEL:
        return bool(actions - {"SetFocus"})
    return bool(actions) or states(node).contains(State.FOCUSABLE)


def is_in_menu_bar(node):
    """A menu bar is reached by Alt and a letter, not by Tab."""
    return node.get_parent().get_role() == Role.MENU_BAR


class Walk:
    """One screen: what there is on it, and what the keyboard reaches."""

    def __init__(self, desktop, screen, root):
        self.desktop = desktop
        self.screen = screen
        self.root = root
        self.reached = set()

    def controls(self):
        found = set()
        for node in descendants(self.root):
            if is_control(node):
                if not re.match(r"\w", node.get_name()):
                    raise NotSo(f"{self.screen}: a {node.get_role_name()} without a name, in "
                                f"{described(node.get_parent())}")
                if node.get_role() not in CONTROLS:
                    raise NotSo(f"{self.screen}: {described(node)} is no role for a control")
                if not is_in_menu_bar(node):
                    found.add(described(node))
        return found

    def focus(self):
        """Where the keyboard is: the innermost control that has it."""
        inner = None
        for node in descendants(self.root):
            if states(node).contains(State.FOCUSED) and is_showing(node):
                inner = node
        return inner

    def press(self, key):
        """Where the keyboard is after this key; none where that is the same place."""
        before = self.note(self.focus())
        self.desktop.key(key)
        end = time.monotonic() + MOVED_SECONDS
        while time.monotonic() < end:
            try:
                now = self.focus()
                if self.note(now) not in (None, before):
                    return now
            except GLib.Error:
                pass
            time.sleep(0.01)
        return None

    def note(self, node):
        if node is None:
            return None
        self.reached.add(described(node))
        return described(node)

    def along_the_rows(self, stop, wanted):
        """In a list the arrow keys go from row to row, or from button to button of the rows."""
        in_rows = stop.get_parent().get_role() == Role.LIST_ITEM
        row = stop.get_parent() if in_rows else stop
        rows = row if row.get_role() == Role.LIST else row.get_parent()
        if rows.get_role() != Role.LIST:
            return
        own = {described(node) for node in descendants(rows)
               if is_showing(node) and node.get_role() == (Role.PUSH_BUTTON if in_rows else Role.LIST_ITEM)}
        self.desktop.key("Home")
        for _ in range(MOST_STOPS):
            if (own & wanted) <= self.reached or self.press("Down") is None:
                return

    def run(self):
        # A control that goes while it is looked at makes it begin again.
        wanted = until(self.screen, lambda: (self.controls(),))[0]
        stops = []
        while wanted and len(stops) < MOST_STOPS:
            stop = self.focus() if wanted == {self.note(self.focus())} else self.press("Tab")
            if stop is None:
                break
            held_by = stop.get_parent() if stop.get_role() == Role.LIST_ITEM else stop
            if self.note(held_by) in stops:
                break
            stops.append(described(held_by))
            self.along_the_rows(stop, wanted)
        missed = sorted(wanted - self.reached)
        if missed:
            raise NotSo(f"{self.screen}: the keyboard does not reach {', '.join(missed)}; it goes {stops}")
        print(f"ok  {self.screen}: {len(wanted)} controls, {len(stops)} stops of Tab", flush=True)


class Tour:
    def __init__(self, program, placeholder, folder):
        self.desktop = Desktop(folder)
        self.placeholder = placeholder
        self.start(program)

    def start(self, program):
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.process = subprocess.Popen(program, env=environment, stdout=subprocess.DEVNULL)

    def window(self, control):
        """The window that has the keyboard, once it shows this control."""
        root = self.desktop.application()
        windows = (root.get_child_at_index(i) for i in range(root.get_child_count())) if root else ()
        return next((each for each in windows if each is not None and states(each).contains(State.ACTIVE) and
                     (control is None or self.desktop.find(control, within=each))), None)

    def walk(self, screen, control, panel=None):
        """`control` is one by which the screen is known; `panel` is what covers the rest of its window."""
        window = until(f"{screen}: its window", lambda: self.window(control))
        Walk(self.desktop, screen, self.desktop.find(panel, within=window) if panel else window).run()

    def press(self, name):
        self.desktop.press(self.button(name))

    def button(self, name):
        return self.desktop.wait_for(name, Role.PUSH_BUTTON)

    def close(self, name):
        self.desktop.key("Escape")
        until(f"“{name}” gone", lambda: self.desktop.find(name) is None)

    def account_screens(self):
        self.walk("login", "Sign in")
        self.press("Sign in")
        self.walk("alert", "OK")
        self.desktop.key("Return")
        self.press("Forgot password?")
        self.walk("reset", "Send reset link")
        self.press("Back to sign in")

    def home(self):
        for request in ("endpoints", "favorites"):
            labctl("fault", f'body={{"{request}":[]}}', "on", request)
        self.desktop.focus(self.desktop.wait_for("User name", Role.TEXT))
        self.desktop.type(os.environ["VELMORA_LAB_USER"])
        self.desktop.key("Tab")
        self.desktop.type(os.environ["VELMORA_LAB_PASSWORD"])
        self.desktop.key("Return")
        self.walk("home, nothing in it", "Quick Connect")
        labctl("fault", "body", "off", "favorites")
        self.press("Settings")
        self.walk("settings", "Log out")
        self.press("Back to home")
        self.walk("home, favourites without a location", "Remove Unknown location from favourites")
        labctl("fault", "clear")
        self.press("Settings")
        self.press("Back to home")
        self.button("Quick Connect")
        the_list = self.desktop.wait_for("All locations", Role.LIST)
        until("locations", lambda: the_list.get_child_count() > 5)
        labctl("nm", "stop")
        self.walk("home, with lists and the strip", "Needs attention")
        labctl("nm", "start")

    def panels_and_notices(self):
        self.press("Update")
        self.walk("update panel", "Not now", "Update Velmora")
        self.close("Not now")
        self.press("Notice")
        self.walk("first notice", "Stay up to date")
        self.close("Stay up to date")
        self.press("Installation")
        self.walk("second notice", "Install updates")
        self.press("Show how")
        self.walk("install panel", "Done", "Install the update")
        self.close("Done")
        self.press("Recent places")
        self.walk("third notice", "Open Velmora")
        self.close("Open Velmora")

    def menu(self):
        self.desktop.key("alt+v")
        self.desktop.wait_for("Settings…", Role.MENU_ITEM)
        items = [node for node in descendants(self.desktop.application())
                 if node.get_role() == Role.MENU_ITEM and is_showing(node)]
        left = {node.get_name() for node in items}
        check("the menu's entries have names", "" not in left and len(left) >= 3, left)
        for _ in range(len(items) + 1):
            left -= {node.get_name() for node in items if states(node).contains(State.FOCUSED)}
            self.desktop.key("Down")
        check("the arrow keys reach the menu's entries", left <= {"Velmora"}, left)
        self.desktop.key("Escape", "Escape")
        print(f"ok  menu: {len(items)} entries", flush=True)

    def nothing_yet(self):
        self.end()
        self.start(self.placeholder)
        self.walk("placeholder", None)

    def end(self):
        self.process.kill()
        self.process.wait()
        until("the client gone", lambda: self.desktop.application() is None)


def main():
    tour = Tour([sys.argv[1]], sys.argv[2].split(), sys.argv[3])
    try:
        for part in (tour.account_screens, tour.home, tour.menu, tour.panels_and_notices, tour.nothing_yet):
            part()
    except NotSo as fault:
        tour.desktop.picture("not-so")
        print(f"not so: {fault}", flush=True)
        return 1
    finally:
        tour.process.kill()
    return 0


if __name__ == "__main__":
    sys.exit(main())
