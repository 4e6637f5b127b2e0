"""The registry and a calendar factory with one empty calendar, of which the factory says at first that
it does not know it: scripted_services.py ANSWERS, how often it says so (-1: for ever). Tells on
standard output when it is there, and ends with standard input."""

import sys

from gi.repository import Gio, GLib

FAMILY = "org.gnome.evolution.dataserver."
PATH = "/org/gnome/evolution/dataserver/"
SOURCE = """[Data Source]
DisplayName=New
Enabled=true
Parent=

[Calendar]
BackendName=local
"""
REGISTRY = """<node><interface name='org.freedesktop.DBus.ObjectManager'>
<method name='GetManagedObjects'><arg type='a{oa{sa{sv}}}' direction='out'/></method>
</interface></node>"""
FACTORY = f"""<node><interface name='{FAMILY}CalendarFactory'>
<method name='OpenCalendar'><arg type='s' direction='in'/><arg type='s' direction='out'/>
<arg type='s' direction='out'/></method>
</interface></node>"""
CALENDAR = f"""<node><interface name='{FAMILY}Calendar'>
<method name='Open'><arg type='as' direction='out'/></method>
<method name='GetObjectList'><arg type='s' direction='in'/><arg type='as' direction='out'/></method>
<method name='GetObject'><arg type='s' direction='in'/><arg type='s' direction='in'/>
<arg type='s' direction='out'/></method>
<property name='Revision' type='s' access='read'/>
</interface></node>"""
UNKNOWN_SOURCE = "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code1"
NOT_FOUND = "org.gtk.GDBus.UnmappedGError.Quark._e_2dcal_2dclient_2derror_2dquark.Code1"


class Services:
    def __init__(self, unknown):
        self.unknown = unknown

    def answer(self, _connection, _sender, _path, _interface, method, _arguments, invocation):
        if method == "GetManagedObjects":
            properties = {"UID": GLib.Variant("s", "new"), "Data": GLib.Variant("s", SOURCE)}
            invocation.return_value(GLib.Variant("(a{oa{sa{sv}}})", (
                {PATH + "SourceManager/new": {FAMILY + "Source": properties}},)))
        elif method == "OpenCalendar" and self.unknown != 0:
            self.unknown -= 1
            invocation.return_dbus_error(UNKNOWN_SOURCE, "No such source for UID “new”")
        elif method == "OpenCalendar":
            invocation.return_value(GLib.Variant("(ss)", (PATH + "Calendar/1", FAMILY + "Calendar8")))
        elif method == "Open":
            invocation.return_value(GLib.Variant("(as)", (["writable", "true"],)))
        elif method == "GetObjectList":
            invocation.return_value(GLib.Variant("(as)", ([],)))
        else:
            invocation.return_dbus_error(NOT_FOUND, "Object not found")


def main(unknown):
    services = Services(unknown)
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    for path, interface in [("SourceManager", REGISTRY), ("CalendarFactory", FACTORY),
                            ("Calendar/1", CALENDAR)]:
        bus.register_object(PATH + path, Gio.DBusNodeInfo.new_for_xml(interface).interfaces[0],
                            services.answer, lambda *_: GLib.Variant("s", "revision"), None)
    for name in ("Sources5", "Calendar8"):
        bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                      "RequestName", GLib.Variant("(su)", (FAMILY + name, 0)), None, 0, -1, None)
    print("there", flush=True)
    loop = GLib.MainLoop()
    GLib.io_add_watch(sys.stdin, GLib.PRIORITY_DEFAULT, GLib.IOCondition.HUP, lambda *_: loop.quit())
    loop.run()


main(int(sys.argv[1]))
