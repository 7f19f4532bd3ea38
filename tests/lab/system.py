"""What the system itself says of the tunnel, and whether the screen follows it."""

import os
import threading
import time

from person import CONNECT_SECONDS, check
from gi.repository import Gio, GLib

STATUS_TEXTS = {"Connected", "Disconnected", "Connecting", "Disconnecting", "Reasserting Connection"}
# The screen may be that much behind the system.
BEHIND_SECONDS = 2
NAME = "org.freedesktop.NetworkManager"
SAID = {1: ("Connecting", "Reasserting Connection"), 2: ("Connected",), 3: ("Disconnecting",)}


def says(bus):
    """The status texts that are true, asked over a connection of the test's own."""
    try:
        objects = bus.call_sync(
            NAME, "/org/freedesktop", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", None, None,
            Gio.DBusCallFlags.NO_AUTO_START, 5000, None).unpack()[0]
    except GLib.Error:
        return ("Disconnected",)
    tunnels = [interfaces.get(NAME + ".Connection.Active", {}) for interfaces in objects.values()]
    states = [tunnel["State"] for tunnel in tunnels if tunnel.get("Id") == "Velmora"]
    return next((SAID[state] for state in reversed(states) if state in SAID), ("Disconnected",))


def follows(client, what, command, end, seconds=CONNECT_SECONDS):
    """Does something to the system; the screen says what the system says all the time, and `end` at last."""
    bus, acting = Gio.bus_get_sync(Gio.BusType.SYSTEM), threading.Thread(target=os.system, args=(command,))
    deadline, agreed, behind = time.monotonic() + seconds, time.monotonic(), 0
    acting.start()
    while True:
        said, over = says(bus), not acting.is_alive()
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
    print(f"       {what}: the screen was at most {behind * 1000:.0f} ms behind", flush=True)
