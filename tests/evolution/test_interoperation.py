"""What the program and another client of the same calendars make of each other's events."""

import fcntl
import json
import os
import pathlib
import subprocess
import time
import unittest

from desktop import PATIENCE, DesktopTest, unfolded, values, vevent
from quenbrook import PROGRAM

TIMES = ["DTSTART;TZID=Europe/Berlin:20260105T100000", "DTEND;TZID=Europe/Berlin:20260105T110000"]


class Interoperation(DesktopTest):
    def test_another_client_sees_what_is_created(self):
        calendar = self.new_calendar()
        identifier = self.create(
            calendar, "Dentist; bring, \\forms", location="High Street", notes="Second\nfloor",
            alarmMinutes=[15], recurrenceRule={"frequency": "weekly", "interval": 2, "count": 3})
        uid = identifier.partition(":")[2]
        [event] = self.other.event(calendar, uid)
        self.assertEqual(values(event, "SUMMARY"), [r"Dentist\; bring\, \\forms"])
        self.assertEqual(values(event, "LOCATION"), ["High Street"])
        self.assertEqual(values(event, "DESCRIPTION")[0], r"Second\nfloor")
        self.assertIn("DTSTART;TZID=Europe/Berlin:20260105T100000", unfolded(event))
        self.assertIn("TRIGGER:-PT15M", unfolded(event))
        self.assertIn("FREQ=WEEKLY", event)
        self.assertNotIn("X-LIC-ERROR", event)
        self.assertEqual(len(self.other.events(
            calendar, '(occur-in-time-range? (make-time "20260119T000000Z") '
            '(make-time "20260120T000000Z"))')), 1)

    def test_another_client_sees_what_is_changed_and_cancelled(self):
        calendar = self.new_calendar()
        identifier = self.create(calendar, "Before")
        uid = identifier.partition(":")[2]
        self.update(identifier, title="After", notes="", startISO="2026-01-05T09:30:00Z")
        [event] = self.other.event(calendar, uid)
        self.assertEqual(values(event, "SUMMARY"), ["After"])
        self.assertEqual(values(event, "DTSTART"), ["20260105T103000"])
        self.assertNotIn("X-LIC-ERROR", event)
        self.cancel(identifier)
        self.assertEqual(self.other.event(calendar, uid), [])

    def test_one_occurrence_is_an_exception_for_another_client(self):
        calendar = self.new_calendar()
        self.other.create(calendar, [vevent("s", *TIMES, "SUMMARY:Series", "RRULE:FREQ=DAILY;COUNT=3")])
        self.update(f"{calendar}:s", title="Moved", startISO="2026-01-05T15:00:00Z",
                    endISO="2026-01-05T16:00:00Z")
        self.assertEqual(
            [values(event, "SUMMARY") + values(event, "RECURRENCE-ID")
             for event in self.other.event(calendar, "s")],
            [["Series"], ["Moved", "20260105T100000"]])
        # The exception goes, and the occurrence does not come back.
        self.cancel(f"{calendar}:s")
        [series] = self.other.event(calendar, "s")
        self.assertEqual(values(series, "EXDATE"), ["20260105T100000"])
        self.assertEqual(self.event(f"{calendar}:s")["startISO"], "2026-01-06T09:00:00.000Z")
        # A rule for the series: one component with everything.
        self.update(f"{calendar}:s", title="Second", startISO="2026-01-06T15:00:00Z",
                    endISO="2026-01-06T16:00:00Z")
        self.update(f"{calendar}:s", recurrenceRule={"frequency": "weekly", "interval": 1, "count": 2})
        [series] = self.other.event(calendar, "s")
        self.assertEqual(values(series, "SUMMARY"), ["Second"])
        self.assertEqual(values(series, "RECURRENCE-ID") + values(series, "EXDATE"), [])
        for _ in range(2):
            self.cancel(f"{calendar}:s")
        self.assertEqual(self.other.event(calendar, "s"), [])

    def test_what_the_program_does_not_know_stays(self):
        calendar = self.new_calendar()
        kept = ["X-CUSTOM;X-WORD=yes:kept", "CATEGORIES:One", "CLASS:PRIVATE",
                "ATTENDEE;CN=Zoe;PARTSTAT=ACCEPTED;X-A=b:mailto:zoe@example.com"]
        self.other.create(calendar, [vevent("k", *TIMES, "SUMMARY:Kept", *kept)])
        self.update(f"{calendar}:k", title="Changed")
        [event] = self.other.event(calendar, "k")
        for line in kept:
            self.assertIn(line, unfolded(event))

    def test_the_program_sees_what_another_client_makes_of_its_events(self):
        calendar = self.new_calendar()
        identifier = self.create(calendar, "Ours")
        uid = identifier.partition(":")[2]
        [event] = self.other.event(calendar, uid)
        self.other.modify(calendar, [unfolded(event).replace("SUMMARY:Ours", "SUMMARY:Theirs")])
        self.assertEqual(self.event(identifier)["title"], "Theirs")
        self.other.remove(calendar, uid)
        result = self.run_program("cancel-event", request={"id": identifier})
        self.assertError(result, "EVENT_NOT_FOUND", identifier)

    def test_a_calendar_may_have_its_file_elsewhere(self):
        file = self.session.place / "my calendar.ics"
        file.write_text("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nEND:VCALENDAR\r\n", newline="")
        uri = file.as_uri()
        calendar = self.new_calendar(more=f"\n[Local Backend]\nCustomFile={uri}\nWritable=true\n")
        self.create(calendar, "Elsewhere")
        self.assertEqual(values(file.read_text(), "SUMMARY"), ["Elsewhere"])

    def while_waiting_for_its_turn(self, calendar, word, request, meanwhile):
        """Runs a word that finds the calendar locked when it has looked its event up."""
        lock = self.session.home / "cache" / "quenbrook"
        lock.mkdir(mode=0o700, parents=True, exist_ok=True)
        with (lock / f"{calendar}.lock").open("w") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            with subprocess.Popen([PROGRAM, word], env=self.environment(), stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
                run.stdin.write(self.encoded(request))
                run.stdin.close()
                self.wait_for(lambda: self.has_open(run.pid, f"{calendar}.lock"), "the program")
                meanwhile()
                fcntl.flock(file, fcntl.LOCK_UN)
                out, err = run.stdout.read(), run.stderr.read()
                return run.wait(PATIENCE), out, err

    @staticmethod
    def encoded(request):
        return json.dumps(request).encode()

    @staticmethod
    def has_open(process, name):
        for link in pathlib.Path(f"/proc/{process}/fd").glob("*"):
            try:
                if os.readlink(link).endswith(name):
                    return True
            except OSError:
                continue
        return False

    def test_a_change_of_another_client_while_a_run_waits_is_kept(self):
        calendar = self.new_calendar()
        self.other.create(calendar, [vevent("m", *TIMES, "SUMMARY:Before", "LOCATION:Before")])
        [event] = self.other.event(calendar, "m")
        status, out, err = self.while_waiting_for_its_turn(
            calendar, "update-event", {"id": f"{calendar}:m", "patch": {"title": "Ours"}},
            lambda: self.other.modify(
                calendar, [unfolded(event).replace("LOCATION:Before", "LOCATION:Theirs")]))
        self.assertEqual((status, err), (0, b""), out)
        [event] = self.other.event(calendar, "m")
        self.assertEqual(values(event, "SUMMARY") + values(event, "LOCATION"), ["Ours", "Theirs"])

    def test_an_event_that_goes_while_a_run_waits_is_not_brought_back(self):
        calendar = self.new_calendar()
        self.other.create(calendar, [vevent("g", *TIMES, "SUMMARY:Before")])
        status, out, err = self.while_waiting_for_its_turn(
            calendar, "update-event", {"id": f"{calendar}:g", "patch": {"title": "Ours"}},
            lambda: self.other.remove(calendar, "g"))
        self.assertEqual((status, out), (1, b""))
        self.assertIn(b"EVENT_STORE_SAVE_FAILED", err)
        self.assertEqual(self.other.event(calendar, "g"), [])

    def test_a_run_that_never_gets_its_turn_gives_up(self):
        calendar = self.new_calendar()
        self.other.create(calendar, [vevent("t", *TIMES, "SUMMARY:Before")])
        started = time.monotonic()
        status, _, err = self.while_waiting_for_its_turn(
            calendar, "cancel-event", {"id": f"{calendar}:t"}, lambda: time.sleep(11))
        self.assertEqual(status, 1)
        self.assertIn(b"EVENT_STORE_REMOVE_FAILED", err)
        self.assertGreaterEqual(time.monotonic() - started, 10)
        self.assertEqual(len(self.other.event(calendar, "t")), 1)


if __name__ == "__main__":
    unittest.main()
