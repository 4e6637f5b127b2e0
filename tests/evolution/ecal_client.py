"""Another client of the session's calendars, over libecal: reads a JSON command from each line of
standard input and answers each with a JSON line. It holds what it has opened, as a desktop does.
"""

import json
import sys
import time

import gi

gi.require_version("ECal", "2.0")
gi.require_version("EDataServer", "1.2")

from gi.repository import ECal, EDataServer, Gio, GLib, ICalGLib

MODIFICATIONS = {"this": ECal.ObjModType.THIS, "all": ECal.ObjModType.ALL,
                 "only-this": ECal.ObjModType.ONLY_THIS}
NOT_WAITING = 0xFFFFFFFF
NOT_FOUND = ("e-cal-client-error-quark", 1)
FAMILY = "org.gnome.evolution.dataserver."
PATIENCE = 10


class Client:
    def __init__(self):
        self.registry = EDataServer.SourceRegistry.new_sync(None)
        self.clients = {}

    def add_source(self, uid, text):
        bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        bus.call_sync(FAMILY + "Sources5", "/org/gnome/evolution/dataserver/SourceManager",
                      FAMILY + "SourceManager", "CreateSources",
                      GLib.Variant("(a{ss})", ({uid: text},)), None, 0, -1, None)

    def add_contact(self, text):
        bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)

        def call(name, path, interface, method, arguments):
            return bus.call_sync(name, path, FAMILY + interface, method, arguments, None, 0, -1,
                                 None).unpack()

        path, name = call(FAMILY + "AddressBook10", "/org/gnome/evolution/dataserver/AddressBookFactory",
                          "AddressBookFactory", "OpenAddressBook",
                          GLib.Variant("(s)", ("system-address-book",)))
        call(name, path, "AddressBook", "Open", None)
        call(name, path, "AddressBook", "CreateContacts", GLib.Variant("(asu)", ([text], 0)))

    def open(self, calendar):
        if calendar not in self.clients:
            deadline = time.monotonic() + PATIENCE
            # The registry tells its clients and the factory in its own time.
            while True:
                GLib.MainContext.default().iteration(False)
                try:
                    source = self.registry.ref_source(calendar)
                    self.clients[calendar] = ECal.Client.connect_sync(
                        source, ECal.ClientSourceType.EVENTS, NOT_WAITING, None)
                    break
                except (GLib.Error, TypeError):
                    if time.monotonic() > deadline:
                        raise
                    time.sleep(0.005)
        return self.clients[calendar]

    def authenticate(self, calendar, password):
        """As if somebody had typed it."""
        credentials = EDataServer.NamedParameters.new()
        credentials.set(EDataServer.SOURCE_CREDENTIAL_PASSWORD, password)
        self.registry.ref_source(calendar).invoke_authenticate_sync(credentials, None)

    def connection(self, calendar):
        while GLib.MainContext.default().iteration(False):
            pass
        return self.registry.ref_source(calendar).get_connection_status().value_nick

    def create(self, calendar, events):
        components = [ICalGLib.Component.new_from_string(text) for text in events]
        uids = self.open(calendar).create_objects_sync(components, ECal.OperationFlags.NONE, None)
        return list(uids[1])

    def modify(self, calendar, events, modification="this"):
        components = [ICalGLib.Component.new_from_string(text) for text in events]
        self.open(calendar).modify_objects_sync(
            components, MODIFICATIONS[modification], ECal.OperationFlags.NONE, None)

    def remove(self, calendar, uid, recurrence_id=None, modification="all"):
        self.open(calendar).remove_object_sync(
            uid, recurrence_id, MODIFICATIONS[modification], ECal.OperationFlags.NONE, None)

    def events(self, calendar, query="#t"):
        return [component.as_ical_string()
                for component in self.open(calendar).get_object_list_sync(query, None)[1]]

    def event(self, calendar, uid):
        """What the calendar has of one UID; empty when it has nothing."""
        try:
            found = self.open(calendar).get_objects_for_uid_sync(uid, None)[1]
        except GLib.Error as error:
            if (error.domain, error.code) == NOT_FOUND:
                return []
            raise
        return [component.get_as_string() for component in found]

    def add_zone(self, calendar, text):
        zone = ICalGLib.Timezone.new()
        zone.set_component(ICalGLib.Component.new_from_string(text))
        self.open(calendar).add_timezone_sync(zone, None)

    def factory_is_there(self):
        """For all that the bus knows."""
        answer = Gio.bus_get_sync(Gio.BusType.SESSION, None).call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameHasOwner", GLib.Variant("(s)", (FAMILY + "Calendar8",)), None, 0, -1, None)
        return answer.unpack()[0]


def main():
    client = Client()
    for line in sys.stdin:
        command = json.loads(line)
        method = getattr(client, command.pop("do"))
        try:
            answer = {"answer": method(**command) if method != client.open else
                      bool(method(**command))}
        except GLib.Error as error:
            answer = {"error": error.message}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
