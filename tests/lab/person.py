"""A person at the client in the lab: what that one sees and does, and the client's two channels."""

import os
import re
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "..", "lab", "tour"))
from desktop import Atspi, Desktop, GLib, NotSo, descendants, is_showing, until  # noqa: E402,F401

CONNECT_SECONDS = 30
# The gateway that does not answer is given up by the daemon after some 15 s.
GIVEN_UP_SECONDS = 40


def check(what, so, seen=None):
    if not so:
        raise NotSo(f"{what}; seen: {seen}")


def labctl(*words):
    done = subprocess.run(["labctl", *words], capture_output=True, text=True)
    return done.returncode == 0, done.stdout.strip()


class Client:
    """One run of the client with its two channels in files of their own."""

    def __init__(self, program, folder, desktop=None):
        self.desktop = desktop or Desktop(folder)
        self.program = program
        self.paths = {name: os.path.join(folder, name) for name in ("stdout", "stderr")}
        self.marks = {name: 0 for name in self.paths}
        self.start(fresh=True)

    def start(self, fresh=False, **how):
        mode = "wb" if fresh else "ab"
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_FORCE_STDERR_LOGGING="1")
        with open(self.paths["stdout"], mode) as out, open(self.paths["stderr"], mode) as err:
            self.process = subprocess.Popen(["labctl", "as-user", *self.program.split()], env=environment,
                                            stdout=out, stderr=err, **how)

    def everything(self, channel):
        """All lines of the channel, also of earlier runs and of the libraries."""
        with open(self.paths[channel], encoding="utf-8", errors="replace") as file:
            return file.read().splitlines()

    def kill(self):
        self.process.kill()
        self.process.wait()
        until("the client gone", lambda: self.desktop.application() is None)

    def lines(self, channel):
        """What the channel got since the last call; on standard error the client's own lines only."""
        with open(self.paths[channel], "rb") as file:
            file.seek(self.marks[channel])
            written = file.read()
        # A line that is still being written belongs to the next call.
        whole = written[:written.rfind(b"\n") + 1]
        self.marks[channel] += len(whole)
        lines = whole.decode().splitlines()
        if channel == "stderr":
            lines = [line.removeprefix("velmora: ") for line in lines if line.startswith("velmora: ")]
        return lines

    def tells(self, pattern, lines=()):
        """Waits for such a line on one of the channels; these lines and all until then."""
        lines = list(lines)
        until(f"“{pattern}” told", lambda: lines.extend(self.lines("stderr") + self.lines("stdout")) or
              any(re.fullmatch(pattern, line) for line in lines), GIVEN_UP_SECONDS)
        return lines

    def button(self, caption):
        return self.desktop.wait_for(caption, Atspi.Role.PUSH_BUTTON)

    def press(self, caption):
        self.desktop.press(self.button(caption))

    def sign_in(self, user, password):
        field = self.desktop.wait_for("User name", Atspi.Role.TEXT)
        self.desktop.focus(field)
        self.desktop.key("ctrl+a")
        self.desktop.type(user)
        self.desktop.key("Tab")
        self.desktop.key("ctrl+a")
        self.desktop.type(password)
        self.desktop.key("Return")

    def choose(self, name):
        the_list = self.desktop.wait_for("All locations", Atspi.Role.LIST)
        until("locations", lambda: the_list.get_child_count() > 5)
        self.desktop.focus(the_list)
        self.desktop.type(name.lower())
        until(f"{name} selected", lambda: any(
            row.get_name().startswith(name) and row.get_state_set().contains(Atspi.StateType.SELECTED)
            for row in (the_list.get_child_at_index(i) for i in range(the_list.get_child_count()))))

    def connect(self):
        self.press("Quick Connect")
        self.desktop.wait_for_text("Connected", CONNECT_SECONDS)
        self.button("Disconnect")
        check("a ping through the tunnel", labctl("ping")[0])

    def disconnect(self):
        self.press("Disconnect")
        self.desktop.wait_for_text("Disconnected")
        until("the route back", lambda: "uplink" in labctl("route")[1])

    def try_to_connect(self):
        """The daemon is on the bus some time before it has its devices up; until then a start is refused. One that was
        accepted may take its time."""
        button = self.desktop.find("Quick Connect", Atspi.Role.PUSH_BUTTON)
        if button is not None:
            self.desktop.press(button)
        try:
            self.desktop.wait_for_text("Connected", 5)
        except NotSo:
            return False
        return labctl("ping")[0]


def play(client, scenes):
    """Plays the scenes up to the first that fails; the exit status."""
    for scene in scenes:
        try:
            scene(client)
            print(f"PASS   {scene.__name__}", flush=True)
        except NotSo as fault:
            client.desktop.picture("not-so")
            print(f"FAIL   {scene.__name__}: {fault}", flush=True)
            return 1
        if client.process.poll() not in (None, -9):
            print(f"FAIL   the client ended with status {client.process.returncode}", flush=True)
            return 1
    client.process.kill()
    return 0
