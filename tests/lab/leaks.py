#!/usr/bin/python3
"""What the router of the desktop's uplink sees while the tunnel is up, and after each way in which it ends.

Usage, inside a lab with a display: leaks.py CLIENT FOLDER
"""

import itertools
import os
import subprocess
import sys

from person import CONNECT_SECONDS, Client, check, labctl, play, until
from system import follows

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
PRESS = ": a press"
ENDS = (PRESS, "nmcli connection down Velmora", "pkill -KILL -x vpnc", "pkill -KILL -x nm-vpnc-service",
        "labctl nm kill", "labctl nm stop", "nmcli connection delete Velmora", "labctl gateway stop")
numbers = itertools.count()


def output(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


def routes_and_resolver():
    routes = (output("ip", "-4", "route") + output("ip", "-6", "route")).splitlines()
    return sorted(route for route in routes if not route.startswith(HARMLESS)), labctl("dns")[1]


def seen_while_asking(resolver):
    """Asks for a name and for an IPv6 host; what passed in the clear meanwhile. The named resolver got the question."""
    name = f"question-{next(numbers)}.velmora.test"
    check("a capture", labctl("capture", "start")[0])
    output("getent", "ahosts", name)
    output("ping", "-n", "-c1", "-W1", IPV6_HOST)
    check(f"{resolver} got the question", name in labctl("log", resolver)[1])
    return labctl("capture", "show", BESIDE_THE_TUNNEL)[1]


def nothing_passes_beside_and_all_is_as_before(client):
    before = routes_and_resolver()
    check("the resolver of before", before[1].startswith(RESOLVER), before)
    for end in ENDS:
        until("connected", client.try_to_connect, CONNECT_SECONDS)
        until("the tunnel's resolver", lambda: labctl("dns")[1] == TUNNEL_RESOLVER)
        seen = seen_while_asking("tunnel-resolver")
        check("nothing passes beside the tunnel", not seen, seen)
        # Or the daemon might build a lost tunnel again by itself.
        labctl("gateway", "forget")
        if end == PRESS:
            client.press("Disconnect")
        follows(client, end, end, "Disconnected", ENDED_SECONDS)
        labctl("nm", "start")
        until(f"{end}: routes and resolver as before", lambda: routes_and_resolver() == before)
        seen = seen_while_asking("resolver")
        check(f"{end}: all is seen again", f"{RESOLVER}.53: " in seen and f"{IPV6_HOST}: ICMP6" in seen, seen)
        labctl("gateway", "start")
        # The plugin that was killed has left its child behind.
        output("pkill", "-KILL", "-x", "vpnc")


if __name__ == "__main__":
    person = Client(*sys.argv[1:3])
    person.sign_in(os.environ["VELMORA_LAB_USER"], os.environ["VELMORA_LAB_PASSWORD"])
    person.choose("Berlin")
    sys.exit(play(person, (nothing_passes_beside_and_all_is_as_before,)))
