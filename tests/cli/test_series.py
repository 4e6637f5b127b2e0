"""Series as a caller sees them: rules, extra dates, exceptions, changes of the clocks."""

import unittest

from quenbrook import QuenbrookTest, event

NEW_YORK = "DTSTART;TZID=America/New_York:"


class Series(QuenbrookTest):
    def series(self, *content, exceptions=()):
        self.put("work", "event.ics", [event(*content), *exceptions])

    def occurrences(self, start="2026-01-01T00:00:00Z", end="2027-01-01T00:00:00Z"):
        return self.starts(self.events(start, end))

    def test_expands_rules(self):
        day = "2026-{}T10:00Z"
        cases = [
            ("FREQ=DAILY;COUNT=3", ["01-05", "01-06", "01-07"]),
            ("FREQ=DAILY;INTERVAL=10;UNTIL=20260125T100000Z", ["01-05", "01-15", "01-25"]),
            ("FREQ=DAILY;INTERVAL=10;UNTIL=20260125T095959Z", ["01-05", "01-15"]),
            ("FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,FR;COUNT=4", ["01-05", "01-09", "01-19", "01-23"]),
            ("FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,SU;WKST=MO;COUNT=4",
             ["01-05", "01-11", "01-19", "01-25"]),
            ("FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,SU;WKST=SU;COUNT=4",
             ["01-05", "01-18", "01-19", "02-01"]),
            ("FREQ=MONTHLY;COUNT=3", ["01-05", "02-05", "03-05"]),
            ("FREQ=MONTHLY;BYDAY=1MO;COUNT=3", ["01-05", "02-02", "03-02"]),
            ("FREQ=MONTHLY;BYMONTHDAY=5,-1;COUNT=4", ["01-05", "01-31", "02-05", "02-28"]),
            ("FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=3;COUNT=2", ["01-05", "02-04"]),
            ("FREQ=YEARLY;BYMONTH=1,6;COUNT=2", ["01-05", "06-05"]),
            ("FREQ=YEARLY;BYYEARDAY=5,100;COUNT=2", ["01-05", "04-10"]),
        ]
        for rule, dates in cases:
            with self.subTest(rule=rule):
                self.series("DTSTART:20260105T100000Z", f"RRULE:{rule}")
                self.assertEqual(self.occurrences(), [day.format(date) for date in dates])

    def test_gives_the_occurrences_of_a_series_one_identifier(self):
        self.series("DTSTART:20260105T100000Z", "DTEND:20260105T113000Z", "SUMMARY:Daily",
                    "RRULE:FREQ=DAILY;COUNT=3")
        found = self.year()
        self.assertEqual([e["id"] for e in found], ["work:event"] * 3)
        self.assertEqual([e["endISO"][11:16] for e in found], ["11:30"] * 3)
        self.assertEqual(self.titles(found), ["Daily"] * 3)

    def test_skips_days_that_a_month_lacks(self):
        self.series("DTSTART:20260131T100000Z", "RRULE:FREQ=MONTHLY;COUNT=3")
        self.assertEqual(self.occurrences(),
                         ["2026-01-31T10:00Z", "2026-03-31T10:00Z", "2026-05-31T10:00Z"])

    def test_keeps_wall_clock_time_over_the_change_of_the_clocks(self):
        self.series(NEW_YORK + "20260306T090000", "RRULE:FREQ=DAILY;COUNT=4")
        self.assertEqual(self.occurrences(), ["2026-03-06T14:00Z", "2026-03-07T14:00Z",
                                              "2026-03-08T13:00Z", "2026-03-09T13:00Z"])

    def test_keeps_the_length_of_an_occurrence_by_the_clock(self):
        # RFC 5545, 3.3.6: a duration of hours is exact, so with DTEND the length is the exact one
        # of the first occurrence.
        self.series(NEW_YORK + "20261030T220000", "DTEND;TZID=America/New_York:20261031T060000",
                    "RRULE:FREQ=DAILY;COUNT=2")
        ends = [e["endISO"] for e in self.year()]
        self.assertEqual(ends[0], "2026-10-31T10:00:00.000Z")

    def test_adds_and_leaves_out_dates(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=WEEKLY;COUNT=3",
                    "RDATE:20260107T120000Z,20260109T130000Z", "RDATE:20260112T100000Z",
                    "EXDATE:20260119T100000Z", "EXDATE:20260109T130000Z,20300101T000000Z")
        self.assertEqual(self.occurrences(),
                         ["2026-01-05T10:00Z", "2026-01-07T12:00Z", "2026-01-12T10:00Z"])

    def test_adds_dates_without_a_rule(self):
        self.series("DTSTART:20260105T100000Z", "RDATE:20260207T100000Z")
        self.assertEqual(self.occurrences(), ["2026-01-05T10:00Z", "2026-02-07T10:00Z"])

    def test_leaves_out_a_date_given_in_another_zone_or_as_a_day(self):
        self.series(NEW_YORK + "20260105T090000", "RRULE:FREQ=DAILY;COUNT=4",
                    "EXDATE:20260106T140000Z", "EXDATE;TZID=America/New_York:20260107T090000")
        self.assertEqual(self.occurrences(), ["2026-01-05T14:00Z", "2026-01-08T14:00Z"])

    def test_takes_the_written_date_where_whole_days_are_left_out_or_moved(self):
        for zone in ("UTC", "America/Los_Angeles", "Pacific/Auckland"):
            with self.subTest(zone=zone):
                self.series("DTSTART;VALUE=DATE:20260105", "RRULE:FREQ=DAILY;COUNT=4",
                            "SUMMARY:Day", "EXDATE:20260106T000000Z", exceptions=[event(
                                "RECURRENCE-ID;TZID=Europe/Berlin:20260107T000000",
                                "DTSTART;VALUE=DATE:20260120", "SUMMARY:Moved")])
                found = self.events("2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z",
                                    env={"TZ": zone})
                self.assertEqual(self.titles(found), ["Day", "Day", "Moved"])

    def test_leaves_out_what_a_rule_excludes(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=DAILY;COUNT=5",
                    "EXRULE:FREQ=WEEKLY;BYDAY=TU,WE")
        self.assertEqual(self.occurrences(), [
            "2026-01-05T10:00Z", "2026-01-08T10:00Z", "2026-01-09T10:00Z"])

    def test_lists_the_latest_of_several_revisions(self):
        self.put("work", "event.ics", [
            event("DTSTART:20260105T100000Z", "SUMMARY:Old"),
            event("DTSTART:20260105T100000Z", "SUMMARY:New", "SEQUENCE:1"),
            event("DTSTART:20260107T100000Z", "SUMMARY:Other")])
        self.assertEqual(self.titles(self.year()), ["New", "Other"])

    def test_joins_several_rules(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=WEEKLY;COUNT=2",
                    "RRULE:FREQ=MONTHLY;BYMONTHDAY=5,12;COUNT=3")
        self.assertEqual(self.occurrences(),
                         ["2026-01-05T10:00Z", "2026-01-12T10:00Z", "2026-02-05T10:00Z"])

    def test_puts_an_exception_in_the_place_of_its_occurrence(self):
        self.series("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SUMMARY:Weekly",
                    "RRULE:FREQ=WEEKLY;COUNT=3", exceptions=[event(
                        "RECURRENCE-ID:20260112T100000Z", "DTSTART:20260113T150000Z",
                        "DTEND:20260113T170000Z", "SUMMARY:Moved")])
        found = self.year()
        self.assertEqual(self.starts(found),
                         ["2026-01-05T10:00Z", "2026-01-13T15:00Z", "2026-01-19T10:00Z"])
        self.assertEqual(self.titles(found), ["Weekly", "Moved", "Weekly"])
        self.assertEqual([e["id"] for e in found], ["work:event"] * 3)

    def test_moves_the_later_ones_with_an_exception_that_speaks_of_them(self):
        self.series("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SUMMARY:Weekly",
                    "RRULE:FREQ=WEEKLY;COUNT=4", exceptions=[event(
                        "RECURRENCE-ID;RANGE=THISANDFUTURE:20260112T100000Z",
                        "DTSTART:20260113T150000Z", "DTEND:20260113T170000Z", "SUMMARY:Moved")])
        starts = ["2026-01-05T10:00Z", "2026-01-13T15:00Z", "2026-01-20T15:00Z",
                  "2026-01-27T15:00Z"]
        self.assertEqual(self.starts(self.year()), starts)
        self.assertEqual(self.titles(self.year()), ["Weekly", "Moved", "Moved", "Moved"])
        self.answer("cancel-event", {"id": "work:event"})
        self.answer("cancel-event", {"id": "work:event"})
        self.assertEqual(self.starts(self.year()), starts[2:])

    def test_finds_a_moved_occurrence_where_it_is_and_not_where_it_was(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=WEEKLY;COUNT=3", exceptions=[event(
            "RECURRENCE-ID:20260112T100000Z", "DTSTART:20260801T100000Z")])
        self.assertEqual(self.occurrences("2026-01-12T00:00:00Z", "2026-01-13T00:00:00Z"), [])
        self.assertEqual(self.occurrences("2026-08-01T00:00:00Z", "2026-08-02T00:00:00Z"),
                         ["2026-08-01T10:00Z"])

    def test_reads_an_exception_that_stands_before_its_series_or_in_another_zone(self):
        self.put("work", "event.ics", [
            event("RECURRENCE-ID:20260106T140000Z", NEW_YORK + "20260106T120000", "SUMMARY:Moved"),
            event(NEW_YORK + "20260105T090000", "RRULE:FREQ=DAILY;COUNT=2", "SUMMARY:Daily")])
        found = self.year()
        self.assertEqual(self.titles(found), ["Daily", "Moved"])
        self.assertEqual(self.starts(found), ["2026-01-05T14:00Z", "2026-01-06T17:00Z"])

    def test_reports_an_exception_whose_series_is_missing(self):
        # An invitation to one occurrence only.
        self.put("work", "event.ics", [
            event("RECURRENCE-ID:20260112T100000Z", "DTSTART:20260113T150000Z", "SUMMARY:Alone")])
        self.assertEqual(self.titles(self.year()), ["Alone"])

    def test_leads_to_the_first_occurrence_that_stands(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=WEEKLY;COUNT=4",
                    "EXDATE:20260105T100000Z,20260112T100000Z",
                    exceptions=[event("RECURRENCE-ID:20260119T100000Z",
                                      "DTSTART:20260130T100000Z", "SUMMARY:Moved")])
        got = self.answer("get-event", {"calendarId": "work", "eventId": "work:event"})["event"]
        self.assertEqual((got["title"], got["startISO"]), ("Moved", "2026-01-30T10:00:00.000Z"))

    def test_does_not_find_a_series_of_which_nothing_stands(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=WEEKLY;COUNT=1",
                    "EXDATE:20260105T100000Z")
        self.assertEqual(self.occurrences(), [])
        self.assertError(
            self.run_program(
                "get-event", request={"calendarId": "work", "eventId": "work:event"}),
            "EVENT_NOT_FOUND", "work:event")

    def test_expands_all_day_series(self):
        self.series("DTSTART;VALUE=DATE:20260327", "RRULE:FREQ=DAILY;UNTIL=20260330",
                    "EXDATE;VALUE=DATE:20260328")
        found = self.events("2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z",
                            env={"TZ": "Europe/Berlin"})
        self.assertEqual([(e["startISO"], e["endISO"]) for e in found], [
            ("2026-03-26T23:00:00.000Z", "2026-03-27T22:59:59.000Z"),
            ("2026-03-28T23:00:00.000Z", "2026-03-29T21:59:59.000Z"),
            ("2026-03-29T22:00:00.000Z", "2026-03-30T21:59:59.000Z")])
        self.assertTrue(all(e["isAllDay"] for e in found))

    def test_finds_an_old_endless_series_far_ahead(self):
        self.series("DTSTART:19700101T100000Z", "RRULE:FREQ=DAILY")
        self.assertEqual(self.occurrences("9999-12-30T00:00:00Z", "9999-12-31T00:00:00Z"),
                         ["9999-12-30T10:00Z"])

    def test_finds_an_occurrence_that_reaches_into_the_range(self):
        self.series("DTSTART:20260105T220000Z", "DTEND:20260106T020000Z",
                    "RRULE:FREQ=DAILY;COUNT=3")
        self.assertEqual(self.occurrences("2026-01-07T01:00:00Z", "2026-01-07T01:30:00Z"),
                         ["2026-01-06T22:00Z"])

    def test_calls_a_finer_frequency_daily_and_expands_it(self):
        self.series("DTSTART:20260105T100000Z", "RRULE:FREQ=HOURLY;INTERVAL=6;COUNT=3")
        found = self.year()
        self.assertEqual(self.starts(found),
                         ["2026-01-05T10:00Z", "2026-01-05T16:00Z", "2026-01-05T22:00Z"])
        self.assertEqual(found[0]["recurrenceRules"],
                         [{"count": 3, "frequency": "daily", "interval": 6}])


if __name__ == "__main__":
    unittest.main()
