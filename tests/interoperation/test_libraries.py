"""iCalendar libraries that were written elsewhere parse every kind of file that this program
writes, and find the same in it."""

import datetime
import unittest

import icalendar

from programs import ProgramsTest, calendar_text, event

UTC = datetime.timezone.utc
TEXTS = ["Plain", "Zahnärztin; Müller, 2 ☎", "会議 🎉 👨‍👩‍👧", "x" * 74 + "é" * 300, "BEGIN:VEVENT",
         "line\nEND:VEVENT\nEND:VCALENDAR", "\ttab and \"quotes\"", " blank "]

THEIRS = event(
    "DTSTART;TZID=Europe/Berlin:20260302T100000", "DTEND;TZID=Europe/Berlin:20260302T110000",
    "RRULE:FREQ=WEEKLY;COUNT=6", "SUMMARY;LANGUAGE=de:Theirs", "ORGANIZER:mailto:o@example.com",
    "ATTENDEE;CN=\"A, B\";PARTSTAT=ACCEPTED:mailto:a@example.com", "CLASS:PRIVATE",
    "X-OTHER;X-P=\"q;r\":kept", ["BEGIN:VALARM", "ACTION:AUDIO", "TRIGGER:-PT10M", "END:VALARM"],
    uid="theirs")


class Libraries(ProgramsTest):
    def setUp(self):
        super().setUp()
        self.work = self.calendar("work")

    def path_of(self, identifier):
        return self.work / (identifier.removeprefix("work:") + ".ics")

    def parsed(self, path):
        """The events of a file, by python-icalendar; libical has nothing against it either."""
        self.check_with_libical(path)
        calendar = icalendar.Calendar.from_ical(path.read_bytes())
        for component in calendar.walk():
            self.assertEqual(component.errors, [])
        return calendar.walk("VEVENT")

    def assert_form(self, path):
        """CRLF, no line longer than 75 octets, no character cut in two."""
        content = path.read_bytes()
        self.assertTrue(content.endswith(b"\r\n"))
        for physical in content.removesuffix(b"\r\n").split(b"\r\n"):
            self.assertLessEqual(len(physical), 75)
            physical.decode()
            self.assertNotRegex(physical.decode(), r"[\x00-\x08\x0a-\x1f\x7f]")

    def test_texts(self):
        for text in TEXTS:
            with self.subTest(text=text):
                path = self.path_of(self.create(
                    text, "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z", location=text,
                    notes=text))
                self.assert_form(path)
                found, = self.parsed(path)
                self.assertEqual([str(found[name]) for name in (
                    "SUMMARY", "LOCATION", "DESCRIPTION")], [text] * 3)

    def test_dates(self):
        path = self.path_of(self.create("Timed", "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z"))
        found, = self.parsed(path)
        self.assertEqual(found.decoded("DTSTART").astimezone(UTC),
                         datetime.datetime(2026, 7, 5, 10, tzinfo=UTC))
        self.assertEqual(found.decoded("DTEND").astimezone(UTC),
                         datetime.datetime(2026, 7, 5, 11, tzinfo=UTC))
        self.assertEqual(found["DTSTART"].params["TZID"], "Europe/Berlin")
        path = self.path_of(self.create(
            "Days", "2026-07-04T22:00:00Z", "2026-07-06T22:00:00Z", isAllDay=True))
        found, = self.parsed(path)
        self.assertEqual((found.decoded("DTSTART"), found.decoded("DTEND")),
                         (datetime.date(2026, 7, 5), datetime.date(2026, 7, 7)))
        path = self.path_of(self.create("Instant", "2026-07-05T10:00:00Z", "2026-07-05T10:00:00Z"))
        found, = self.parsed(path)
        self.assertNotIn("DTEND", found)

    def test_alarms(self):
        path = self.path_of(self.create(
            "Alarms", "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z",
            alarmMinutes=[15, 0, -5, 1440, 10081, 35791394]))
        found, = self.parsed(path)
        self.assertEqual([alarm.decoded("TRIGGER") for alarm in found.walk("VALARM")], [
            -datetime.timedelta(minutes=minutes) for minutes in (
                15, 0, -5, 1440, 10081, 35791394)])

    def test_rules(self):
        for rule, part in (
                (dict(frequency="daily", interval=366, count=1000),
                 {"FREQ": ["DAILY"], "INTERVAL": [366], "COUNT": [1000]}),
                (dict(frequency="WEEKLY", interval=1), {"FREQ": ["WEEKLY"]}),
                (dict(frequency="monthly", interval=2, untilISO="2027-01-01T09:00:00Z"),
                 {"FREQ": ["MONTHLY"], "INTERVAL": [2],
                  "UNTIL": [datetime.datetime(2027, 1, 1, 9, tzinfo=UTC)]})):
            with self.subTest(rule=rule):
                path = self.path_of(self.create(
                    "Rule", "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z", recurrenceRule=rule))
                found, = self.parsed(path)
                self.assertEqual(dict(found.decoded("RRULE")), part)
        path = self.path_of(self.create(
            "Days", "2026-07-04T22:00:00Z", "2026-07-05T22:00:00Z", isAllDay=True,
            recurrenceRule=dict(frequency="yearly", interval=1, untilISO="2030-07-05T12:00:00Z")))
        found, = self.parsed(path)
        self.assertEqual(found.decoded("RRULE")["UNTIL"], [datetime.date(2030, 7, 5)])

    def test_updates_and_cancellations(self):
        identifier = self.create("Series", "2026-03-16T09:00:00Z", "2026-03-16T10:00:00Z",
                                 recurrenceRule=dict(frequency="weekly", interval=1, count=5))
        path = self.path_of(identifier)
        self.update(identifier, title="Moved", startISO="2026-03-17T09:00:00Z",
                    endISO="2026-03-17T10:00:00Z", alarmMinutes=[5])
        master, exception = self.parsed(path)
        self.assertEqual(exception.decoded("RECURRENCE-ID").astimezone(UTC),
                         datetime.datetime(2026, 3, 16, 9, tzinfo=UTC))
        self.assertEqual((str(master["SUMMARY"]), str(exception["SUMMARY"])), ("Series", "Moved"))
        self.assertNotIn("RRULE", exception)
        self.cancel(identifier)
        master, = self.parsed(path)
        self.assertEqual([each.dt.astimezone(UTC) for each in master["EXDATE"].dts],
                         [datetime.datetime(2026, 3, 16, 9, tzinfo=UTC)])
        self.cancel(identifier)
        self.update(identifier, recurrenceRule=dict(frequency="monthly", interval=1))
        self.assert_form(path)
        master, = self.parsed(path)
        self.assertEqual(master.decoded("DTSTART").astimezone(UTC),
                         datetime.datetime(2026, 3, 30, 8, tzinfo=UTC))
        self.update(identifier, isAllDay=True, clearRecurrenceRules=True)
        master, = self.parsed(path)
        self.assertEqual(master.decoded("DTSTART"), datetime.date(2026, 3, 30))

    def test_files_of_others_after_a_change(self):
        path = self.put("work", "theirs.ics", calendar_text(
            ["BEGIN:VTIMEZONE", "TZID:Europe/Berlin", "BEGIN:STANDARD", "DTSTART:19701025T030000",
             "TZOFFSETFROM:+0200", "TZOFFSETTO:+0100", "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU",
             "END:STANDARD", "BEGIN:DAYLIGHT", "DTSTART:19700329T020000", "TZOFFSETFROM:+0100",
             "TZOFFSETTO:+0200", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU", "END:DAYLIGHT",
             "END:VTIMEZONE"], THEIRS, event("DTSTART:20260101T100000Z", uid="other")))
        self.update("work:theirs", title="Ours", notes="x" * 200)
        self.cancel("work:other")
        master, exception = self.parsed(path)
        for name in ("ORGANIZER", "ATTENDEE", "CLASS", "X-OTHER"):
            self.assertEqual(exception[name], master[name])
        self.assertEqual(exception["SUMMARY"].params["LANGUAGE"], "de")
        self.assertEqual(exception["ATTENDEE"].params["CN"], "A, B")
        self.assertEqual([str(each["ACTION"]) for each in exception.walk("VALARM")], ["AUDIO"])
        self.assertEqual(self.titles(self.year()), ["Ours"] + ["Theirs"] * 5)


if __name__ == "__main__":
    unittest.main()
