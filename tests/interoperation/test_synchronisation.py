"""A calendar travels through a CalDAV server into a second store, carried by vdirsyncer."""

import http.client
import pathlib
import re
import subprocess
import time
import unittest

from programs import PATIENCE, ProgramsTest

CALENDAR = "local/calendar"

CONFIGURATION = """
[general]
status_path = "{place}/status"

{machines}
[storage server]
type = "caldav"
url = "http://127.0.0.1:{port}/someone/"
username = "someone"
password = "secret"
"""

MACHINE = """
[pair {name}_server]
a = "{name}"
b = "server"
collections = ["calendar"]

[storage {name}]
type = "filesystem"
path = "{store}/local"
fileext = ".ics"

"""


class Server:
    """A Radicale server of its own, on a port that nobody else has. It lets everybody in, or only
    those of a file: lines of a name, a colon and a password."""

    def __init__(self, place, users=None):
        self.log = place / "server.log"
        allowed = ["--auth-type", "none"] if users is None else [
            "--auth-type", "htpasswd", "--auth-htpasswd-filename", str(users),
            "--auth-htpasswd-encryption", "plain"]
        with self.log.open("wb") as log:
            self.process = subprocess.Popen(
                ["/usr/bin/python3", "-m", "radicale", "--config", "", "--server-hosts",
                 "127.0.0.1:0", *allowed, "--logging-level", "info",
                 "--storage-filesystem-folder", str(place / "server")],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=place,
                env={"HOME": str(place), "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
        self.port = self.wait_for_port()

    def wait_for_port(self):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline and self.process.poll() is None:
            match = re.search(r"Listening on '\[?127\.0\.0\.1\]?:(\d+)'", self.log.read_text())
            if match:
                return int(match[1])
            time.sleep(0.02)
        self.stop()
        raise AssertionError(f"the server did not start: {self.log.read_text()}")

    def make_calendar(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        connection.request("MKCALENDAR", path, headers={"Authorization": "Basic c29tZW9uZTpz"})
        status = connection.getresponse().status
        connection.close()
        if status != 201:
            raise AssertionError(f"MKCALENDAR {path}: {status}")

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Synchronisation(ProgramsTest):
    def setUp(self):
        super().setUp()
        server = Server(self.place)
        self.addCleanup(server.stop)
        server.make_calendar("/someone/calendar/")
        self.here = {"XDG_DATA_HOME": str(self.place / "here")}
        self.there = {"XDG_DATA_HOME": str(self.place / "there")}
        for machine in (self.here, self.there):
            self.assertEqual([each["id"] for each in
                              self.answer("list-calendars", env=machine)["calendars"]], [CALENDAR])
        self.configuration = self.place / "vdirsyncer.conf"
        self.configuration.write_text(CONFIGURATION.format(
            place=self.place, port=server.port, machines="".join(
                MACHINE.format(name=name, store=self.store_of(machine)) for name, machine in (
                    ("here", self.here), ("there", self.there)))))
        self.vdirsyncer("discover")

    def store_of(self, machine):
        return pathlib.Path(machine["XDG_DATA_HOME"]) / "quenbrook" / "calendars"

    def vdirsyncer(self, *arguments):
        self.run_other("vdirsyncer", "-c", str(self.configuration), *arguments)

    def carry(self):
        """From here to the server and there, and back."""
        for pair in ("here_server", "there_server", "here_server"):
            self.vdirsyncer("sync", pair)

    def listing(self, machine):
        return self.year(env=machine)

    def assert_alike(self):
        self.assertEqual(self.listing(self.here), self.listing(self.there))

    def test_carries_events_updates_and_cancellations(self):
        single = self.create(
            "Zahnärztin 🎉; 1,2\\3", "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z", CALENDAR,
            self.here, location="Høyt oppe", notes="First\nsecond " + "long " * 100,
            alarmMinutes=[15])
        days = self.create("Days", "2026-07-01T22:00:00Z", "2026-07-03T22:00:00Z", CALENDAR,
                           self.here, isAllDay=True)
        series = self.create(
            "Series", "2026-03-16T09:00:00Z", "2026-03-16T10:00:00Z", CALENDAR, self.here,
            recurrenceRule=dict(frequency="weekly", interval=1, count=4))
        self.carry()
        before = self.listing(self.here)
        self.assertEqual(len(before), 6)
        self.assert_alike()

        # There, from where it comes back here; the same identifiers lead to the same events.
        self.update(single, self.there, title="Changed there",
                    startISO="2026-08-05T10:00:00Z", endISO="2026-08-05T11:00:00Z")
        self.update(series, self.there, location="Only the first")
        self.cancel(days, self.there)
        made = self.create("Made there", "2026-01-05T10:00:00Z", "2026-01-05T11:00:00Z", CALENDAR,
                           self.there)
        self.carry()
        self.carry()
        self.assert_alike()
        after = self.listing(self.here)
        self.assertEqual([event["title"] for event in after], [
            "Made there", "Series", "Series", "Series", "Series", "Changed there"])
        self.assertEqual([event["id"] for event in after], [made] + [series] * 4 + [single])
        self.assertEqual(after[-1]["startISO"], "2026-08-05T10:00:00.000Z")
        self.assertEqual((after[-1]["location"], after[-1]["hasAlarms"]), ("Høyt oppe", True))
        self.assertEqual([event.get("location") for event in after[1:5]],
                         ["Only the first", None, None, None])

        # And here, from where it goes there.
        self.cancel(series, self.here)
        self.update(made, self.here, notes="Added here")
        self.cancel(single, self.here)
        self.carry()
        self.assert_alike()
        after = self.listing(self.there)
        self.assertEqual([(event["title"], event.get("notes")) for event in after], [
            ("Made there", "Added here"), ("Series", None), ("Series", None), ("Series", None)])

        for _ in range(3):
            self.cancel(series, self.there)
        self.carry()
        self.assert_alike()
        self.assertEqual(self.titles(self.listing(self.here)), ["Made there"])
        # A file for each event and no other: nothing was doubled on the way.
        for machine in (self.here, self.there):
            self.assertEqual(len(list((self.store_of(machine) / CALENDAR).glob("*.ics"))), 1)

    def test_of_changes_to_different_events_loses_none(self):
        events = [self.create(f"Event {number:02}", f"2026-01-{number + 1:02}T10:00:00Z",
                              f"2026-01-{number + 1:02}T11:00:00Z", CALENDAR, self.here)
                  for number in range(20)]
        self.carry()
        self.assert_alike()
        for number, identifier in enumerate(events):
            machine = (self.here, self.there)[number % 2]
            if number % 5 == 4:
                self.cancel(identifier, machine)
            else:
                self.update(identifier, machine, title=f"Changed {number:02}")
        self.carry()
        self.carry()
        self.assert_alike()
        self.assertEqual([event["title"] for event in self.listing(self.here)],
                         [f"Changed {number:02}" for number in range(20) if number % 5 != 4])


if __name__ == "__main__":
    unittest.main()
