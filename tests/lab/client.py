#!/usr/bin/python3
"""The whole client through what a person sees and does in a lab. Usage: client.py CLIENT FOLDER"""

import json
import os
import subprocess
import sys

from person import Client, check, descendants, labctl, play, until

LOCKED = "The keyring is locked: your sign-in is kept, and saved once you unlock it"


def main_job(client):
    client.sign_in()
    client.choose("Berlin")
    client.desktop.wait_for_text("Disconnected")
    client.new_lines()
    client.connect()
    out, log = client.lines("stdout"), client.lines("stderr")
    details = json.loads(out[0].removeprefix("response.data: "))
    check("the steps in the log", log == [
        "connecting", f"connect to {details['address']}, {details['configuration']}", "configure VPN preferences",
        "set shared secret", "set vpn password"], log)
    check("the end on standard output",
          out[-2:] == ["VPN Status changed:", "Connected"] and "VPN started successfully.." in out, out)
    client.kill()
    check("the tunnel without the client", *labctl("ping"))
    client.start()
    client.desktop.wait_for_text("Connected")
    client.button("Disconnect")
    # The list's request goes through the tunnel, ends with it, and is not repeated.
    client.choose("Berlin")
    client.disconnect()


def refused_by_the_gateway(client):
    for fault in ("wrong-psk", "wrong-password", "unreachable-gateway", "address=203.0.113.2\nScript /bin/false"):
        labctl("fault", fault, "on")
        client.new_lines()
        client.press("Quick Connect")
        printed = client.tells("Disconnected", client.tells("Connecting"))
        check(f"{fault}: never said connected", "Connected" not in printed, printed)
        labctl("fault", "clear")
        client.next_press_works()


def strip_says(client, *lines):
    """Waits until the strip says just these lines; none, until there is no strip."""
    def what():
        strip = client.desktop.find("Needs attention")
        return [node.get_name() for node in descendants(strip) if node.get_name()] if strip else []
    until(f"the strip with {lines}", lambda: what() == list(lines))


def missing_parts(client):
    client.kill()
    for part, verb in (("nm", "stop"), ("plugin", "remove"), ("keyring", "kill")):
        labctl(part, verb)
    client.new_lines()
    client.start()
    missing = ["No NetworkManager: install network-manager-vpnc", "No keyring: install one, such as gnome-keyring"]
    strip_says(client, *missing)
    logged = client.lines("stderr")
    check("the same in the log", logged == missing, logged)
    labctl("nm", "start")
    strip_says(client, "No VPN plugin: install network-manager-vpnc", missing[1])
    labctl("plugin", "install")
    labctl("keyring", "start")
    strip_says(client)
    client.sign_in()
    client.choose("Berlin")
    client.next_press_works()
    client.connect()
    labctl("keyring", "lock")
    strip_says(client, LOCKED)
    client.disconnect()
    # At the start it is asked for once; the lab has nothing that could show the prompt.
    client.kill()
    client.start()
    strip_says(client, LOCKED)
    client.button("Sign in")
    # The sign-in in the keyring leads home by itself.
    labctl("keyring", "unlock")
    strip_says(client)
    client.choose("Berlin")
    client.next_press_works()


def forget(client):
    def run(option, words, status=0, items=0):
        done = subprocess.run(["labctl", "as-user", "env", "-u", "DISPLAY", client.program, option],
                              capture_output=True, text=True, timeout=60)
        check(f"{option} says “{words}”", done.returncode == status and words in done.stdout + done.stderr, done)
        stored = os.popen("secret-tool search --all service com.velmora.Client 2>&1").read()
        check(f"items in the keyring after {option}", stored.count("attribute.key = ") == items, stored)

    client.connect()
    run("--version", "API host: api.velmora.test", items=4)
    run("--forge", "", 2, items=4)
    run("--forget", "Removed the sign-in and the tunnel's secrets from the keyring.\n"
                    'Removed the NetworkManager profile "Velmora"; its tunnel has ended.\nThe client is running')
    check("no profile", "Velmora" not in os.popen("nmcli connection").read())
    client.desktop.wait_for_text("Disconnected")
    run("--forget", 'The keyring holds nothing of Velmora.\nThere is no NetworkManager profile "Velmora" of this user.')
    client.kill()
    client.start()
    client.sign_in()
    client.choose("Berlin")
    client.next_press_works()
    labctl("keyring", "lock")
    run("--forget", "The keyring does not remove the items of Velmora", 1, items=4)
    check("the profile goes all the same", "Velmora" not in os.popen("nmcli connection").read())
    labctl("keyring", "unlock")
    labctl("nm", "stop")
    run("--forget", "NetworkManager cannot be asked for the profile", 1)
    labctl("nm", "start")


if __name__ == "__main__":
    play(Client(*sys.argv[1:]), main_job, refused_by_the_gateway, forget, missing_parts)
