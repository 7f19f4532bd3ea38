#!/usr/bin/python3
"""The part of a desktop's panel that shows status icons: the watcher of the session and a host at once, until it is
ended. Prints the bus name of each icon that it shows.

Usage: panel.py [PROPERTY…]   shows and lists only icons that have these properties: GNOME's host wants Id and Menu
"""

import sys

from gi.repository import Gio, GLib

NAME = "org.kde.StatusNotifierWatcher"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(f"""
<node><interface name="{NAME}">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface></node>""").interfaces[0]

WANTED = sys.argv[1:]
items = []


def called(bus, sender, _path, _interface, _method, arguments, invocation):
    invocation.return_value(None)
    name, path = (sender, arguments[0]) if arguments[0].startswith("/") else (arguments[0], "/StatusNotifierItem")

    def show(_bus=None, result=None):
        has = bus.call_finish(result).unpack()[0] if result else {}
        # Programs say so where they have no menu.
        if all(has.get(wanted, "/NO_DBUSMENU") != "/NO_DBUSMENU" for wanted in WANTED):
            items.append(name + path)
            print(name, flush=True)

    if not WANTED:
        show()
        return
    bus.call(name, path, "org.freedesktop.DBus.Properties", "GetAll", GLib.Variant("(s)", ("org.kde.StatusNotifierItem",)),
             None, Gio.DBusCallFlags.NONE, 5000, None, show)


def asked(_bus, _sender, _path, _interface, name):
    return {"IsStatusNotifierHostRegistered": GLib.Variant("b", True),
            "RegisteredStatusNotifierItems": GLib.Variant("as", items),
            "ProtocolVersion": GLib.Variant("i", 0)}[name]


def main():
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    bus.register_object("/StatusNotifierWatcher", INTERFACE, called, asked, None)
    Gio.bus_own_name_on_connection(bus, NAME, Gio.BusNameOwnerFlags.NONE, None, None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
