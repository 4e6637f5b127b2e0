"""Ranges, calendars and identifiers in requests that read."""

import unittest

from quenbrook import QuenbrookTest, event


class Queries(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.put("work", "a.ics", [event("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z",
                                         "SUMMARY:Work", uid="w")])
        self.put("acc/home", "b.ics", [event("DTSTART:20260105T120000Z", "SUMMARY:Home", uid="h")])
        self.calendar("empty")

    def test_searches_the_known_calendars_only(self):
        cases = [(["work"], ["Work"]), (["acc/home"], ["Home"]), (["empty"], []),
                 (["unknown", "work"], ["Work"]), (["empty", "unknown"], []),
                 (["work", "work", "work"], ["Work"]), (["acc/home", "work"], ["Work", "Home"]),
                 (["acc"], ["Work", "Home"]), (["../calendars/work"], ["Work", "Home"])]
        for identifiers, titles in cases:
            with self.subTest(calendarIds=identifiers):
                self.assertEqual(self.titles(self.year(calendarIds=identifiers)), titles)

    def test_tells_an_unknown_calendar_before_an_unknown_event(self):
        cases = [
            ("unknown", "work:w", "CALENDAR_NOT_FOUND", "unknown"),
            ("unknown", "unknown", "CALENDAR_NOT_FOUND", "unknown"),
            ("", "", "CALENDAR_NOT_FOUND", ""),
            ("acc", "acc/home:h", "CALENDAR_NOT_FOUND", "acc"),
            ("../calendars/work", "work:w", "CALENDAR_NOT_FOUND", "../calendars/work"),
            ("WORK", "work:w", "CALENDAR_NOT_FOUND", "WORK"),
            ("work", "unknown", "EVENT_NOT_FOUND", "unknown"),
            ("work", "", "EVENT_NOT_FOUND", ""),
            ("work", "w", "EVENT_NOT_FOUND", "w"),
            ("work", "work:W", "EVENT_NOT_FOUND", "work:W"),
            ("work", "work:", "EVENT_NOT_FOUND", "work:"),
            ("work", "work:w ", "EVENT_NOT_FOUND", "work:w "),
            ("work", "work:w\0", "EVENT_NOT_FOUND", "work:w\\u0000"),
            ("work", "acc/home:h", "EVENT_NOT_FOUND", "acc/home:h"),
            ("empty", "work:w", "EVENT_NOT_FOUND", "work:w"),
        ]
        for calendar, identifier, code, message in cases:
            with self.subTest(calendar=calendar, event=identifier):
                result = self.run_program(
                    "get-event", request={"calendarId": calendar, "eventId": identifier})
                expected = ('{"code":"%s","error":"%s"}\n' % (
                    code, message.replace("/", "\\/"))).encode()
                self.assertEqual((result.out, result.err, result.status), (b"", expected, 1))


if __name__ == "__main__":
    unittest.main()
