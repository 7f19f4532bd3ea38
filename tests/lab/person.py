"""A tester at the client in the lab: the person's screen beside the client's two channels and the system's own word."""

import os
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "lab", "tour"))
from desktop import (  # noqa: E402,F401
    CONNECT_SECONDS, Atspi, Desktop, DrivenClient, GLib, NotSo, check, descendants, has, is_showing, labctl, until)

# The gateway that does not answer is given up by the daemon after some 15 s.
GIVEN_UP_SECONDS = 40
STATUS_TEXTS = {"Connected", "Disconnected", "Connecting", "Disconnecting", "Reasserting Connection"}
TRUE_TEXTS = {"activating": {"Connecting", "Reasserting Connection"}, "activated": {"Connected"},
              "deactivating": {"Disconnecting"}}
# The screen may be that much behind the system.
BEHIND_SECONDS = 2


def system_says():
    """The status texts that are true."""
    tunnels = subprocess.run(["nmcli", "-g", "name,state", "connection", "show", "--active"], capture_output=True,
                             text=True).stdout
    states = re.findall("^Velmora:(.+)$", tunnels, re.M)
    return set().union(*(TRUE_TEXTS.get(state, set()) for state in states)) or {"Disconnected"}


class Client(DrivenClient):
    def __init__(self, program, folder, desktop=None):
        super().__init__(program, folder, desktop)
        self.marks = {name: 0 for name in self.paths}
        self.start()

    def kill(self):
        self.process.kill()
        self.process.wait()
        until("the client gone", lambda: self.desktop.application() is None)

    def everything(self, channel):
        """All lines of the channel, also of earlier runs and of the libraries, but for one that is still written."""
        with open(self.paths[channel], encoding="utf-8", errors="replace") as file:
            return file.read().split("\n")[:-1]

    def lines(self, channel):
        """What the channel got since the last call; on standard error the client's own lines only."""
        whole = self.everything(channel)
        new, self.marks[channel] = whole[self.marks[channel]:], len(whole)
        own = "velmora: " if channel == "stderr" else ""
        return [line.removeprefix(own) for line in new if line.startswith(own)]

    def new_lines(self):
        return self.lines("stderr") + self.lines("stdout")

    def tells(self, pattern, lines=()):
        """Waits for such a line on one of the channels; these lines and all until then."""
        lines = list(lines)
        until(f"“{pattern}” told", lambda: lines.extend(self.new_lines()) or
              any(re.fullmatch(pattern, line) for line in lines), GIVEN_UP_SECONDS)
        return lines

    def connect(self):
        self.press("Quick Connect")
        self.desktop.wait_for_text("Connected", CONNECT_SECONDS)
        self.button("Disconnect")
        check("a ping through the tunnel", *labctl("ping"))

    def disconnect(self):
        self.press("Disconnect")
        self.desktop.wait_for_text("Disconnected")
        until("the route back", lambda: "uplink" in labctl("route")[1])

    def try_to_connect(self):
        # The daemon is on the bus some time before it has its devices up; until then a start is refused. One that was
        # accepted may take its time.
        button = self.desktop.find("Quick Connect", Atspi.Role.PUSH_BUTTON)
        if button is not None:
            self.desktop.press(button)
        try:
            self.desktop.wait_for_text("Connected", 5)
        except NotSo:
            return False
        return labctl("ping")[0]

    def next_press_works(self):
        until("the next press connects", self.try_to_connect, CONNECT_SECONDS)
        self.disconnect()

    def follows(self, command, end, seconds=CONNECT_SECONDS):
        """Does something to the system; the screen says what the system says all the time, and `end` at last."""
        deadline, agreed = time.monotonic() + seconds, time.monotonic()
        with subprocess.Popen(command, shell=True) as acting:
            while True:
                over, said = acting.poll() is not None, system_says()
                shown = STATUS_TEXTS.intersection(self.desktop.texts())
                now = time.monotonic()
                if shown and shown <= said:
                    agreed = now
                check(f"{command}: the screen at most {BEHIND_SECONDS} s behind the system, which says {said}",
                      now - agreed <= BEHIND_SECONDS, shown)
                if over and shown == {end} and end in said:
                    return
                check(f"{command}: “{end}” at last", now < deadline, (said, shown))


def play(client, *scenes):
    """Plays the scenes up to the first that fails, and ends the test."""
    for scene in scenes:
        try:
            scene(client)
            check("the client runs", client.process.poll() in (None, -9), client.process.returncode)
            print(f"PASS   {scene.__name__}", flush=True)
        except NotSo as fault:
            client.desktop.picture("not-so")
            sys.exit(f"FAIL   {scene.__name__}: {fault}")
    client.process.kill()
