"""Calendars, ranges and identifiers in requests that read."""

import datetime
import json

from cases import DAY, HOUR, Case
from session import START, line, utc


class Calendars(Case):
    def test_lists_the_calendar_that_the_suite_may_use(self):
        identifiers = [calendar["id"] for calendar in self.session.calendars()]
        self.assertEqual(identifiers.count(self.session.calendar), 1)

    def test_gives_each_calendar_an_identifier_of_its_own(self):
        identifiers = [calendar["id"] for calendar in self.session.calendars()]
        self.assertEqual(len(set(identifiers)), len(identifiers))

    def test_tells_account_and_its_type_together(self):
        types = set()
        for calendar in self.session.calendars():
            self.assertEqual("source" in calendar, "sourceType" in calendar, calendar)
            types.add(calendar.get("sourceType", "none"))
        self.saw("types of account", ", ".join(sorted(types)))

    def test_lists_the_same_calendars_each_time(self):
        first, second = self.session.calendars(), self.session.calendars()

        def by_identifier(calendar):
            return calendar["id"]

        self.assertEqual(sorted(first, key=by_identifier), sorted(second, key=by_identifier))
        self.saw("order of calendars", "same each time" if first == second else "differs")


class Queries(Case):
    def test_lists_what_get_event_tells(self):
        identifier = self.create(location="Room 4/5", alarmMinutes=[10])
        self.assertEqual(self.listed(), [self.get(identifier)])

    def test_finds_what_shares_time_with_the_range(self):
        self.create()
        second = datetime.timedelta(seconds=1)
        for start, end, found in (
                (START - HOUR, START + second, 1), (START + HOUR - second, START + DAY, 1),
                (START + second, START + 2 * second, 1), (START - DAY, START + DAY, 1),
                (START - DAY, START - second, 0), (START + HOUR + second, START + DAY, 0)):
            with self.subTest(start=start, end=end):
                self.assertEqual(len(self.listed(start, end)), found)

    def test_decides_what_only_touches_the_range(self):
        self.create()
        self.assertSeen("event that ends where the range starts",
                        len(self.listed(START + HOUR, START + DAY)), {"left out": 0, "listed": 1})
        self.assertSeen("event that starts where the range ends",
                        len(self.listed(START - DAY, START)), {"left out": 0, "listed": 1})

    def test_finds_an_event_of_no_length(self):
        self.create(endISO=utc(START))
        self.assertEqual(len(self.listed(START - HOUR, START + HOUR)), 1)
        self.assertSeen("event of no length where the range starts",
                        len(self.listed(START, START + HOUR)), {"left out": 0, "listed": 1})

    def test_finds_nothing_in_a_reversed_range(self):
        self.create()
        result = self.run_program("list-events", request={
            "startISO": utc(START + DAY), "endISO": utc(START - DAY)})
        self.assertSeen(
            "range whose end is before its start", (result.out, result.err, result.status), {
                "nothing found": (b'{"events":[]}\n', b"", 0),
                "error UNKNOWN": (
                    b"", line({"code": "UNKNOWN",
                               "error": "Quenbrook encountered an unexpected error"}), 1)})

    def test_reports_dates_in_utc_whatever_their_offset(self):
        identifier = self.create(startISO="2020-01-06T15:50:00+05:30",
                                 endISO="2020-01-06T01:20:00.000-10:00")
        got = self.get(identifier)
        self.assertEqual((got["startISO"], got["endISO"]),
                         ("2020-01-06T10:20:00.000Z", "2020-01-06T11:20:00.000Z"))

    def test_widens_to_every_calendar_when_no_identifier_is_known(self):
        identifier = self.create()
        expected = None
        for identifiers in (None, [], ["unknown"], ["unknown", self.session.calendar + "x", ""]):
            with self.subTest(calendarIds=identifiers):
                found = sorted(map(json.dumps, self.session.events(
                    START - HOUR, START + 2 * HOUR, calendarIds=identifiers)))
                expected = expected or found
                self.assertEqual(found, expected)
                self.assertIn(identifier, [json.loads(event)["id"] for event in found])

    def test_searches_the_known_calendars_only(self):
        identifier = self.create()
        own = self.session.calendar
        for identifiers in ([own], ["unknown", own], [own, own, own]):
            with self.subTest(calendarIds=identifiers):
                found = self.session.events(
                    START - HOUR, START + 2 * HOUR, calendarIds=identifiers)
                self.assertEqual({event["calendarId"] for event in found}, {own})
                self.assertEqual([event["id"] for event in found].count(identifier), 1)
        for other in self.other_calendars()[:3]:
            with self.subTest(other=other):
                self.assertEqual(self.listed(calendarIds=[other]), [])

    def test_tells_an_unknown_calendar_before_an_unknown_event(self):
        identifier, own = self.create(), self.session.calendar
        cases = [(calendar, event, "CALENDAR_NOT_FOUND", calendar)
                 for calendar in ("unknown", "", own + "x", "x" + own, own + " ", own + "/", "/")
                 for event in (identifier, "unknown")]
        cases += [(own, event, "EVENT_NOT_FOUND", event)
                  for event in ("unknown", "", "x" + identifier, "x" * 100_000)]
        cases += [(calendar, identifier, "EVENT_NOT_FOUND", identifier)
                  for calendar in self.other_calendars()[:3]]
        for calendar, event, code, message in cases:
            with self.subTest(calendar=calendar, event=event[:100]):
                self.assertError(self.run_program(
                    "get-event", request={"calendarId": calendar, "eventId": event}),
                    code, message)

    def test_reports_attendees_with_the_identifier_as_received(self):
        identifier = self.create()
        result = self.run_program("get-attendee-status", request={"id": identifier})
        self.assertEqual((result.out, result.err, result.status),
                         (line({"attendees": [], "id": identifier}), b"", 0))
        self.assertError(self.run_program("get-attendee-status", request={"id": "unknown"}),
                         "EVENT_NOT_FOUND", "unknown")

    def other_calendars(self):
        return [calendar["id"] for calendar in self.session.calendars()
                if calendar["id"] != self.session.calendar]
