#!/usr/bin/python3
"""The whole client in the lab, through what a person sees and does: what faults show, and that the next press works.

Usage, inside a lab with a display: client.py CLIENT FOLDER
"""

import json
import os
import re
import subprocess
import sys
import time

from person import CONNECT_SECONDS, Client, check, descendants, labctl, play, until

USER, PASSWORD = os.environ["VELMORA_LAB_USER"], os.environ["VELMORA_LAB_PASSWORD"]
NO_KEYRING = "No keyring: install one, such as gnome-keyring"
LOCKED = "The keyring is locked: your sign-in is kept, and saved once you unlock it"
SURVEY_SECONDS = 60
# The whole screen, read control by control.
ANSWERED_SECONDS = 2


def main_job(client):
    client.sign_in(USER, PASSWORD)
    client.choose("Berlin")
    client.desktop.wait_for_text("Disconnected")
    client.lines("stdout"), client.lines("stderr")
    client.connect()
    out, log = client.lines("stdout"), client.lines("stderr")
    details = json.loads(out[0].removeprefix("response.data: "))
    check("the steps in the log", log == [
        "connecting", f"connect to {details['address']}, {details['configuration']}", "configure VPN preferences",
        "set shared secret", "set vpn password"], log)
    check("the end on standard output",
          out[-2:] == ["VPN Status changed:", "Connected"] and "VPN started successfully.." in out, out)


def killed_while_connected(client):
    client.kill()
    check("the tunnel without the client", labctl("ping")[0])
    client.start()
    client.desktop.wait_for_text("Connected")
    client.button("Disconnect")
    # The list's request goes through the tunnel, ends with it, and is not repeated.
    client.choose("Berlin")
    client.disconnect()


def refused_by_the_gateway(client):
    for fault in ("wrong-psk", "wrong-password", "unreachable-gateway", "address=203.0.113.2\nScript /bin/false"):
        client.choose("Berlin")
        labctl("fault", fault, "on")
        client.lines("stdout")
        client.press("Quick Connect")
        printed = client.tells("Disconnected", client.tells("Connecting"))
        check(f"{fault}: never said connected", "Connected" not in printed, printed)
        labctl("fault", "clear")
        client.connect()
        client.disconnect()


def said(client, *lines):
    """Waits until the strip says just these lines; none, until there is no strip."""
    def what():
        strip = client.desktop.find("Needs attention")
        return [node.get_name() for node in descendants(strip) if node.get_name()] if strip else []
    until(f"the strip with {lines}", lambda: what() == list(lines))


def missing_parts(client):
    client.kill()
    for part, verb in (("nm", "stop"), ("plugin", "remove"), ("keyring", "kill")):
        check(f"{part} {verb}", labctl(part, verb)[0])
    client.lines("stderr")
    client.start()
    said(client, "No NetworkManager: install network-manager-vpnc", NO_KEYRING)
    client.desktop.picture("missing")
    logged = client.lines("stderr")
    check("the same in the log", logged == ["No NetworkManager: install network-manager-vpnc", NO_KEYRING], logged)
    labctl("nm", "start")
    said(client, "No VPN plugin: install network-manager-vpnc", NO_KEYRING)
    labctl("plugin", "install")
    labctl("keyring", "start")
    said(client)
    client.sign_in(USER, PASSWORD)
    client.choose("Berlin")
    until("connected with what has come", client.try_to_connect, CONNECT_SECONDS)
    labctl("keyring", "lock")
    said(client, LOCKED)
    client.desktop.picture("locked")
    client.disconnect()
    # At the start it is asked for once; the lab has nothing that could show the prompt.
    client.kill()
    client.start()
    said(client, LOCKED)
    client.button("Sign in")
    # The sign-in in the keyring leads home by itself.
    labctl("keyring", "unlock")
    said(client)
    client.choose("Berlin")
    client.connect()
    client.disconnect()


def forget(client):
    environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "QT_QPA_PLATFORM")}

    def run(option, words, status=0):
        done = subprocess.run(["labctl", "as-user", client.program, option], env=environment, capture_output=True,
                              text=True, timeout=60)
        check(f"{option} says “{words}”", done.returncode == status and words in done.stdout + done.stderr, done)

    def items():
        return os.popen("secret-tool search --all service com.velmora.Client 2>&1").read()

    client.connect()
    check("four items in the keyring", items().count("attribute.key = ") == 4, items())
    run("--forget", "Removed the sign-in and the tunnel's secrets from the keyring.\n"
                    'Removed the NetworkManager profile "Velmora"; its tunnel has ended.\nThe client is running')
    check("no profile", "Velmora" not in os.popen("nmcli connection").read())
    check("no item", "attribute.key" not in items(), items())
    client.desktop.wait_for_text("Disconnected")
    run("--forget", 'The keyring holds nothing of Velmora.\nThere is no NetworkManager profile "Velmora" of this user.')
    client.kill()
    client.start()
    client.sign_in(USER, PASSWORD)
    client.choose("Berlin")
    client.connect()
    client.disconnect()
    labctl("keyring", "lock")
    run("--forget", "The keyring does not remove the items of Velmora", 1)
    check("the profile goes all the same", "Velmora" not in os.popen("nmcli connection").read())
    labctl("keyring", "unlock")
    labctl("nm", "stop")
    run("--forget", "NetworkManager cannot be asked for the profile", 1)
    labctl("nm", "start")
    check("no item", "attribute.key" not in items(), items())
    run("--forge", "", 2)
    run("--version", "API host: api.velmora.test")


def survey(client):
    """Every kind of host that there is ends as a measurement, and the window answers all the time."""
    hosts = {"near": ("198.18.16.1", 20), "refusing": ("198.18.22.1", 45), "by name": ("api.velmora.test", 0),
             # The system repeats the first packet after a second, and gives up two seconds later.
             "silent": ("198.18.31.1", 3000), "unknown": ("nowhere.velmora.test", 0), "nameless": ("", 0),
             "last": ("198.18.5.1", 3)}
    endpoints = [{"id": number, "name": name, "country": "DE", "address": address}
                 for number, (name, (address, _)) in enumerate(hosts.items())]
    labctl("fault", "body=" + json.dumps({"endpoints": endpoints}), "on", "endpoints")
    client.press("Settings")
    client.press("Back to home")
    client.desktop.wait_for("Add last to favourites")
    client.press("Measure latencies")
    measured, end = {}, time.monotonic() + SURVEY_SECONDS
    while len(measured) < len(hosts):
        began = time.monotonic()
        for text in client.desktop.texts():
            measured.update(re.findall(r"^([\w ]+), .*?(\d+\.\d) ms", text))
        check("the window answers, the survey ends", time.monotonic() < min(began + ANSWERED_SECONDS, end), measured)
    # Five attempts are summed up, and divided by six.
    wrong = {name: measured[name] for name, (_, distance) in hosts.items()
             if not distance * 5 / 6 <= float(measured[name]) <= distance + 300}
    check("the latencies are the hosts'", not wrong, wrong)


if __name__ == "__main__":
    sys.exit(play(Client(*sys.argv[1:3]), (
        main_job, killed_while_connected, refused_by_the_gateway, forget, missing_parts, survey)))
