#!/usr/bin/python3
"""Walks every screen of the client through the accessibility interface and with the keyboard: each control has a name
and a fitting role, and Tab and the arrow keys lead to it. Counts the events that a screen reader gets.

Usage, inside a lab with a display: accessibility.py CLIENT PLACEHOLDER FOLDER
PLACEHOLDER is a command that shows the screen to which nothing leads.
"""

import os
import re
import sys
import time

from person import Atspi, Client, GLib, check, descendants, is_showing, labctl, play, until

Role, State = Atspi.Role, Atspi.StateType
# What a person can do something with, and what such a thing may call itself.
CONTROLS = {Role.PUSH_BUTTON, Role.TEXT, Role.PASSWORD_TEXT, Role.LIST, Role.LIST_ITEM, Role.MENU_ITEM, Role.CHECK_BOX,
            Role.LINK}
# They have actions only in Qt's eyes; a text can be selected with the pointer.
NO_CONTROLS = {Role.FRAME, Role.WINDOW, Role.DIALOG, Role.ALERT, Role.MENU_BAR, Role.POPUP_MENU, Role.MENU, Role.LABEL}
# Where it takes longer, what was not reached is come by again.
MOVED_SECONDS = 1
MOST_STOPS = 30


def has(node, state):
    return node.get_state_set().contains(state)


def described(node):
    return f"{node.get_role_name()} “{node.get_name()}”"


def is_control(node):
    acts = "Action" in node.get_interfaces() and Atspi.Action.get_n_actions(node) > 0
    return is_showing(node) and node.get_role() not in NO_CONTROLS and (acts or has(node, State.FOCUSABLE))


class Walk:
    """One screen: what there is on it, and what the keyboard reaches."""

    def __init__(self, client, screen, root, key="Tab"):
        self.desktop = client.desktop
        self.root = root
        self.reached = set()
        # A control that goes while it is looked at makes it begin again.
        wanted = until(screen, lambda: (self.controls(screen),))[0]
        self.focus()
        for _ in range(MOST_STOPS):
            if wanted <= self.reached:
                break
            stop = self.press(key)
            if stop and {stop.get_role(), stop.get_parent().get_role()} & {Role.LIST, Role.LIST_ITEM}:
                self.along_the_rows(wanted)
        check(f"{screen}: the keyboard reaches all", wanted <= self.reached, sorted(wanted - self.reached))
        print(f"ok  {screen}: {len(wanted)} controls", flush=True)

    def controls(self, screen):
        found = [node for node in descendants(self.root) if is_control(node)]
        for node in found:
            check(f"{screen}: a name for a control", re.match(r"\w", node.get_name()), described(node.get_parent()))
            check(f"{screen}: a role for a control", node.get_role() in CONTROLS, described(node))
        # A menu bar is reached by Alt and a letter, not by Tab.
        return {described(node) for node in found if node.get_parent().get_role() != Role.MENU_BAR}

    def focus(self):
        """Where the keyboard is: the innermost control that has it."""
        inner = None
        for node in descendants(self.root):
            if has(node, State.FOCUSED) and is_showing(node):
                inner = node
        if inner:
            self.reached.add(described(inner))
        return inner

    def press(self, key):
        """Where the keyboard is after this key; none where that is the same place."""
        before = described(self.focus() or self.root)
        self.desktop.key(key)
        end = time.monotonic() + MOVED_SECONDS
        while time.monotonic() < end:
            try:
                now = self.focus()
                if now and described(now) != before:
                    return now
            except GLib.Error:
                pass
            time.sleep(0.01)
        return None

    def along_the_rows(self, wanted):
        """In a list the arrow keys go from row to row, or from button to button of the rows."""
        self.desktop.key("Home")
        for _ in range(MOST_STOPS):
            if wanted <= self.reached or self.press("Down") is None:
                return


def walk(client, screen, control=None):
    """`control` is one by which the screen is known."""
    def window():
        root = client.desktop.application()
        windows = [root.get_child_at_index(i) for i in range(root.get_child_count())] if root else []
        return next((each for each in windows if each is not None and has(each, State.ACTIVE) and
                     (control is None or client.desktop.find(control, within=each))), None)
    return Walk(client, screen, until(f"{screen}: its window", window))


class Events:
    """The events of these kinds from here on."""

    def __init__(self, *kinds):
        self.seen = []
        self.listener = Atspi.EventListener.new(self.note)
        for kind in kinds:
            self.listener.register(kind)

    def note(self, event):
        said = event.any_data if isinstance(event.any_data, str) else event.source.get_name()
        self.seen.append((event.source.get_role(), said))

    def texts(self, role):
        while GLib.MainContext.default().iteration(False):
            pass
        return [text for of_role, text in self.seen if of_role == role]


def account_screens(client):
    walk(client, "login", "Sign in")
    client.press("Sign in")
    walk(client, "alert", "OK")
    client.desktop.key("Return")
    client.press("Forgot password?")
    walk(client, "reset", "Send reset link")
    client.press("Back to sign in")


def home(client):
    for request in ("endpoints", "favorites"):
        labctl("fault", f'body={{"{request}":[]}}', "on", request)
    typed = Events("object:text-changed:insert")
    client.sign_in(os.environ["VELMORA_LAB_USER"], os.environ["VELMORA_LAB_PASSWORD"])
    client.button("Quick Connect")
    check("a name is told as it is typed", typed.texts(Role.TEXT) == list(os.environ["VELMORA_LAB_USER"]), typed.seen)
    check("a password is not", not typed.texts(Role.PASSWORD_TEXT), typed.seen)
    walk(client, "home, nothing in it", "Quick Connect")
    labctl("fault", "body", "off", "favorites")
    client.press("Settings")
    walk(client, "settings", "Log out")
    client.press("Back to home")
    walk(client, "home, favourites without a location", "Remove Unknown location from favourites")
    labctl("fault", "clear")
    client.press("Settings")
    client.press("Back to home")
    client.choose("Berlin")
    labctl("nm", "stop")
    walk(client, "home, with lists and the strip", "Needs attention")
    labctl("nm", "start")


def reload(client):
    """A new favourite reloads both lists; the rows that show the same as before say nothing."""
    locations = client.desktop.wait_for("All locations", Role.LIST)
    client.desktop.focus(locations)
    client.desktop.key("Home")
    rows = [locations.get_child_at_index(i) for i in range(locations.get_child_count())]
    check("rows off the screen", not is_showing(rows[-1]) and re.match(r"\w", rows[-1].get_name()), len(rows))
    shown = [row.get_name() for row in rows if is_showing(row)]
    renamed = Events("object:property-change:accessible-name")
    client.press(f"Add {shown[2].split(', not')[0]} to favourites")
    until("the next row in its place", lambda: shown[3] in renamed.texts(Role.LIST_ITEM))
    check("nothing of the rows above", not set(renamed.texts(Role.LIST_ITEM)) & set(shown[:2]), renamed.seen)
    check("one row less", locations.get_child_count() == len(rows) - 1, len(rows))


def panel(client, opener, name, control):
    """It keeps the keyboard, also from a mnemonic of what it covers, and gives it back."""
    client.desktop.focus(client.button(opener))
    client.desktop.key("space")
    covering = Walk(client, name, client.desktop.wait_for(name))
    for key in ("Tab", "Tab", "Tab", "alt+f"):
        client.desktop.key(key)
        until(f"{name}: the keyboard within", covering.focus)
    client.desktop.key("Escape")
    until(f"{name} gone", lambda: client.desktop.find(control) is None)
    until(f"the keyboard on “{opener}” again", lambda: has(client.button(opener), State.FOCUSED))


def panels_and_notices(client):
    panel(client, "Update", "Update Velmora", "Not now")
    for opener, control in (("Notice", "Stay up to date"), ("A few places", "Open Velmora"),
                            ("Installation", "Install updates")):
        client.press(opener)
        walk(client, f"notice: {opener}", control)
        if opener != "Installation":
            client.desktop.key("Escape")
            until(f"“{control}” gone", lambda: client.desktop.find(control) is None)
    client.press("Show how")
    Walk(client, "install panel", client.desktop.wait_for("Install the update"))
    client.desktop.key("Escape")
    until("the panel gone", lambda: client.desktop.find("Install the update") is None)


def menu(client):
    client.desktop.key("alt+v")
    entry = client.desktop.wait_for("Settings…", Role.MENU_ITEM)
    Walk(client, "menu", entry.get_parent(), "Down")
    client.desktop.key("Escape", "Escape")


def placeholder(client):
    client.kill()
    client.program = sys.argv[2]
    client.start()
    walk(client, "placeholder")


if __name__ == "__main__":
    sys.exit(play(Client(sys.argv[1], sys.argv[3]),
                  (account_screens, home, reload, menu, panels_and_notices, placeholder)))
