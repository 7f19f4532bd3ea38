#!/usr/bin/python3
"""Drives the main job in a lab as a person would; a line for each step, exit status 1 at the first that is not so.

Usage: tour.py [--without-tunnel] CLIENT PICTURES
"""

import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from desktop import CONNECT_SECONDS, Atspi, DrivenClient, NotSo, check, has, labctl, until  # noqa: E402
from shell import Shell  # noqa: E402

STARRED = "Amsterdam 1"
CHOSEN = "Berlin"
# The milliseconds of a connect: the seed's, one that refuses, and one that is silent, which the system gives up.
SURVEYED = {"Amsterdam 2": 9, CHOSEN: 9, "Athens": 45, "Auckland": 3000}
# Six connects to the silent endpoint take 18 s; those that come after it in the list show that the survey went on.
SURVEY_SECONDS = 45
# The window answers meanwhile: the time to read its rows.
ANSWERED_SECONDS = 2


def say(step, seen):
    print(f"ok  {step}: {seen}", flush=True)


class Tour(DrivenClient):
    def start(self):
        super().start()
        self.desktop.wait_for("User name", Atspi.Role.TEXT)
        self.desktop.picture("login")
        say("start", "the login screen")

    def sign_in(self):
        until("the focus in the first field",
              lambda: (field := self.desktop.focused()) and field.get_name() == "User name")
        self.fill_in()
        self.desktop.picture("login-filled")
        self.desktop.key("Return")
        self.countries = self.locations()
        self.favorites = self.desktop.wait_for("Favourites", Atspi.Role.LIST)
        self.desktop.wait_for_text("Disconnected")
        self.desktop.picture("home")
        say("sign in", f"home, {len(self.rows(self.countries))} locations on screen, "
                       f"{len(self.rows(self.favorites))} favourites")

    def star(self):
        row = until(f"“{STARRED}” among all locations", lambda: self.row(self.countries, STARRED))
        self.desktop.press(self.desktop.wait_for(f"Add {STARRED} to favourites", within=row))
        until(f"“{STARRED}” among the favourites", lambda: self.row(self.favorites, STARRED))
        self.desktop.picture("starred")
        say("star", f"{STARRED} is a favourite, {len(self.rows(self.favorites))} in all")

    def choose(self):
        super().choose(CHOSEN)
        self.desktop.picture("chosen")
        say("choose", f"{CHOSEN}, with the keyboard")

    def latency(self, row):
        """The milliseconds that the row says; none where it says nothing."""
        found = re.search(r", (\d+\.\d) ms", row.get_name())
        return found and float(found[1])

    def survey(self):
        def all_measured():
            began = time.monotonic()
            latencies = [self.latency(row) for row in self.rows(self.countries)]
            check("the window answers", time.monotonic() - began < ANSWERED_SECONDS, latencies)
            return None not in latencies

        self.press("Measure latencies")
        until("a latency in every row on screen", all_measured, SURVEY_SECONDS)
        check(f"“{CHOSEN}” is still selected", has(self.row(self.countries, CHOSEN), Atspi.StateType.SELECTED))
        self.desktop.picture("latencies")
        seen = {name: self.latency(self.row(self.countries, name)) for name in SURVEYED}
        # Five attempts are summed up, and divided by six.
        check("the latencies are those of the endpoints", all(
            each * 5 / 6 <= seen[name] <= each + 300 for name, each in SURVEYED.items()), seen)
        say("survey", f"{seen} ms; {CHOSEN} is still selected")

    def connect(self):
        _, self.route_before = labctl("route")
        self.desktop.focus(self.button("Quick Connect"))
        self.desktop.key("space")
        self.desktop.wait_for_text("Connected", CONNECT_SECONDS)
        self.button("Disconnect")
        _, route = labctl("route")
        check("another route than before", route != self.route_before, route)
        self.desktop.picture("connected")
        say("connect", f"Connected, route {route}")

    def ping(self):
        check("a ping through the tunnel", *labctl("ping"))
        name = os.environ["VELMORA_LAB_USER"]
        _, log = labctl("log", "gateway")
        check(f"the gateway's log names {name}", f"XAuth authentication of '{name}' successful" in log, log)
        say("ping", f"{os.environ['VELMORA_LAB_PING']} answers through the tunnel; the gateway knows {name}")

    def disconnect(self):
        self.desktop.key("space")
        self.desktop.wait_for_text("Disconnected")
        until("the route as before", lambda: labctl("route")[1] == self.route_before)
        check("no answer of what only the tunnel reaches", not labctl("ping")[0])
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
