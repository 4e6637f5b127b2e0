"""The registry, a calendar factory with one calendar, and an address book: scripted_services.py OPTIONS,
in JSON:

    unknown   how often the factory says that it does not know the calendar (-1: for ever)
    backend   of the calendar: local, and it is empty; contacts, and these are in it:
    contacts  the UIDs of contacts with birthdays
    late      how often the factory answers as if there were none (-1: for ever)
    silent    whether the address book never answers

Tells on standard output when it is there, and ends with standard input."""

import json
import sys

from gi.repository import Gio, GLib

FAMILY = "org.gnome.evolution.dataserver."
PATH = "/org/gnome/evolution/dataserver/"
SOURCE = """[Data Source]
DisplayName=New
Enabled=true
Parent=

[{}]
BackendName={}
"""
EVENT = """BEGIN:VEVENT
UID:{}-birthday
SUMMARY:{}
DTSTART;VALUE=DATE:19800105
RRULE:FREQ=YEARLY
END:VEVENT"""
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
CONTACTS = f"""<node><interface name='{FAMILY}AddressBookFactory'>
<method name='OpenAddressBook'><arg type='s' direction='in'/><arg type='s' direction='out'/>
<arg type='s' direction='out'/></method>
</interface></node>"""
ADDRESS_BOOK = f"""<node><interface name='{FAMILY}AddressBook'>
<method name='Open'><arg type='as' direction='out'/></method>
<method name='GetContactListUids'><arg type='s' direction='in'/><arg type='as' direction='out'/></method>
</interface></node>"""
UNKNOWN_SOURCE = "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code1"
NOT_FOUND = "org.gtk.GDBus.UnmappedGError.Quark._e_2dcal_2dclient_2derror_2dquark.Code1"


class Services:
    def __init__(self, unknown=0, backend="local", contacts=(), late=0, silent=False):
        self.unknown = unknown
        self.backend = backend
        self.contacts = contacts
        self.late = late
        self.silent = silent

    def present(self):
        if self.late != 0:
            self.late -= 1
            return []
        return self.contacts

    def answer(self, _connection, _sender, _path, _interface, method, arguments, invocation):
        if method == "GetManagedObjects":
            invocation.return_value(GLib.Variant("(a{oa{sa{sv}}})", ({
                f"{PATH}SourceManager/{uid}": {FAMILY + "Source": {
                    "UID": GLib.Variant("s", uid),
                    "Data": GLib.Variant("s", SOURCE.format(group, backend))}}
                for uid, group, backend in [("new", "Calendar", self.backend),
                                            ("book", "Address Book", "local")]},)))
        elif method == "OpenCalendar" and self.unknown != 0:
            self.unknown -= 1
            invocation.return_dbus_error(UNKNOWN_SOURCE, "No such source for UID “new”")
        elif method == "OpenCalendar":
            invocation.return_value(GLib.Variant("(ss)", (PATH + "Calendar/1", FAMILY + "Calendar8")))
        elif method == "OpenAddressBook":
            if not self.silent:
                invocation.return_value(
                    GLib.Variant("(ss)", (PATH + "AddressBook/1", FAMILY + "AddressBook10")))
        elif method == "Open":
            invocation.return_value(GLib.Variant("(as)", (["writable", "true"],)))
        elif method == "GetContactListUids":
            invocation.return_value(GLib.Variant("(as)", (
                self.contacts if "birth_date" in arguments.unpack()[0] else [],)))
        elif method == "GetObjectList":
            invocation.return_value(GLib.Variant("(as)", (
                [EVENT.format(uid, uid) for uid in self.present()]
                if "(not" not in arguments.unpack()[0] else [],)))
        else:
            [uid, _recurrence] = arguments.unpack()
            if uid.removesuffix("-birthday") in self.present():
                contact = uid.removesuffix("-birthday")
                invocation.return_value(GLib.Variant("(s)", (EVENT.format(contact, contact),)))
            else:
                invocation.return_dbus_error(NOT_FOUND, "Object not found")


def main(options):
    services = Services(**options)
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    for path, interface in [("SourceManager", REGISTRY), ("CalendarFactory", FACTORY),
                            ("Calendar/1", CALENDAR), ("AddressBookFactory", CONTACTS),
                            ("AddressBook/1", ADDRESS_BOOK)]:
        bus.register_object(PATH + path, Gio.DBusNodeInfo.new_for_xml(interface).interfaces[0],
                            services.answer, lambda *_: GLib.Variant("s", "revision"), None)
    for name in ("Sources5", "Calendar8", "AddressBook10"):
        bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                      "RequestName", GLib.Variant("(su)", (FAMILY + name, 0)), None, 0, -1, None)
    print("there", flush=True)
    loop = GLib.MainLoop()
    GLib.io_add_watch(sys.stdin, GLib.PRIORITY_DEFAULT, GLib.IOCondition.HUP, lambda *_: loop.quit())
    loop.run()


main(json.loads(sys.argv[1]))
