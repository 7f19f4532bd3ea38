#!/usr/bin/python3
"""The client beside the real programs of people's desktops: keyrings, panels, window managers, a screen reader.

Usage: run.py CLIENT FOLDER [NAME…]   plays all scenes, or those whose name contains one of these
       run.py --packages              the packages that the scenes need, a line each; "a|b" is either of the two
       run.py --list                  the scenes

Each scene is a function in a file scene_*.py beside this one and runs in a lab of its own:

    from stage import scene

    @scene("xfce4-panel", "xfwm4", lab=("--screen", "1024x600"))
    def xfce_shows_the_icon(stage):
        stage.spawn("panel", "xfce4-panel")
        client = stage.start_client()
        …
        stage.picture("icon")
"""

import glob
import importlib
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
LAB = os.path.join(HERE, "..", "..", "..", "lab", "lab")
sys.path.insert(0, HERE)
from stage import SCENES, NotSo, Stage  # noqa: E402

NO_LAB = 77
# The person at the desktop where root plays the scenes.
NOBODY = 65534


def installed(package):
    said = subprocess.run(["dpkg-query", "-W", "-f", "${Status}", package], capture_output=True, text=True)
    return said.stdout.endswith("ok installed")


def obtainable(package):
    said = subprocess.run(["apt-cache", "policy", package], capture_output=True, text=True).stdout
    return "Candidate:" in said and "Candidate: (none)" not in said


def play(name, client, folder):
    """One scene in a lab of its own: PASS, FAIL or SKIP, and why."""
    scene = SCENES[name]
    for entry in scene.packages:
        choices = entry.split("|")
        if not any(map(installed, choices)):
            if any(map(obtainable, choices)):
                return "FAIL", f"{entry} is not installed; ./dev test -R lab_desktops installs it"
            return "SKIP", f"this distribution has no package {entry}"
    environment = dict(os.environ, G_DEBUG="fatal-criticals")
    if os.geteuid() == 0 and "SUDO_UID" not in environment:
        environment.update(SUDO_UID=str(NOBODY), SUDO_GID=str(NOBODY))
    options = scene.lab if "--display" in scene.lab else ("--display", "virtual", *scene.lab)
    command = [LAB, "run", *options, "--", sys.executable, __file__, "--inside", name, client,
               os.path.join(folder, name)]
    with subprocess.Popen(command, env=environment, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT) as lab:
        try:
            said, late = lab.communicate(timeout=scene.seconds)[0], ""
        except subprocess.TimeoutExpired:
            # It takes the lab with it.
            lab.terminate()
            said, late = lab.communicate()[0], f"not over after {scene.seconds} s; "
    return ("PASS" if lab.returncode == 0 else "FAIL"), late + said.strip()


def inside(name, client, folder):
    stage = Stage(client, folder)
    try:
        SCENES[name].play(stage)
    except NotSo as fault:
        print(fault)
        stage.picture("not-so")
        return 1
    finally:
        for program in list(stage.programs):
            stage.end(program)
        if stage.client is not None:
            stage.client.process.kill()
        if (person := int(os.environ["VELMORA_LAB_UID"])) != NOBODY:
            subprocess.run(["chown", "-R", f"{person}:{os.environ['VELMORA_LAB_GID']}", folder], check=True)
    return 0


def main(arguments):
    for path in sorted(glob.glob(os.path.join(HERE, "scene_*.py"))):
        importlib.import_module(os.path.basename(path).removesuffix(".py"))
    if arguments == ["--packages"]:
        print("\n".join(sorted({package for scene in SCENES.values() for package in scene.packages})))
        return 0
    if arguments == ["--list"]:
        print("\n".join(SCENES))
        return 0
    if arguments[0] == "--inside":
        return inside(*arguments[1:])
    client, folder, *names = arguments
    if subprocess.run([LAB, "check"]).returncode != 0:
        return NO_LAB
    chosen = [name for name in SCENES if not names or any(wanted in name for wanted in names)]
    failed = 0
    for name in chosen:
        result, why = play(name, client, folder)
        failed += result == "FAIL"
        print(f"{result}  {name}" + "".join("\n      " + line for line in why.splitlines()), flush=True)
    print(f"{len(chosen)} scenes, {failed} failed", flush=True)
    return 1 if failed or not chosen else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
