"""What a scene has at hand: the client and the desktop's programs, started as the person of the lab, pictures, logs."""

import os
import shutil
import subprocess
import sys
from dataclasses import dataclass
from typing import Callable

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
from person import Atspi, Client, Desktop, NotSo, check, descendants, is_showing, labctl, until  # noqa: E402,F401

SCENES = {}


@dataclass
class Scene:
    play: Callable
    packages: tuple
    lab: tuple
    seconds: int


def scene(*packages, lab=(), seconds=120):
    """Declares a scene: the packages it needs ("a|b" is either of the two), options of `lab run`, and its time limit."""
    def declare(function):
        check("a scene's name is its own", function.__name__ not in SCENES, function.__name__)
        SCENES[function.__name__] = Scene(function, packages, lab, seconds)
        return function
    return declare


class Stage:
    """`folder` gets the pictures and the output of each program, NAME.log."""

    def __init__(self, program, folder):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)
        self.program = readable(program)
        self.desktop = Desktop(folder if "DISPLAY" in os.environ else None)
        self.client = None
        self.programs = {}

    def start_client(self, **environment):
        """Starts the client and waits for nothing; `self.client.kill()` and `self.client.start()` restart it."""
        os.environ.update(environment)
        self.client = Client(self.program, self.folder, self.desktop)
        return self.client

    def spawn(self, name, *command, **environment):
        """Starts a program of the desktop as the person; it ends with the scene, or by `self.end(name)`."""
        with open(os.path.join(self.folder, name + ".log"), "ab") as log:
            self.programs[name] = subprocess.Popen(["labctl", "as-user", *command], env={**os.environ, **environment},
                                                   stdin=subprocess.PIPE, stdout=log, stderr=log)
        return self.programs[name]

    def end(self, name):
        program = self.programs.pop(name)
        program.kill()
        program.wait()

    def run(self, *command, seconds=30, **environment):
        """Runs a command as the person to its end; what it printed. Its failure is the scene's."""
        done = subprocess.run(["labctl", "as-user", *command], env={**os.environ, **environment}, capture_output=True,
                              text=True, timeout=seconds)
        check(f"{command} works", done.returncode == 0, done.stdout + done.stderr)
        return done.stdout.strip()

    def log(self, name):
        with open(os.path.join(self.folder, name + ".log"), encoding="utf-8", errors="replace") as log:
            return log.read()

    def activatable(self, *names):
        """Lets the session bus start these services by name, as on a desktop where they are installed."""
        services = os.path.join(os.environ["VELMORA_LAB"], "session-services")
        for name in names:
            if not os.path.exists(os.path.join(services, name + ".service")):
                os.symlink(f"/usr/share/dbus-1/services/{name}.service", os.path.join(services, name + ".service"))
        self.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                 "org.freedesktop.DBus.ReloadConfig")

    def on_the_bus(self, name):
        """Waits until the name has an owner on the session bus."""
        until(f"{name} on the session bus", lambda: "true" in self.run(
            "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.NameHasOwner", "string:" + name))

    def picture(self, name):
        return self.desktop.picture(name)


def readable(program):
    """A copy of the client: the person of the lab need not be able to read where it was built."""
    build = os.path.dirname(os.path.dirname(program))
    place = os.path.join(os.environ["VELMORA_LAB"], "client")
    if os.path.isdir(os.path.join(build, "lib")):
        shutil.copytree(os.path.join(build, "lib"), os.path.join(place, "lib"))
    os.makedirs(os.path.join(place, "bin"))
    return shutil.copy(program, os.path.join(place, "bin"))
