#!/usr/bin/python3
"""Drives the main job in a lab as a person would; a line for each step, exit status 1 at the first that is not so.

Usage: tour.py [--without-tunnel] CLIENT PICTURES
"""

import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from desktop import Atspi, Desktop, NotSo, is_showing, text_of, until  # noqa: E402
from shell import Shell  # noqa: E402

CONNECT_SECONDS = 30
STARRED = "Amsterdam 1"
CHOSEN = "Berlin"
NEAR = "Amsterdam 2"
SILENT = "Auckland"
# Six connects to the silent endpoint take 18 s; those that come after it in the list show that the survey went on.
SURVEY_SECONDS = 45


def labctl(*words):
    done = subprocess.run(["labctl", *words], capture_output=True, text=True)
    return done.returncode == 0, done.stdout.strip()


def say(step, seen):
    print(f"ok  {step}: {seen}", flush=True)


class Tour:
    def __init__(self, client, pictures):
        self.client = [client] if "VELMORA_LAB" not in os.environ else ["labctl", "as-user", client]
        self.process = None
        self.desktop = Desktop(pictures)
        self.log = open(os.path.join(pictures, "client.log"), "w", encoding="utf-8")

    def start(self):
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_FORCE_STDERR_LOGGING="1")
        self.process = subprocess.Popen(self.client, env=environment, stdout=self.log,
                                        stderr=self.log)
        self.desktop.wait_for("User name", Atspi.Role.TEXT)
        self.desktop.picture("login")
        say("start", "the login screen")

    def sign_in(self):
        until("the focus in the first field",
              lambda: (field := self.desktop.focused()) and field.get_name() == "User name")
        self.desktop.type(os.environ["VELMORA_LAB_USER"])
        self.desktop.key("Tab")
        self.desktop.type(os.environ["VELMORA_LAB_PASSWORD"])
        self.desktop.picture("login-filled")
        self.desktop.key("Return")
        self.countries = self.desktop.wait_for("All locations", Atspi.Role.LIST)
        self.favorites = self.desktop.wait_for("Favourites", Atspi.Role.LIST)
        until("endpoints in the list", lambda: self.countries.get_child_count() > 5)
        self.desktop.wait_for_text("Disconnected")
        self.desktop.picture("home")
        say("sign in", f"home, {len(self.rows(self.countries))} locations on screen, "
                       f"{len(self.rows(self.favorites))} favourites")

    def rows(self, the_list):
        """Those on screen; a list has a child for each of its rows."""
        rows = (the_list.get_child_at_index(index) for index in range(the_list.get_child_count()))
        return [row for row in rows if row is not None and is_showing(row)]

    def row(self, the_list, name):
        for row in self.rows(the_list):
            if row.get_name().startswith(name):
                return row
        return None

    def star(self):
        row = until(f"“{STARRED}” among all locations", lambda: self.row(self.countries, STARRED))
        self.desktop.press(self.desktop.wait_for(f"Add {STARRED} to favourites", within=row))
        until(f"“{STARRED}” among the favourites", lambda: self.row(self.favorites, STARRED))
        self.desktop.picture("starred")
        say("star", f"{STARRED} is a favourite, {len(self.rows(self.favorites))} in all")

    def choose(self):
        self.desktop.focus(self.countries)
        self.desktop.type(CHOSEN.lower())
        until(f"“{CHOSEN}” selected",
              lambda: (row := self.row(self.countries, CHOSEN)) and
              row.get_state_set().contains(Atspi.StateType.SELECTED))
        self.desktop.picture("chosen")
        say("choose", f"{CHOSEN}, with the keyboard")

    def latency(self, row):
        """What the row says of it, as "12.3 ms"; none where it says nothing."""
        found = re.search(r", (\d+\.\d ms)", row.get_name())
        return found and found.group(1)

    def survey(self):
        self.desktop.press(self.desktop.wait_for("Measure latencies", Atspi.Role.PUSH_BUTTON))
        until("a latency in every row on screen",
              lambda: all(self.latency(row) for row in self.rows(self.countries)), SURVEY_SECONDS)
        chosen = self.row(self.countries, CHOSEN)
        if not chosen.get_state_set().contains(Atspi.StateType.SELECTED):
            raise NotSo(f"“{CHOSEN}” is not selected any more")
        self.desktop.picture("latencies")
        seen = [f"{name} {self.latency(self.row(self.countries, name))}" for name in (NEAR, CHOSEN, SILENT)]
        say("survey", ", ".join(seen) + f"; {CHOSEN} is still selected")

    def connect(self):
        _, self.route_before = labctl("route")
        self.desktop.focus(self.desktop.wait_for("Quick Connect", Atspi.Role.PUSH_BUTTON))
        self.desktop.key("space")
        self.desktop.wait_for_text("Connected", CONNECT_SECONDS)
        self.desktop.wait_for("Disconnect", Atspi.Role.PUSH_BUTTON)
        _, route = labctl("route")
        if route == self.route_before:
            raise NotSo(f"the route still is {route}")
        self.desktop.picture("connected")
        say("connect", f"Connected, route {route}")

    def ping(self):
        alive, said = labctl("ping")
        if not alive:
            raise NotSo(f"no ping through the tunnel: {said}")
        name = os.environ["VELMORA_LAB_USER"]
        _, log = labctl("log", "gateway")
        if f"XAuth authentication of '{name}' successful" not in log:
            raise NotSo(f"the gateway's log does not name {name}")
        say("ping", f"{os.environ['VELMORA_LAB_PING']} answers through the tunnel; the gateway knows {name}")

    def disconnect(self):
        self.desktop.key("space")
        self.desktop.wait_for_text("Disconnected")
        until("the route as before", lambda: labctl("route")[1] == self.route_before)
        if labctl("ping")[0]:
            raise NotSo("what only the tunnel reaches answers without it")
        self.desktop.picture("disconnected")
        say("disconnect", f"Disconnected, route {self.route_before}")


def main():
    *options, client, pictures = sys.argv[1:]
    tour = Tour(client, pictures)
    steps = [tour.start, tour.sign_in, tour.star, tour.choose]
    if "--without-tunnel" not in options:
        steps += [tour.survey, tour.connect, tour.ping, tour.disconnect]
    shell = Shell(tour, say)
    try:
        for step in [*steps, *shell.steps()]:
            if tour.process is not None and tour.process.poll() is not None:
                raise NotSo(f"the client has ended with status {tour.process.returncode}")
            step()
    except NotSo as fault:
        print(f"not so: {fault}", flush=True)
        tour.desktop.picture("not-so")
        return 1
    finally:
        shell.stop_panel()
        if tour.process is not None and tour.process.poll() is None:
            tour.process.terminate()
    if "--without-tunnel" in options:
        print("The tour is complete, but for the tunnel.", flush=True)
        return 0
    print("The tour is complete: a ping went through the tunnel and the route is back.", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
