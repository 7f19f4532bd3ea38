#!/usr/bin/python3
"""The whole client in a rough world: suspend, cables, a daemon and a keyring that come and go. For each: what the
screen and the log say, and that the next press works.

Usage, inside a lab with a display: world.py CLIENT FOLDER
"""

import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

from person import CONNECT_SECONDS, Atspi, Client, check, labctl, play, until
from gi.repository import Gio, GLib

STATUS_TEXTS = {"Connected", "Disconnected", "Connecting", "Disconnecting", "Reasserting Connection"}
# Not the demo account, whose password stands in the environment of everything in the lab.
USER, PASSWORD = "fresh", "nothing-starred"
# The screen may be that much behind the system.
BEHIND_SECONDS = 2
GIVEN_UP_SECONDS = 40


class System:
    """What the daemon itself says of the tunnel, asked over a connection of its own."""

    NAME = "org.freedesktop.NetworkManager"
    SAID = {1: ("Connecting", "Reasserting Connection"), 2: ("Connected",), 3: ("Disconnecting",)}

    def __init__(self):
        self.bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)

    def says(self):
        """The status texts that are true."""
        try:
            objects = self.bus.call_sync(
                self.NAME, "/org/freedesktop", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", None, None,
                Gio.DBusCallFlags.NO_AUTO_START, 5000, None).unpack()[0]
        except GLib.Error:
            return ("Disconnected",)
        states = [interfaces[self.NAME + ".Connection.Active"]["State"] for interfaces in objects.values()
                  if interfaces.get(self.NAME + ".Connection.Active", {}).get("Id") == "Velmora"]
        return next((self.SAID[state] for state in reversed(states) if state in self.SAID), ("Disconnected",))


def follows(client, what, act, end, seconds=CONNECT_SECONDS):
    """Does something to the system; the screen says what the system says all the time, and `end` at last."""
    system, acting = System(), threading.Thread(target=act)
    deadline, agreed, behind = time.monotonic() + seconds, time.monotonic(), 0
    acting.start()
    while True:
        said, over = system.says(), not acting.is_alive()
        shown = STATUS_TEXTS.intersection(client.desktop.texts())
        now = time.monotonic()
        behind = max(behind, now - agreed)
        if shown.issubset(said) and shown:
            agreed = now
        check(f"{what}: the screen at most {BEHIND_SECONDS} s behind the system, which says {said}",
              now - agreed <= BEHIND_SECONDS, shown)
        if over and shown == {end} and end in said:
            break
        check(f"{what}: “{end}” at last", now < deadline, (said, shown))
    acting.join()
    print(f"       {what}: the screen was at most {behind * 1000:.0f} ms behind", flush=True)


def does(*words):
    def act():
        done, said = labctl(*words)
        if not done:
            print("labctl", *words, "failed:", said, flush=True)
    return act


def press_logs(client, pattern, seconds=CONNECT_SECONDS):
    """Presses the button; a line like this comes in the log, and the screen says that nothing is connected."""
    client.lines("stderr")
    client.press("Quick Connect")
    logged = []
    until(f"“{pattern}” in the log", lambda: logged.extend(client.lines("stderr")) or
          any(re.fullmatch(pattern, line) for line in logged), seconds)
    check("the press itself is logged first", logged[0] == "connecting", logged)
    client.desktop.wait_for_text("Disconnected")


def press_prints(client, line, seconds=CONNECT_SECONDS):
    client.lines("stdout")
    client.press("Quick Connect")
    printed = []
    until(f"“{line}” printed", lambda: printed.extend(client.lines("stdout")) or line in printed, seconds)
    return printed


def next_press_works(client):
    until("the next press connects", client.try_to_connect, CONNECT_SECONDS)
    client.disconnect()


def suspend_and_resume(client):
    client.connect()
    follows(client, "suspend", does("sleep", "on"), "Disconnected")
    follows(client, "resume", does("sleep", "off"), "Disconnected")
    next_press_works(client)


def a_cable_out(client):
    client.connect()
    follows(client, "a loose contact", lambda: (labctl("link", "down"), labctl("link", "up")), "Connected")
    check("the tunnel lives on", labctl("until", "5", "labctl", "ping")[0])
    follows(client, "the cable out", does("link", "down"), "Disconnected")
    follows(client, "the cable in", does("link", "up"), "Disconnected")
    next_press_works(client)


def the_daemon_restarts_and_others_use_it(client):
    client.connect()
    follows(client, "a stopped daemon", does("nm", "stop"), "Disconnected")
    follows(client, "a started daemon", does("nm", "start"), "Disconnected")
    nmcli = ["labctl", "as-user", "nmcli", "connection"]
    follows(client, "another program connects", lambda: subprocess.run([*nmcli, "up", "Velmora"]), "Connected")
    follows(client, "it disconnects", lambda: subprocess.run([*nmcli, "down", "Velmora"]), "Disconnected")
    next_press_works(client)


def the_daemon_comes_after_the_client(client):
    labctl("nm", "stop")
    client.kill()
    client.start()
    client.desktop.wait_for_text("Disconnected")
    client.choose("Berlin")
    press_logs(client, r"error, nm-client-error-quark / 1")
    labctl("nm", "start")
    next_press_works(client)


def the_daemon_stands_still(client):
    labctl("nm", "freeze")
    try:
        press_logs(client, r"error, g-io-error-quark / 24")
    finally:
        labctl("nm", "thaw")
    client.connect()
    labctl("nm", "freeze")
    try:
        client.press("Disconnect")
        client.desktop.wait_for_text("Disconnecting")
        # Some 25 s later the bus gives the question up; the last that the daemon said is true again.
        client.desktop.wait_for_text("Connected", GIVEN_UP_SECONDS)
    finally:
        labctl("nm", "thaw")
    # It has the question all the same.
    client.desktop.wait_for_text("Disconnected")
    next_press_works(client)


def the_daemon_refuses(client):
    if os.environ["VELMORA_LAB_UID"] == "0":
        print("       nothing is refused to root", flush=True)
        return
    subprocess.run(["nmcli", "connection", "delete", "Velmora"], capture_output=True)
    labctl("nm", "refuse")
    try:
        press_prints(client, "VPN Preferences error: 2")
        client.desktop.wait_for_text("Disconnected")
    finally:
        labctl("nm", "allow")
    next_press_works(client)
    labctl("nm", "refuse")
    try:
        printed = press_prints(client, "VPN Preferences error: 2")
        check("a profile that is there stays", "VPN started successfully.." not in printed, printed)
        client.desktop.wait_for_text("Disconnected")
    finally:
        labctl("nm", "allow")
    next_press_works(client)


def the_keyring_is_away(client):
    for away, back in (("kill", "start"), ("lock", "unlock")):
        labctl("keyring", away)
        # Without the token the service gives no details.
        press_logs(client, "incomplete response from server")
        labctl("keyring", back)
        next_press_works(client)


def a_prompt_that_is_dismissed(client):
    """The lab has nothing that could show one."""
    labctl("keyring", "lock")
    client.kill()
    client.start()
    client.desktop.wait_for("User name", Atspi.Role.TEXT, seconds=CONNECT_SECONDS)
    labctl("keyring", "unlock")
    client.sign_in(USER, PASSWORD)
    client.choose("Berlin")
    next_press_works(client)


def secrets_stand_where_they_may(client):
    """On standard output the labelled dump of the reply, in the log the line that names the shared secret."""
    client.connect()
    requests = [json.loads(line) for line in labctl("http")[1].splitlines()]
    token = max((value for request in requests for name, value in request["headers"] if name == "X-Auth-Token"),
                key=len)
    dumps = [json.loads(line.removeprefix("response.data: ")) for line in client.everything("stdout")
             if line.startswith("response.data: ")]
    replies = [dump for dump in dumps if "password" in dump]
    check("a reply for each connect", len(replies) > 5, replies)
    secrets = {PASSWORD, token}.union(*({reply["password"], reply["configuration"]} for reply in replies))
    check("all are secrets", len(secrets) == 2 + 2 * len(replies) and all(len(text) > 7 for text in secrets), secrets)
    told = {f"velmora: connect to {reply['address']}, {reply['configuration']}" for reply in replies}
    for channel, may in (("stdout", lambda line: line.startswith("response.data: {")), ("stderr", told.__contains__)):
        wrong = [line for line in client.everything(channel)
                 if any(text in line for text in secrets) and not may(line)]
        check(f"secrets on {channel} in the lines that may have them", not wrong, wrong)
    check("no password and no token in the dump",
          not any(PASSWORD in line or token in line for line in client.everything("stdout")))
    for text in {PASSWORD, token, replies[-1]["password"], replies[-1]["configuration"]}:
        found, places = labctl("find-text", text)
        check("no secret in files, environments and arguments", not found, places)
    client.disconnect()


def a_crash_leaves_no_memory(client):
    if not dumps_core(["labctl", "as-user", "sleep", "60"]):
        print("       nothing leaves a core file here", flush=True)
        return
    client.kill()
    client.start(preexec_fn=allow_core_files, cwd=os.environ["HOME"])
    client.button("Quick Connect")
    client.process.send_signal(signal.SIGABRT)
    _, status = os.waitpid(client.process.pid, 0)
    check("ended by the signal and not dumped", os.WIFSIGNALED(status) and not os.WCOREDUMP(status), status)
    client.start()
    client.choose("Berlin")
    next_press_works(client)


def allow_core_files():
    resource.setrlimit(resource.RLIMIT_CORE, (resource.getrlimit(resource.RLIMIT_CORE)[1],) * 2)


def dumps_core(command):
    process = subprocess.Popen(command, preexec_fn=allow_core_files, cwd=os.environ["HOME"])
    until("the program", lambda: open(f"/proc/{process.pid}/comm", encoding="ascii").read() == "sleep\n")
    process.send_signal(signal.SIGABRT)
    return os.WCOREDUMP(os.waitpid(process.pid, 0)[1])


def the_session_bus_goes(client):
    """With it go the keyring and what shows the screen to this test; the tunnel is the system's."""
    client.connect()
    client.lines("stdout")
    with open(os.path.join(os.environ["VELMORA_LAB"], "pid", "session-bus"), encoding="ascii") as file:
        os.kill(int(file.read()), 9)
    subprocess.run(["nmcli", "connection", "down", "Velmora"], capture_output=True)
    printed = []
    until("the end of the tunnel printed",
          lambda: printed.extend(client.lines("stdout")) or printed[-1:] == ["Disconnected"])
    check("the client runs on", client.process.poll() is None)
    client.process.kill()
    client.process.wait()


def readable(program):
    """A copy of the client and of its module: the person of the lab need not be able to read where it was built."""
    build = os.path.dirname(os.path.dirname(program))
    place = os.path.join(os.environ["VELMORA_LAB"], "client")
    shutil.copytree(os.path.join(build, "lib"), os.path.join(place, "lib"))
    os.mkdir(os.path.join(place, "bin"))
    return shutil.copy(program, os.path.join(place, "bin"))


def main():
    client = Client(readable(sys.argv[1]), sys.argv[2])
    client.sign_in(USER, PASSWORD)
    client.choose("Berlin")
    return play(client, (
        suspend_and_resume, a_cable_out, the_daemon_restarts_and_others_use_it, the_daemon_comes_after_the_client,
        the_daemon_stands_still, the_daemon_refuses, the_keyring_is_away,
        a_prompt_that_is_dismissed, secrets_stand_where_they_may, a_crash_leaves_no_memory, the_session_bus_goes))


if __name__ == "__main__":
    sys.exit(main())
