"""Calendars of a CalDAV server, through the service."""

import http.client
import socket
import threading
import time
import unittest

from desktop import DesktopTest, OtherClient, caldav_source, kill, unfolded, values
from quenbrook import calendar_text, event

TIMES = ["DTSTART:20260105T090000Z", "DTEND:20260105T100000Z"]


class Silence:
    """A server that takes every connection and never says anything."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.connections = []
        self.thread = threading.Thread(target=self.accept, daemon=True)
        self.thread.start()

    def accept(self):
        while True:
            try:
                self.connections.append(self.listener.accept()[0])
            except OSError:
                return

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()
        for connection in self.connections:
            connection.close()


class CalDav(DesktopTest):
    @classmethod
    def prepare(cls):
        cls.server = cls.session.start_radicale()

    def new_remote(self, name="Remote", events=()):
        """A calendar on the server, which may hold events from the start."""
        type(self).number += 1
        uid = f"remote-{type(self).number}"
        path = f"/someone/{uid}/"
        self.server.make_calendar(path)
        for text in events:
            self.put(path + values(text, "UID")[0] + ".ics", text)
        self.other.add_source(uid, caldav_source(name, self.server.port, path))
        self.other.open(uid)
        return uid, path

    def request(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.server.port, timeout=60)
        connection.request(method, path, body, headers={
            "Authorization": "Basic c29tZW9uZTpz", "Content-Type": "text/calendar"})
        response = connection.getresponse()
        answer = response.status, response.read().decode()
        connection.close()
        return answer

    def put(self, path, text):
        self.assertIn(self.request("PUT", path, text)[0], (201, 204))

    def on_server(self, path, uid):
        """The name and the text of an event's file on the server; None twice when there is none."""
        folder = self.session.place / "server" / "collection-root" / path.strip("/")
        for file in folder.glob("*.ics"):
            text = file.read_text()
            if uid in values(text, "UID"):
                return file.name, text
        return None, None

    def test_lists_reads_and_writes(self):
        calendar, path = self.new_remote(events=[
            calendar_text(event(*TIMES, "SUMMARY:There", uid="there"))])
        [listed] = [each for each in self.answer("list-calendars")["calendars"]
                    if each["id"] == calendar]
        self.assertEqual((listed["sourceType"], listed["writable"]), ("caldav", True))
        self.assertEqual(self.event(f"{calendar}:there")["title"], "There")
        identifier = self.create(calendar, "Created")
        uid = identifier.partition(":")[2]
        name, text = self.on_server(path, uid)
        self.assertEqual(values(text, "SUMMARY"), ["Created"])
        self.assertIn("BEGIN:VTIMEZONE", text)
        self.update(identifier, title="Changed")
        self.assertEqual(values(self.on_server(path, uid)[1], "SUMMARY"), ["Changed"])
        self.cancel(identifier)
        self.assertEqual(self.on_server(path, uid), (None, None))
        self.assertEqual(
            [each["title"] for each in self.events(
                "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z", calendarIds=[calendar])], ["There"])

    def test_changes_one_occurrence(self):
        calendar, path = self.new_remote(events=[calendar_text(
            event(*TIMES, "RRULE:FREQ=DAILY;COUNT=3", "SUMMARY:Series", uid="series"))])
        self.update(f"{calendar}:series", title="Exception")
        self.assertEqual(values(self.on_server(path, "series")[1], "RECURRENCE-ID"),
                         ["20260105T090000Z"])
        self.cancel(f"{calendar}:series")
        text = self.on_server(path, "series")[1]
        self.assertEqual(values(text, "EXDATE"), ["20260105T090000Z"])
        self.assertEqual(values(text, "RECURRENCE-ID"), [])
        self.assertEqual(self.event(f"{calendar}:series")["startISO"], "2026-01-06T09:00:00.000Z")
        self.update(f"{calendar}:series", title="Second")
        self.update(f"{calendar}:series", title="Rewritten",
                    recurrenceRule={"frequency": "weekly", "interval": 1, "count": 2})
        text = self.on_server(path, "series")[1]
        self.assertEqual(values(text, "SUMMARY"), ["Rewritten"])
        self.assertEqual(values(text, "EXRULE") + values(text, "EXDATE"), [])
        for day in ("06", "13"):
            self.assertEqual(self.event(f"{calendar}:series")["startISO"],
                             f"2026-01-{day}T09:00:00.000Z")
            self.cancel(f"{calendar}:series")
        self.assertEqual(self.on_server(path, "series"), (None, None))

    def test_keeps_an_own_zone(self):
        zone = ["BEGIN:VTIMEZONE", "TZID:Own Zone", "BEGIN:STANDARD", "DTSTART:19700101T000000",
                "TZOFFSETFROM:+0130", "TZOFFSETTO:+0130", "END:STANDARD", "END:VTIMEZONE"]
        calendar, path = self.new_remote(events=[calendar_text(zone, event(
            "DTSTART;TZID=Own Zone:20260105T100000", "DTEND;TZID=Own Zone:20260105T110000",
            "SUMMARY:Zoned", uid="zoned"))])
        identifier = f"{calendar}:zoned"
        self.assertEqual(self.event(identifier)["startISO"], "2026-01-05T08:30:00.000Z")
        self.update(identifier, title="Still zoned", startISO="2026-01-05T08:00:00Z")
        text = self.on_server(path, "zoned")[1]
        self.assertIn("DTSTART;TZID=Own Zone:20260105T093000", unfolded(text))
        self.assertIn("TZID:Own Zone", text)

    def test_a_change_on_the_server_that_the_service_has_not_seen_is_kept(self):
        calendar, path = self.new_remote(events=[calendar_text(
            event(*TIMES, "SUMMARY:Before", "LOCATION:Before", uid="both"))])
        self.assertEqual(self.event(f"{calendar}:both")["title"], "Before")
        name, text = self.on_server(path, "both")
        self.put(path + name, text.replace("LOCATION:Before", "LOCATION:Theirs"))
        self.update(f"{calendar}:both", title="Ours")
        text = self.on_server(path, "both")[1]
        self.assertEqual(values(text, "SUMMARY") + values(text, "LOCATION"), ["Ours", "Theirs"])

    def test_an_event_that_was_removed_on_the_server_does_not_come_back(self):
        calendar, path = self.new_remote(events=[calendar_text(
            event(*TIMES, "SUMMARY:Before", uid="gone"))])
        self.assertEqual(self.event(f"{calendar}:gone")["title"], "Before")
        self.assertEqual(self.request("DELETE", path + self.on_server(path, "gone")[0])[0], 200)
        result = self.run_program("update-event", request={
            "id": f"{calendar}:gone", "patch": {"title": "After"}})
        self.assertEqual(result.status, 1, result)
        self.assertEqual(self.on_server(path, "gone"), (None, None))


class AwayServers(DesktopTest):
    @classmethod
    def prepare(cls):
        cls.silence = Silence()
        cls.addClassCleanup(cls.silence.close)
        cls.session.write_source("silent", caldav_source("Silent", cls.silence.port, "/x/"))

    def test_a_server_that_never_answers_costs_a_run_a_second_and_a_half(self):
        calendar = self.new_calendar()
        identifier = self.create(calendar, "Here")
        january = ("2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z")
        for what, ask, answer in [
                ("list-calendars",
                 lambda: {each["id"]: each["writable"]
                          for each in self.answer("list-calendars")["calendars"]
                          if each["id"] in ("silent", calendar)},
                 {"silent": False, calendar: True}),
                ("list-events", lambda: [each["id"] for each in self.events(*january)],
                 [identifier])]:
            with self.subTest(what):
                started = time.monotonic()
                self.assertEqual(ask(), answer)
                elapsed = time.monotonic() - started
                self.assertGreater(elapsed, 1)
                # However slow the machine is, this is not one wait after the other.
                self.assertLess(elapsed, 20)

    def test_events_that_are_asked_for_by_its_name_are_not_said_to_be_missing(self):
        calendar = self.new_calendar()
        for named in (["silent"], ["silent", calendar]):
            result = self.run_program("list-events", request={
                "startISO": "2026-01-01T00:00:00Z", "endISO": "2026-02-01T00:00:00Z",
                "calendarIds": named})
            self.assertEqual((result.out, result.status), (b"", 1))
            self.assertIn(b'"UNKNOWN"', result.err)

    def test_what_lies_elsewhere_does_not_wait_for_it(self):
        calendar = self.new_calendar()
        identifier = self.create(calendar, "Here")
        self.assertEqual(self.event(identifier)["title"], "Here")
        self.cancel(identifier)

    def test_an_event_of_it_is_not_said_to_be_missing(self):
        result = self.run_program("get-attendee-status", request={"id": "silent:any"})
        self.assertEqual(result.status, 1)
        self.assertIn(b'"UNKNOWN"', result.err)

    def test_nothing_can_be_written_there(self):
        result = self.run_program("create-event", request={
            "calendarId": "silent", "title": "x", "startISO": "2026-01-05T09:00:00Z",
            "endISO": "2026-01-05T10:00:00Z"})
        self.assertIn(b"READ_ONLY_CALENDAR", result.err)


class StoppedServer(DesktopTest):
    @classmethod
    def prepare(cls):
        cls.server = cls.session.start_radicale()
        cls.server.make_calendar("/someone/stopped/")
        cls.session.write_source(
            "stopped", caldav_source("Stopped", cls.server.port, "/someone/stopped/"))

    def test_what_was_fetched_is_read_and_what_is_changed_counts_as_saved(self):
        self.other.open("stopped")
        first = self.create("stopped", "Before")
        self.server.stop()
        self.session.server = None
        self.assertEqual(self.event(first)["title"], "Before")
        # As long as the service believes that the server is there, nothing is queued.
        result = self.run_program("cancel-event", request={"id": first})
        self.assertIn(b"EVENT_STORE_REMOVE_FAILED", result.err)
        self.assertEqual(self.event(first)["title"], "Before")
        # It finds out when it opens the calendar.
        kill(self.session.factory())
        second = self.create("stopped", "Meanwhile")
        self.update(first, title="Changed")
        self.assertEqual(
            sorted(each["title"] for each in self.events(
                "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z")), ["Changed", "Meanwhile"])
        self.assertEqual(self.event(second)["title"], "Meanwhile")


class MissingPassword(DesktopTest):
    @classmethod
    def prepare(cls):
        users = cls.session.place / "users"
        users.write_text("someone:s\n")
        cls.server = cls.session.start_radicale(users)
        cls.server.make_calendar("/someone/locked/")
        cls.session.write_source("locked", caldav_source(
            "Locked", cls.server.port, "/someone/locked/", method="plain/password"))

    def expect_connection(self, expected):
        self.wait_for(lambda: self.other.connection("locked") == expected, expected)

    def files(self):
        folder = self.session.place / "server" / "collection-root" / "someone" / "locked"
        return [file.read_text() for file in folder.glob("*.ics")]

    def expect_error(self, code, word, request):
        result = self.run_program(word, request=request)
        self.assertEqual((result.status, result.out), (1, b""))
        self.assertIn(f'"{code}"'.encode(), result.err)

    def test_a_change_that_would_not_reach_the_server_is_refused(self):
        new = {"calendarId": "locked", "title": "Never", "startISO": "2026-01-05T09:00:00Z",
               "endISO": "2026-01-05T10:00:00Z"}
        self.other.open("locked")
        self.expect_connection("awaiting-credentials")
        self.expect_error("EVENT_STORE_SAVE_FAILED", "create-event", new)
        self.assertEqual(self.other.events("locked"), [])
        self.other.authenticate("locked", "s")
        self.expect_connection("connected")
        identifier = self.create("locked", "There")
        self.assertEqual([values(text, "SUMMARY") for text in self.files()], [["There"]])
        # Nothing knows the password any more.
        for service in ("evolution-source-registry", "evolution-calendar-factory"):
            for process in self.session.processes(service):
                kill(process)
        self.other.close()
        type(self).other = OtherClient(self.session)
        self.other.open("locked")
        self.expect_connection("awaiting-credentials")
        self.assertEqual(self.event(identifier)["title"], "There")
        self.expect_error("EVENT_STORE_SAVE_FAILED", "update-event",
                          {"id": identifier, "patch": {"title": "Never"}})
        self.expect_error("EVENT_STORE_REMOVE_FAILED", "cancel-event", {"id": identifier})
        self.assertEqual(self.event(identifier)["title"], "There")
        self.other.authenticate("locked", "s")
        self.expect_connection("connected")
        self.update(identifier, title="Changed")
        self.assertEqual([values(text, "SUMMARY") for text in self.files()], [["Changed"]])


if __name__ == "__main__":
    unittest.main()
