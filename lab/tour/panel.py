#!/usr/bin/python3
"""The part of a desktop's panel that shows status icons: the watcher of the session and a host at once, until it is
ended. Prints the bus name of each icon that asks to be shown."""

from gi.repository import Gio, GLib

NAME = "org.kde.StatusNotifierWatcher"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(f"""
<node><interface name="{NAME}">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface></node>""").interfaces[0]

items = []


def called(_bus, sender, _path, _interface, _method, arguments, invocation):
    items.append(sender if arguments[0].startswith("/") else arguments[0])
    invocation.return_value(None)
    print(items[-1], flush=True)


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
