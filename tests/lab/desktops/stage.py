"""What a scene has at hand: the client and the desktop's programs, started as the person of the lab, pictures, logs."""

import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
from person import Atspi, Client, Desktop, NotSo, check, labctl, until  # noqa: E402,F401
from shell import HERE, WATCHER, bus_call, output, property_of, windows  # noqa: E402,F401

SCENES = {}
BUS = "org.freedesktop.DBus"


def scene(*packages):
    """Declares a scene and the packages that it needs; "a|b" is either of the two."""
    def declare(function):
        SCENES[function.__name__] = function, packages
        return function
    return declare


def windows_of(program="velmora"):
    return [window for window in windows() if program in property_of(window, "WM_CLASS").lower()]


class Stage:
    """`folder` gets the pictures and the output of each program, NAME.log."""

    def __init__(self, program, folder):
        self.folder = folder
        self.desktop = Desktop(folder)
        # The person of the lab need not be able to read where the client was built.
        self.program = shutil.copy(program, os.environ["VELMORA_LAB"])

    def start_client(self):
        self.client = Client(self.program, self.folder, self.desktop)
        return self.client

    def spawn(self, name, *command):
        """Starts a program of the desktop as the person; it ends with the lab."""
        with open(os.path.join(self.folder, name + ".log"), "ab") as log:
            return subprocess.Popen(["labctl", "as-user", *command], stdout=log, stderr=log)

    def run(self, *command, text=None):
        """Runs a command as the person to its end; what it printed. Its failure is the scene's."""
        done = subprocess.run(["labctl", "as-user", *command], input=text, capture_output=True, text=True, timeout=60)
        check(f"{command} works", done.returncode == 0, done.stdout + done.stderr)
        return done.stdout

    def write(self, path, text):
        """A file of the person's, below the home folder; its path."""
        path = os.path.join(os.environ["HOME"], path)
        self.run("sh", "-c", 'mkdir -p "${0%/*}" && cat >"$0"', path, text=text)
        return path

    def start_on_demand(self, name, program):
        """Has the session bus start this program, with a display, when somebody calls the name."""
        lab = os.environ["VELMORA_LAB"]
        with open(f"{lab}/session-services/{name}.service", "w", encoding="utf-8") as file:
            file.write(f"[D-BUS Service]\nName={name}\nExec=/bin/sh -c '. {lab}/env; exec {program}'\n")
        bus_call(BUS, "/", BUS + ".ReloadConfig")
