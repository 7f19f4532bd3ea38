#!/usr/bin/python3
"""The whole client in a rough world: suspend, cables, a daemon and a keyring that come and go. For each: what the
screen and the log say, and that the next press works.

Usage, inside a lab with a display: world.py CLIENT FOLDER
"""

import json
import os
import resource
import shutil
import signal
import subprocess
import sys
import threading

from person import CONNECT_SECONDS, Client, check, labctl, play, until
from system import NAME, Gio, GLib, follows

# Not the demo account, whose password stands in the environment of everything in the lab.
USER, PASSWORD = "fresh", "nothing-starred"
LONG_SECONDS = 90
# A daemon that has only just begun a tunnel forgets, one time in fifty, about the end that it was asked for.
PRESSES = 80
STARTS = ("VPN Preferences error: 3", "VPN started successfully..")
# The D-Bus method, and the so many-th call of it, at which the daemon dies: the load, the save, the load after it, the
# start, the daemon's own question for the secrets.
STEPS = (("GetSettings", 1), ("Update2", 1), ("GetSettings", 2), ("ActivateConnection", 1), ("GetSecrets", 1))
UP, DELETE = "labctl as-user nmcli connection up Velmora", "nmcli connection delete Velmora"


def press_fails(client, pattern):
    """Presses the button; such a line comes, and the screen says that nothing is connected."""
    client.lines("stderr"), client.lines("stdout")
    client.press("Quick Connect")
    lines = client.tells(pattern)
    client.desktop.wait_for_text("Disconnected")
    return lines


def next_press_works(client):
    until("the next press connects", client.try_to_connect, CONNECT_SECONDS)
    client.disconnect()


def suspend_and_resume(client):
    client.connect()
    follows(client, "suspend", "labctl sleep on", "Disconnected")
    follows(client, "resume", "labctl sleep off", "Disconnected")
    next_press_works(client)


def a_cable_out(client):
    client.connect()
    follows(client, "a loose contact", "labctl link down; labctl link up", "Connected")
    check("the tunnel lives on", labctl("until", "5", "labctl", "ping")[0])
    follows(client, "the cable out", "labctl link down", "Disconnected")
    follows(client, "the cable in", "labctl link up", "Disconnected")
    next_press_works(client)


def the_daemon_is_away_and_others_use_it(client):
    labctl("nm", "stop")
    press_fails(client, "error, org.freedesktop.DBus.Error.ServiceUnknown / .*")
    follows(client, "the daemon comes", "labctl nm start", "Disconnected")
    next_press_works(client)
    follows(client, "another program connects", UP, "Connected")
    client.disconnect()


def the_daemon_dies_at_each_step(client):
    for method, times in STEPS:
        labctl("nm", "trap", method, str(times))
        lines = press_fails(client, "error, .*|VPN Preferences error: [23]|VPN started successfully..")
        until(f"the daemon's death at {method} {times}", lambda: "nm does not run" in labctl("status")[1])
        # Returns once its helpers have followed it.
        labctl("nm", "kill")
        client.desktop.wait_for_text("Disconnected")
        check("never said connected", "Connected" not in lines + client.lines("stdout"), lines)
        labctl("nm", "start")
        next_press_works(client)


def the_daemon_stands_still(client):
    labctl("nm", "freeze")
    press_fails(client, "error, org.freedesktop.DBus.Error.NoReply / .*")
    labctl("nm", "thaw")
    client.connect()
    labctl("nm", "freeze")
    client.press("Disconnect")
    client.desktop.wait_for_text("Disconnecting")
    # Some 25 s later the bus gives the question up; the last that the daemon said is true again.
    client.desktop.wait_for_text("Connected", LONG_SECONDS)
    labctl("nm", "thaw")
    # It has the question all the same.
    client.desktop.wait_for_text("Disconnected")
    next_press_works(client)


def profile(key):
    return subprocess.check_output(f"nmcli -g connection.{key} connection show Velmora".split(), text=True).strip()


def stays_private(what):
    check(f"{what}: the profile stays its user's own", profile("permissions").startswith("user"), what)


def the_daemon_refuses(client):
    check("no profile", os.system(DELETE) == 0)
    for what in ("a new profile", "a change of the one that is there"):
        labctl("nm", "refuse")
        lines = press_fails(client, "VPN Preferences error: 2")
        check(f"{what} is refused, and nothing started", "VPN started successfully.." not in lines, lines)
        labctl("nm", "allow")
        next_press_works(client)
        stays_private(what)
    labctl("plugin", "remove")
    until("the daemon without the plugin", lambda: os.system(UP) or os.system("nmcli connection down Velmora") > 0)
    press_fails(client, "VPN Preferences error: 3")
    labctl("plugin", "install")
    stays_private("without the plugin")
    next_press_works(client)


def others_touch_the_profile(client):
    uuid = profile("uuid")
    edit = "nmcli connection modify Velmora +vpn.data "
    check("another gateway", os.system(edit + "'IPSec gateway=198.51.100.2'") == 0)
    check("a start by another program", os.system(UP) != 0)
    client.tells("no secrets for NetworkManager: the profile's gateway or user is not the one that the client saved")
    next_press_works(client)
    check("no profile", os.system(DELETE) == 0)
    add = f"nmcli connection add type dummy ifname other con-name other autoconnect no connection.uuid {uuid} "
    for what in ("", "connection.permissions user:root"):
        check("somebody else's profile", os.system(add + what) == 0)
        press_fails(client, "NetworkManager has a profile of somebody else with the UUID of this client's.*")
        check("it is as before", os.system("nmcli -g dummy connection show other") == 0)
        check("away", os.system("nmcli connection delete other") == 0)
    next_press_works(client)


def pressed_as_the_daemon_returns(client):
    bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)
    for _ in range(3):
        labctl("nm", "stop")
        client.desktop.wait_for_text("Disconnected")
        client.lines("stderr"), client.lines("stdout")
        starting = threading.Thread(target=labctl, args=("nm", "start"))
        starting.start()
        until("the daemon on the bus", lambda: bus.call_sync(
            "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner", GLib.Variant("(s)", (NAME,)), None,
            Gio.DBusCallFlags.NONE, -1, None).unpack()[0])
        client.press("Quick Connect")
        lines = client.tells("error, .*|VPN Preferences error: .|VPN started successfully..")
        starting.join()
        check("the first press is taken", lines[-1] == "VPN started successfully..", lines)
        client.desktop.wait_for_text("Connected")
        client.disconnect()


def pressed_again_and_again(client):
    """Each press while it connects or disconnects ends what is under way and starts anew."""
    labctl("fault", "unreachable-gateway", "on")
    before = labctl("gateway", "log")[1].count("XAuth authentication of")
    button = client.button("Quick Connect")
    client.lines("stdout")
    for _ in range(PRESSES):
        client.desktop.press(button)
    ends = []
    until("an end of each start", lambda: ends.extend(line for line in client.lines("stdout") if line in STARTS) or
          len(ends) == PRESSES, LONG_SECONDS)
    check("each start was taken", STARTS[0] not in ends)
    labctl("fault", "clear")
    client.press("Disconnect")
    client.desktop.wait_for_text("Connected")
    tunnels = labctl("gateway", "log")[1].count("XAuth authentication of")
    check("one tunnel only", tunnels == before + 1, tunnels - before)
    client.press("Disconnect")
    client.tells("Disconnecting")
    client.desktop.press(button)
    # Its request may have ended with the old tunnel.
    next_press_works(client)


def the_profile_is_deleted_while_it_connects(client):
    labctl("gateway", "silent")
    client.press("Quick Connect")
    # Before vpnc runs, a daemon now and then goes on with a tunnel whose profile it has deleted.
    check("vpnc runs", labctl("until", "5", "pgrep", "-x", "vpnc")[0])
    client.desktop.wait_for_text("Connecting")
    follows(client, "profile deleted", DELETE, "Disconnected")
    labctl("gateway", "start")
    next_press_works(client)


def the_keyring_is_away(client):
    for away, back in (("kill", "start"), ("lock", "unlock")):
        labctl("keyring", away)
        # Without the token the service gives no details.
        press_fails(client, "incomplete response from server")
        # Nobody can read the secrets of the profile that is there.
        follows(client, "another program wants to connect", UP, "Disconnected")
        labctl("keyring", back)
        next_press_works(client)
    labctl("http", "clear")
    labctl("fault", "delay=2000", "on")
    client.lines("stderr"), client.lines("stdout")
    client.press("Quick Connect")
    until("the question for the details", lambda: labctl("http")[1])
    labctl("keyring", "kill")
    client.tells("Disconnected", client.tells("Connecting"))
    labctl("fault", "clear")
    labctl("keyring", "start")
    next_press_works(client)


def secrets_stand_where_they_may(client):
    """On standard output the labelled dump of the reply, in the log the line that names the shared secret."""
    client.connect()
    headers = [header for line in labctl("http")[1].splitlines() for header in json.loads(line)["headers"]]
    token = max((value for name, value in headers if name == "X-Auth-Token"), key=len)
    out, log = client.everything("stdout"), client.everything("stderr")
    dumps = [line for line in out if line.startswith("response.data: {")]
    replies = [reply for dump in dumps if "password" in (reply := json.loads(dump.removeprefix("response.data: ")))]
    handed_out = {reply[key] for reply in replies for key in ("password", "configuration")}
    check("new secrets for each of the connects", len(handed_out) == 2 * len(replies) > 10, replies)
    told = {f"velmora: connect to {reply['address']}, {reply['configuration']}" for reply in replies}
    for lines, may in ((out, dumps), (log, told)):
        wrong = [line for line in lines if line not in may and any(text in line for text in handed_out)]
        check("what was handed out only in the lines that may have it", not wrong, wrong)
    check("neither password nor token in any line", not any(PASSWORD in line or token in line for line in out + log))
    for text in (PASSWORD, token, replies[-1]["password"], replies[-1]["configuration"]):
        found, places = labctl("find-text", text)
        check("no secret in files, environments and arguments", not found, places)
    client.disconnect()


def dumps_core(process):
    process.send_signal(signal.SIGABRT)
    return os.WCOREDUMP(os.waitpid(process.pid, 0)[1])


def a_crash_leaves_no_memory(client):
    resource.setrlimit(resource.RLIMIT_CORE, (resource.getrlimit(resource.RLIMIT_CORE)[1],) * 2)
    home = os.environ["HOME"]
    with subprocess.Popen(["labctl", "as-user", "sh", "-c", "echo; read -r line"], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, cwd=home) as other:
        other.stdout.readline()
        if not dumps_core(other):
            print("       nothing leaves a core file here", flush=True)
            return
    client.kill()
    client.start(cwd=home)
    client.button("Quick Connect")
    check("no core file", not dumps_core(client.process))
    client.start()
    client.choose("Berlin")


def the_session_bus_goes(client):
    """With it go the keyring and what shows the screen to this test; the tunnel is the system's."""
    client.connect()
    with open(os.path.join(os.environ["VELMORA_LAB"], "pid", "session-bus"), encoding="ascii") as file:
        os.kill(int(file.read()), signal.SIGKILL)
    client.lines("stdout")
    subprocess.run(["nmcli", "connection", "down", "Velmora"], check=True)
    client.tells("Disconnected")


if __name__ == "__main__":
    # A copy of the client: the person of the lab need not be able to read where it was built.
    person = Client(shutil.copy(sys.argv[1], os.environ["VELMORA_LAB"]), sys.argv[2])
    person.sign_in(USER, PASSWORD)
    person.choose("Berlin")
    sys.exit(play(person, (
        suspend_and_resume, a_cable_out, the_daemon_is_away_and_others_use_it, the_daemon_dies_at_each_step,
        the_daemon_stands_still, the_daemon_refuses, others_touch_the_profile,
        pressed_as_the_daemon_returns, pressed_again_and_again,
        the_profile_is_deleted_while_it_connects, the_keyring_is_away, secrets_stand_where_they_may,
        a_crash_leaves_no_memory, the_session_bus_goes)))
