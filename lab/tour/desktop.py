"""What the tour sees and does: the accessibility interface, the keyboard, pictures of the display."""

import os
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE_SECONDS = 30


class NotSo(Exception):
    """Something that the tour waits for does not come about."""


def until(what, look, seconds=PATIENCE_SECONDS):
    """The first true value of `look()`; an accessible or a window that has gone meanwhile counts as not yet."""
    end = time.monotonic() + seconds
    while True:
        try:
            seen = look()
        except (GLib.Error, subprocess.CalledProcessError):
            seen = None
        if seen:
            return seen
        if time.monotonic() > end:
            raise NotSo(f"{what}: not within {seconds} s")
        time.sleep(0.05)


def descendants(node):
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is None:
            continue
        yield child
        yield from descendants(child)


def is_showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def text_of(node):
    if node.get_text_iface() is not None:
        return Atspi.Text.get_text(node, 0, -1)
    return node.get_name()


class Desktop:
    def __init__(self, pictures):
        """`pictures` is the folder for them; without one there is no display to take any of."""
        Atspi.init()
        self.pictures = pictures
        if pictures is None:
            return
        os.makedirs(pictures, exist_ok=True)
        for old in os.listdir(pictures):
            if old.endswith(".png"):
                os.remove(os.path.join(pictures, old))
        self.taken = 0
        # Out of the way: no row is to look as if the pointer were on it.
        subprocess.run(["xdotool", "mousemove", "0", "0"], check=True)

    def application(self):
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            if child is not None and child.get_name().lower() == "velmora":
                return child
        return None

    def find(self, name, role=None, within=None):
        """The first control on screen with this name, and role where one is given; none where there is none."""
        root = within or self.application()
        if root is None:
            return None
        for node in descendants(root):
            if (node.get_name() == name and (role is None or node.get_role() == role) and is_showing(node)):
                return node
        return None

    def wait_for(self, name, role=None, within=None, seconds=PATIENCE_SECONDS):
        return until(f"“{name}” on screen", lambda: self.find(name, role, within), seconds)

    def texts(self):
        root = self.application()
        return [text_of(node) for node in descendants(root) if is_showing(node)] if root else []

    def wait_for_text(self, text, seconds=PATIENCE_SECONDS):
        return until(f"the text “{text}”", lambda: text in self.texts(), seconds)

    def focus(self, node):
        Atspi.Component.grab_focus(node)
        until(f"“{node.get_name()}” with the focus",
              lambda: node.get_state_set().contains(Atspi.StateType.FOCUSED))

    def press(self, node):
        """Presses a control through its first action."""
        if not Atspi.Action.do_action(node, 0):
            raise NotSo(f"“{node.get_name()}” cannot be pressed")

    def focused(self):
        root = self.application()
        for node in descendants(root):
            if node.get_state_set().contains(Atspi.StateType.FOCUSED):
                return node
        return None

    def type(self, text):
        subprocess.run(["xdotool", "type", "--delay", "5", text], check=True)

    def key(self, *keys):
        subprocess.run(["xdotool", "key", "--delay", "20", *keys], check=True)

    def picture(self, name):
        self.taken += 1
        path = os.path.join(self.pictures, f"{self.taken:02d}-{name}.png")
        subprocess.run(["import", "-window", "root", path], check=True)
        return path
