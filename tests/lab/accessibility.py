#!/usr/bin/python3
"""Walks every screen through the accessibility interface and with the keyboard: each control has a name and a fitting
role, and Tab and the arrow keys lead to it. Usage, in a lab: accessibility.py CLIENT FOLDER"""

import os
import re
import sys

from person import Atspi, Client, GLib, NotSo, check, descendants, has, is_showing, labctl, play, until

Role, State = Atspi.Role, Atspi.StateType
# What a person can do something with, and what such a thing may call itself.
CONTROLS = {Role.PUSH_BUTTON, Role.TEXT, Role.PASSWORD_TEXT, Role.LIST, Role.LIST_ITEM, Role.MENU_ITEM}
# They have actions only in Qt's eyes; a text can be selected with the pointer.
NO_CONTROLS = {Role.FRAME, Role.WINDOW, Role.DIALOG, Role.ALERT, Role.MENU_BAR, Role.POPUP_MENU, Role.MENU, Role.LABEL}
# Where it takes longer, what was not reached is come by again.
MOVED_SECONDS = 1
MOST_STOPS = 30


def described(node):
    return f"{node.get_role_name()} “{node.get_name()}”"


class Walk:
    """What there is below the root, and what the keyboard reaches of it."""

    def __init__(self, client, screen, root, key="Tab"):
        self.desktop, self.root, self.reached = client.desktop, root, set()
        # A control that goes while it is looked at makes it begin again.
        wanted = until(screen, self.controls)
        self.focus()
        for _ in range(MOST_STOPS):
            if wanted <= self.reached:
                break
            stop = self.moves(key)
            if stop and {stop.get_role(), stop.get_parent().get_role()} & {Role.LIST, Role.LIST_ITEM}:
                # The arrow keys go from row to row, or from button to button of the rows.
                self.desktop.key("Home")
                while not wanted <= self.reached and self.moves("Down"):
                    pass
        check(f"{screen}: the keyboard reaches all", wanted <= self.reached, sorted(wanted - self.reached))

    def controls(self):
        found = [node for node in descendants(self.root) if is_showing(node) and node.get_role() not in NO_CONTROLS and
                 (has(node, State.FOCUSABLE) or "Action" in node.get_interfaces() and Atspi.Action.get_n_actions(node))]
        for node in found:
            check("a name and a role for a control", re.match(r"\w", node.get_name()) and node.get_role() in CONTROLS,
                  f"{described(node)} in {described(node.get_parent())}")
        # A menu bar is reached by Alt and a letter, not by Tab.
        return {described(node) for node in found if node.get_parent().get_role() != Role.MENU_BAR}

    def focus(self):
        """Where the keyboard is: the innermost control that has it."""
        inner = [node for node in descendants(self.root) if has(node, State.FOCUSED) and is_showing(node)]
        self.reached.update(map(described, inner[-1:]))
        return inner[-1] if inner else None

    def moves(self, key):
        """Where the keyboard is after this key; none where that is the same place."""
        before = described(self.focus() or self.root)
        self.desktop.key(key)
        try:
            return until(key, lambda: (now := self.focus()) and described(now) != before and now, MOVED_SECONDS)
        except NotSo:
            return None


def walk(client, control):
    """The active window, known by this control, or the panel of this name."""
    def root():
        windows = until("the client", client.desktop.application)
        for window in filter(None, map(windows.get_child_at_index, range(windows.get_child_count()))):
            if has(window, State.ACTIVE) and (found := client.desktop.find(control, within=window)):
                return found if found.get_child_count() else window
        return None
    return Walk(client, control, until(f"the window with “{control}”", root))


def account_screens(client):
    walk(client, "Sign in")
    client.press("Sign in")
    walk(client, "OK")
    client.desktop.key("Return")
    client.press("Forgot password?")
    walk(client, "Send reset link")
    client.press("Back to sign in")


def told_during(kind, act, over):
    """The events of this kind until it is over: the role of each sender, and the text or else the sender's name."""
    def note(event):
        text = event.any_data if isinstance(event.any_data, str) else event.source.get_name()
        told.append((event.source.get_role(), text))

    told = []
    listener = Atspi.EventListener.new(note)
    listener.register(kind)
    act()
    until("the end of it", over)
    while GLib.MainContext.default().iteration(False):
        pass
    return told


def a_password_is_not_told(client):
    password = client.desktop.wait_for("Password", Role.PASSWORD_TEXT)
    characters = len(os.environ["VELMORA_LAB_PASSWORD"])
    typed = told_during("object:text-changed:insert", client.fill_in,
                        lambda: password.get_character_count() == characters)
    letters = [(Role.TEXT, letter) for letter in os.environ["VELMORA_LAB_USER"]]
    check("a name is told as it is typed, a password is not", typed == letters, typed)


def home(client):
    """Empty, with favourites that no location stands for, with lists and the strip."""
    for request in ("endpoints", "favorites"):
        labctl("fault", f'body={{"{request}":[]}}', "on", request)
    client.desktop.key("Return")
    walk(client, "Quick Connect")
    for request, control in (("favorites", "Remove Unknown location from favourites"),
                             ("endpoints", "Add Amsterdam 1 to favourites")):
        labctl("fault", "body", "off", request)
        labctl("nm", "stop")
        client.press("Settings")
        walk(client, "Log out")
        client.press("Back to home")
        walk(client, control)
    labctl("nm", "start")


def only_changed_rows_are_told(client):
    """A new favourite reloads both lists."""
    client.choose("Amsterdam 2")
    locations, star = client.locations(), client.button("Add Amsterdam 2 to favourites")
    before = locations.get_child_count()
    told = str(told_during("object:property-change:accessible-name", lambda: client.desktop.press(star),
                           lambda: locations.get_child_count() < before))
    check("the rows below are told, not the one above", "Athens" in told and "Amsterdam 1" not in told, told)


def what_opens(client):
    """It keeps the keyboard, also from a mnemonic of what it covers, and gives it back."""
    for openers, control in ((["Update"], "Update Velmora"), (["Notice"], "Stay up to date"),
                             (["A few places"], "Open Velmora"), (["Installation"], "Install updates"),
                             (["Installation", "Show how"], "Install the update")):
        for opener in openers:
            client.desktop.focus(client.button(opener))
            client.desktop.key("space")
        opened = walk(client, control)
        for key in ("Tab", "Tab", "alt+f"):
            client.desktop.key(key)
            until(f"{control}: the keyboard within", opened.focus)
        client.desktop.key("Escape")
        client.gone(control)
        until(f"the keyboard on “{openers[0]}” again", lambda: has(client.button(openers[0]), State.FOCUSED))
    client.desktop.key("alt+v")
    Walk(client, "menu", client.desktop.wait_for("Settings…", Role.MENU_ITEM).get_parent(), "Down")


if __name__ == "__main__":
    play(Client(*sys.argv[1:]), account_screens, a_password_is_not_told, home, only_changed_rows_are_told, what_opens)
