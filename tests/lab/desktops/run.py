#!/usr/bin/python3
"""The client beside the real programs of people's desktops: keyrings, panels, window managers, a screen reader.

Usage: run.py CLIENT FOLDER [NAME…]   plays all scenes, or those whose name contains one of these
       run.py --packages              the packages that the scenes need, a line each; "a|b" is either of the two

A scene is a function in a file scene_*.py that is imported here; `stage.scene` declares it and its packages.
"""

import os
import re
import subprocess
import sys

import scene_keyrings  # noqa: F401
import scene_orca  # noqa: F401
import scene_windows  # noqa: F401
from stage import SCENES, NotSo, Stage

NO_LAB = 77
SCENE_SECONDS = "240"


# The command says this of one of the packages "a|b".
def says(pattern, packages, *command):
    return any(re.search(pattern, subprocess.run([*command, package], capture_output=True, text=True).stdout)
               for package in packages.split("|"))


def play(name, *arguments):
    """One scene in a lab of its own: PASS, FAIL or SKIP, and why."""
    for packages in SCENES[name][1]:
        if not says("ok installed", packages, "dpkg-query", "-W", "-f", "${Status}"):
            if says(r"Candidate: [^(]", packages, "apt-cache", "policy"):
                return "FAIL", f"{packages} is not installed; ./dev test -R lab_desktops installs it"
            return "SKIP", f"this distribution has no package {packages}"
    here = os.path.abspath(__file__)
    lab = subprocess.run(["env", "VELMORA_TEST_DISPLAY=virtual", "VELMORA_TEST_PERSON=ordinary", "timeout",
                          "--foreground", SCENE_SECONDS, os.path.join(os.path.dirname(here), "..", "run"), here,
                          "--inside", name, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if lab.returncode == NO_LAB:
        sys.exit(NO_LAB)
    # timeout says nothing of its own.
    return ("FAIL", f"{lab.stdout}status {lab.returncode}") if lab.returncode else ("PASS", "")


def inside(name, client, folder):
    stage = Stage(client, folder)
    try:
        SCENES[name][0](stage)
    except NotSo as fault:
        stage.desktop.picture("not-so")
        sys.exit(str(fault))


def main(client, folder, *names):
    chosen = [name for name in SCENES if not names or any(wanted in name for wanted in names)]
    failed = 0
    for name in chosen:
        result, why = play(name, client, os.path.join(folder, name))
        failed += result == "FAIL"
        print(result, name, why, flush=True)
    sys.exit(1 if failed or not chosen else 0)


if __name__ == "__main__":
    if sys.argv[1] == "--packages":
        print("\n".join(sorted({packages for _, needed in SCENES.values() for packages in needed})))
    elif sys.argv[1] == "--inside":
        inside(*sys.argv[2:])
    else:
        main(*sys.argv[1:])
