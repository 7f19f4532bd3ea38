#!/usr/bin/python3
"""The client in a rough world: a daemon, a keyring and other programs that come and go at awkward moments. For each:
what the screen and the log say, and that the next press works. Usage, in a lab: world.py CLIENT FOLDER"""

import json
import os
import re
import resource
import shutil
import subprocess
import sys

from person import Client, check, labctl, play, until

# Not the demo account, whose password stands in the environment of everything in the lab.
USER, PASSWORD = "fresh", "nothing-starred"
LONG_SECONDS = 90
# A daemon that has only just begun a tunnel forgets, one time in fifty, about the end that it was asked for.
PRESSES = 80
REFUSED, STARTED = "VPN Preferences error: 3", "VPN started successfully.."
# The D-Bus method, and the so many-th call of it, at which the daemon dies: the load, the save, the load after it, the
# start, the daemon's own question for the secrets.
STEPS = (("GetSettings", 1), ("Update2", 1), ("GetSettings", 2), ("ActivateConnection", 1), ("GetSecrets", 1))
UP, DELETE = "labctl as-user nmcli connection up Velmora", "nmcli connection delete Velmora"


def press_fails(client, pattern):
    """Presses the button; such a line comes, and the screen says that nothing is connected."""
    client.new_lines()
    client.press("Quick Connect")
    lines = client.tells(pattern)
    client.desktop.wait_for_text("Disconnected")
    return lines


def the_daemon_dies_at_each_step(client):
    for method, times in STEPS:
        labctl("nm", "trap", method, str(times))
        lines = press_fails(client, "error, .*|VPN Preferences error: [23]|VPN started successfully..")
        until(f"the daemon's death at {method} {times}", lambda: "nm does not run" in labctl("status")[1])
        # Returns once its helpers have followed it.
        labctl("nm", "kill")
        client.desktop.wait_for_text("Disconnected")
        check("never said connected", "Connected" not in lines + client.lines("stdout"), lines)
        press_fails(client, "error, org.freedesktop.DBus.Error.ServiceUnknown / .*")
        labctl("nm", "start")
        client.next_press_works()


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
    client.next_press_works()


def the_daemon_refuses(client):
    for _ in ("a change of the profile that is there", "a new one"):
        labctl("nm", "refuse")
        lines = press_fails(client, "VPN Preferences error: 2")
        check("nothing started", STARTED not in lines, lines)
        labctl("nm", "allow")
        client.next_press_works()
        private = os.popen("nmcli -g connection.permissions connection show Velmora").read()
        check("the profile is its user's own", private.startswith("user"), private)
        check("no profile", os.system(DELETE) == 0)
    client.next_press_works()
    labctl("plugin", "remove")
    until("the daemon without the plugin", lambda: os.system(UP) or os.system("nmcli connection down Velmora") > 0)
    press_fails(client, REFUSED)
    labctl("plugin", "install")
    client.next_press_works()


def others_touch_the_profile(client):
    client.follows(UP, "Connected")
    client.disconnect()
    uuid = os.popen("nmcli -g connection.uuid connection show Velmora").read().strip()
    check("another gateway", os.system("nmcli connection modify Velmora +vpn.data 'IPSec gateway=198.51.100.2'") == 0)
    check("a start by another program", os.system(UP) != 0)
    client.tells("no secrets for NetworkManager: the profile's gateway or user is not the one that the client saved")
    client.next_press_works()
    check("no profile", os.system(DELETE) == 0)
    add = f"nmcli connection add type dummy ifname other con-name other autoconnect no connection.uuid {uuid} "
    for what in ("", "connection.permissions user:root"):
        check("somebody else's profile", os.system(add + what) == 0)
        press_fails(client, "NetworkManager has a profile of somebody else with the UUID of this client's.*")
        check("it is as before", os.system("nmcli -g dummy connection show other") == 0)
        check("away", os.system("nmcli connection delete other") == 0)
    client.next_press_works()
    labctl("gateway", "silent")
    client.press("Quick Connect")
    # Before vpnc runs, a daemon now and then goes on with a tunnel whose profile it has deleted.
    check("vpnc runs", *labctl("until", "5", "pgrep", "-x", "vpnc"))
    client.desktop.wait_for_text("Connecting")
    client.follows(DELETE, "Disconnected")
    labctl("gateway", "start")
    client.next_press_works()


def pressed_as_the_daemon_returns(client):
    for _ in range(3):
        labctl("nm", "stop")
        client.desktop.wait_for_text("Disconnected")
        button = client.button("Quick Connect")
        client.new_lines()
        with subprocess.Popen(["labctl", "nm", "start"]):
            subprocess.run("gdbus wait --system org.freedesktop.NetworkManager".split(), check=True)
            client.desktop.press(button)
            lines = client.tells("error, .*|VPN Preferences error: .|VPN started successfully..")
        check("the first press is taken", lines[-1] == STARTED, lines)
        client.desktop.wait_for_text("Connected")
        client.disconnect()


def pressed_again_and_again(client):
    """Each press while it connects or disconnects ends what is under way and starts anew."""
    labctl("fault", "unreachable-gateway", "on")
    before = labctl("gateway", "log")[1].count("XAuth authentication of")
    button = client.button("Quick Connect")
    client.new_lines()
    for _ in range(PRESSES):
        client.desktop.press(button)
    told = []
    until("the start of each press", lambda: told.extend(client.lines("stdout")) or
          told.count(STARTED) + told.count(REFUSED) == PRESSES, LONG_SECONDS)
    check("each start was taken", REFUSED not in told)
    labctl("fault", "clear")
    client.press("Disconnect")
    client.desktop.wait_for_text("Connected")
    tunnels = labctl("gateway", "log")[1].count("XAuth authentication of")
    check("one tunnel only", tunnels == before + 1, tunnels - before)
    client.press("Disconnect")
    client.tells("Disconnecting")
    client.desktop.press(button)
    # Its request may have ended with the old tunnel.
    client.next_press_works()


def the_keyring_is_away(client):
    labctl("http", "clear")
    labctl("fault", "delay=2000", "on")
    client.new_lines()
    client.press("Quick Connect")
    until("the question for the details", lambda: labctl("http")[1])
    labctl("keyring", "kill")
    client.tells("Disconnected", client.tells("Connecting"))
    labctl("fault", "clear")
    # Without the token the service gives no details.
    press_fails(client, "incomplete response from server")
    labctl("keyring", "start")
    client.next_press_works()


def secrets_stand_where_they_may(client):
    """On standard output the labelled dump of the reply, in the log the line that names the shared secret."""
    client.connect()
    token = re.findall(r'"X-Auth-Token", ?"(.+?)"', labctl("http")[1])[-1]
    out, log = client.everything("stdout"), client.everything("stderr")
    dumps = [line for line in out if line.startswith("response.data: {")]
    replies = [reply for dump in dumps if "password" in (reply := json.loads(dump.removeprefix("response.data: ")))]
    handed_out = {reply[key] for reply in replies for key in ("password", "configuration")}
    check("new secrets for each of the connects", len(handed_out) == 2 * len(replies) > 10, replies)
    may = {*dumps, *(f"velmora: connect to {reply['address']}, {reply['configuration']}" for reply in replies)}
    wrong = [line for line in out + log if any(text in line for text in {PASSWORD, token}) or
             line not in may and any(text in line for text in handed_out)]
    check("what was handed out only in the lines that may have it", not wrong, wrong)
    for text in (PASSWORD, token, replies[-1]["password"], replies[-1]["configuration"]):
        found, places = labctl("find-text", text)
        check("no secret in files, environments and arguments", not found, places)
    for text, place in (("VELMORA_LAB_UID=", "/environ"), ("--unlock", "/cmdline"), ("[connection]", "/Velmora")):
        check("the search finds what is there", place in labctl("find-text", text)[1], text)
    with open(f"/proc/{client.process.pid}/limits", encoding="ascii") as limits:
        check("a crash leaves no memory", re.search("core file size +[01] ", limits.read()))
    client.disconnect()


def the_session_bus_goes(client):
    """With it go the keyring and what shows the screen to this test; the tunnel is the system's."""
    client.connect()
    os.system("kill -9 $(cat $VELMORA_LAB/pid/session-bus)")
    client.new_lines()
    subprocess.run(["nmcli", "connection", "down", "Velmora"], check=True)
    client.tells("Disconnected")


if __name__ == "__main__":
    resource.setrlimit(resource.RLIMIT_CORE, (resource.getrlimit(resource.RLIMIT_CORE)[1],) * 2)
    # A copy of the client: the person of the lab need not be able to read where it was built.
    person = Client(shutil.copy(sys.argv[1], os.environ["VELMORA_LAB"]), sys.argv[2])
    person.sign_in(USER, PASSWORD)
    person.choose("Berlin")
    play(person, the_daemon_dies_at_each_step, the_daemon_stands_still, the_daemon_refuses, others_touch_the_profile,
         pressed_as_the_daemon_returns, pressed_again_and_again, the_keyring_is_away, secrets_stand_where_they_may,
         the_session_bus_goes)
