#!/usr/bin/python3
"""What the router sees while the tunnel is up, and after each way in which it ends. Usage: leaks.py CLIENT FOLDER"""

import os
import subprocess
import sys
import time

from person import CONNECT_SECONDS, Client, check, labctl, play, until

GATEWAY, ROUTER, RESOLVER, TUNNEL_RESOLVER, IPV6_HOST = (
    os.environ[f"VELMORA_LAB_{name}"] for name in ("GATEWAY", "UPLINK_ROUTER", "DNS", "TUNNEL_DNS", "IPV6"))
# What may pass in the clear beside the tunnel: the tunnel itself, and the two ends of the cable finding each other.
BESIDE_THE_TUNNEL = (f"not arp and not host {GATEWAY} and not net fe80::/10 and not dst net ff00::/8 and "
                     "not (src net 2001:db8:192::/64 and dst net 2001:db8:192::/64)")
# The daemon's routes to the gateway stay when it is killed, and lead where the default route leads; a vpnc whose plugin
# was killed keeps its device, with a link-local address and no way to anywhere.
HARMLESS = (GATEWAY, ROUTER + " ", "fe80::")
# The daemon learns of a gateway that has gone from the tunnel's own questions, after up to 48 s.
ENDED_SECONDS = 60
# How a tunnel ends, first by a press, and what makes the system as before.
PRESS = NOTHING = "true"
ENDS = ((PRESS, NOTHING), ("nmcli connection down Velmora", NOTHING), ("nmcli connection delete Velmora", NOTHING),
        ("labctl sleep on", "labctl sleep off"), ("labctl link down", "labctl link up"),
        # The plugin that was killed leaves its child behind.
        ("pkill -KILL -x vpnc", NOTHING), ("pkill -KILL -x nm-vpnc-service", "pkill -KILL -x vpnc"),
        ("labctl nm kill", "labctl nm start"), ("labctl nm stop", "labctl nm start"),
        ("labctl gateway stop", "labctl gateway start"))


def routes_and_resolver():
    routes = subprocess.check_output("ip -4 route; ip -6 route", shell=True, text=True).splitlines()
    return sorted(route for route in routes if not route.startswith(HARMLESS)), labctl("dns")[1]


def seen_while_asking(resolver):
    """Asks for a name and for an IPv6 host; what passed in the clear meanwhile. The named resolver got the question."""
    name = f"question-{time.monotonic_ns()}.velmora.test"
    check("a capture", *labctl("capture", "start"))
    os.system(f"getent ahosts {name}; ping -n -c1 -W1 {IPV6_HOST} >/dev/null")
    check(f"{resolver} got the question", name in labctl("log", resolver)[1])
    return labctl("capture", "show", BESIDE_THE_TUNNEL)[1]


def nothing_passes_beside_and_all_is_as_before(client):
    client.sign_in()
    client.choose("Berlin")
    before = routes_and_resolver()
    for end, back in ENDS:
        until("connected", client.try_to_connect, CONNECT_SECONDS)
        until("the tunnel's resolver", lambda: labctl("dns")[1] == TUNNEL_RESOLVER)
        seen = seen_while_asking("tunnel-resolver")
        check("nothing passes beside the tunnel", not seen, seen)
        # Or the daemon might build a lost tunnel again by itself.
        labctl("gateway", "forget")
        if end == PRESS:
            client.press("Disconnect")
        client.follows(end, "Disconnected", ENDED_SECONDS)
        client.follows(back, "Disconnected")
        until(f"{end}: routes and resolver as before", lambda: routes_and_resolver() == before)
        # With the cable both ends have to find each other again.
        until(f"{end}: all is seen again", lambda: all(
            host in seen_while_asking("resolver") for host in (f"{RESOLVER}.53: ", f"{IPV6_HOST}: ICMP6")))


if __name__ == "__main__":
    play(Client(*sys.argv[1:]), nothing_passes_beside_and_all_is_as_before)
