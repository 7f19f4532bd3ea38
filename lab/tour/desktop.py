"""What a person at the client sees and does: the accessibility interface, the keyboard, pictures of the display."""

import os
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE_SECONDS = 30
CONNECT_SECONDS = 30


class NotSo(Exception):
    """Something that the tour or a test waits for does not come about."""


def check(what, so, seen=None):
    if not so:
        raise NotSo(f"{what}; seen: {seen}")


def labctl(*words):
    """Whether it succeeds, and what it prints."""
    done = subprocess.run(["labctl", *words], capture_output=True, text=True)
    return done.returncode == 0, done.stdout.strip()


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


def has(node, state):
    return node.get_state_set().contains(state)


def is_showing(node):
    return has(node, Atspi.StateType.SHOWING)


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
        until(f"“{node.get_name()}” with the focus", lambda: has(node, Atspi.StateType.FOCUSED))

    def press(self, node):
        """Presses a control through its first action."""
        if not Atspi.Action.do_action(node, 0):
            raise NotSo(f"“{node.get_name()}” cannot be pressed")

    def focused(self):
        root = self.application()
        for node in descendants(root):
            if has(node, Atspi.StateType.FOCUSED):
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


class DrivenClient:
    """One run of the client after the other; the folder gets the pictures, and its two channels as files."""

    def __init__(self, program, folder, desktop=None):
        self.desktop = desktop or Desktop(folder)
        self.program = program
        self.process = None
        self.paths = {name: os.path.join(folder, name) for name in ("stdout", "stderr")}
        for path in self.paths.values():
            open(path, "wb").close()

    def launch(self):
        words = [*(["labctl", "as-user"] if "VELMORA_LAB" in os.environ else []), *self.program.split()]
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_FORCE_STDERR_LOGGING="1")
        with open(self.paths["stdout"], "ab") as out, open(self.paths["stderr"], "ab") as err:
            return subprocess.Popen(words, env=environment, stdout=out, stderr=err)

    def start(self):
        self.process = self.launch()

    def button(self, caption):
        return self.desktop.wait_for(caption, Atspi.Role.PUSH_BUTTON)

    def press(self, caption):
        self.desktop.press(self.button(caption))

    def gone(self, name):
        until(f"“{name}” gone", lambda: self.desktop.find(name) is None)

    def fill_in(self, user=None, password=None):
        """The demo account, if no other is given."""
        self.desktop.focus(self.desktop.wait_for("User name", Atspi.Role.TEXT))
        self.desktop.key("ctrl+a")
        self.desktop.type(user or os.environ["VELMORA_LAB_USER"])
        self.desktop.key("Tab", "ctrl+a")
        self.desktop.type(password or os.environ["VELMORA_LAB_PASSWORD"])

    def sign_in(self, *account):
        self.fill_in(*account)
        self.desktop.key("Return")

    def locations(self):
        the_list = self.desktop.wait_for("All locations", Atspi.Role.LIST)
        until("locations", lambda: the_list.get_child_count() > 5)
        return the_list

    def row(self, the_list, name):
        """The first row on screen whose name begins so; a list has a child for each of its rows."""
        return next((row for row in self.rows(the_list) if row.get_name().startswith(name)), None)

    def rows(self, the_list):
        rows = (the_list.get_child_at_index(index) for index in range(the_list.get_child_count()))
        return [row for row in rows if row is not None and is_showing(row)]

    def choose(self, name):
        the_list = self.locations()
        self.desktop.focus(the_list)
        self.desktop.type(name.lower())
        until(f"“{name}” selected",
              lambda: (row := self.row(the_list, name)) and has(row, Atspi.StateType.SELECTED))
