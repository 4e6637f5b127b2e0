"""What one hostile file may cost: within a ceiling of memory the good neighbour is still found."""

import os
import resource
import unittest

from quenbrook import QuenbrookTest, calendar_text, component, event, write

# Of address space; a run over a harmless store needs well below a tenth of it.
CEILING = 1536 << 20

START = "DTSTART:20260105T100000Z"
LIMIT_OF_OCCURRENCES = 100_000


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (CEILING, CEILING))


class Limits(QuenbrookTest):
    def setUp(self):
        super().setUp()
        # No file is named after the event, so that a search for it reads the others as well.
        self.put("work", "m.ics", [event(START, "SUMMARY:Good", uid="good")])

    def run_program(self, *arguments, **options):
        return super().run_program(*arguments, preexec_fn=limit_memory, **options)

    def listed(self, start="2026-01-05T00:00:00Z", end="2026-01-06T00:00:00Z"):
        """The other events of the range; the good one is among them and can be changed."""
        listed = self.events(start, end)
        good = [each for each in listed if each["id"] == "work:good"]
        self.assertEqual(self.titles(good), ["Good"])
        self.assertEqual(self.answer("get-event", {
            "calendarId": "work", "eventId": "work:good"}), {"event": good[0]})
        self.assertEqual(
            self.answer("update-event", {"id": "work:good", "patch": {"title": "Good"}}),
            {"id": "work:good", "updated": True})
        return [each for each in listed if each["id"] != "work:good"]

    def assert_lists_beside_a_plain_event(self, expected, *lines):
        """What is listed of an event of these lines and of a plain one that shares its file."""
        self.put("work", "a.ics", [event(START, *lines, uid="a"), event(START, uid="plain")])
        self.assertEqual({each["id"] for each in self.listed()}, {*expected, "work:plain"})

    def test_the_ceiling_holds(self):
        self.assertNotEqual(
            super().run_program("-c", "len(bytearray(2 << 30))", program="/usr/bin/python3",
                                preexec_fn=limit_memory).status, 0)

    def test_lists_no_more_occurrences_of_one_series_than_it_promises(self):
        self.put("work", "a.ics", [event(START, "RRULE:FREQ=SECONDLY;COUNT=1000000000", uid="a")])
        self.assertEqual(
            len(self.listed("2026-01-01T00:00:00Z", "2058-01-01T00:00:00Z")),
            LIMIT_OF_OCCURRENCES)

    def test_finds_a_late_occurrence_of_an_endless_series(self):
        self.put("work", "a.ics", [event("DTSTART:20010101T000000Z", "RRULE:FREQ=SECONDLY",
                                         uid="a")])
        self.assertEqual(len(self.listed("2026-01-05T10:00:00Z", "2026-01-05T10:00:05Z")), 5)

    def test_survives_rules_that_never_match(self):
        for rule in ("FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30",
                     "FREQ=DAILY;BYMONTH=2;BYMONTHDAY=31",
                     "FREQ=SECONDLY;BYMONTH=4;BYMONTHDAY=31",
                     "FREQ=MINUTELY;INTERVAL=1440;BYHOUR=11",
                     "FREQ=SECONDLY;BYYEARDAY=366;BYMONTH=1",
                     "FREQ=MONTHLY;BYDAY=MO;BYSETPOS=6",
                     "FREQ=YEARLY;BYWEEKNO=53;BYMONTH=6"):
            with self.subTest(rule=rule):
                self.put("work", "a.ics", [event(START, f"RRULE:{rule}", uid="a")])
                self.assertEqual(self.starts(self.listed()), ["2026-01-05T10:00Z"])
                self.assertEqual(
                    self.events("9990-01-01T00:00:00Z", "9991-01-01T00:00:00Z"), [])

    def test_lists_what_stands_beside_thousands_of_rules_that_take_their_time(self):
        for rule in ("FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30;COUNT=3",
                     "FREQ=SECONDLY;INTERVAL=7;BYHOUR=3;COUNT=2147483647"):
            with self.subTest(rule=rule):
                self.put("work", "a.ics", [
                    *[event("DTSTART:00010101T000000Z", f"RRULE:{rule}", uid=str(number))
                      for number in range(3_000)],
                    event("DTSTART:20250106T100000Z", "RRULE:FREQ=WEEKLY", uid="weekly"),
                    event(START, uid="plain")])
                self.assertEqual([each["id"] for each in self.listed()],
                                 ["work:plain", "work:weekly"])

    def test_lists_what_stands_beside_a_thousand_rules_of_every_second(self):
        self.put("work", "a.ics", [
            *[event(START, "RRULE:FREQ=SECONDLY", "DESCRIPTION:" + "x" * 10_000, uid=f"{number:03}")
              for number in range(1_000)],
            event(START, uid="plain")])
        listed = {each["id"] for each in self.listed()}
        self.assertEqual(listed, {f"work:{number:03}" for number in range(1_000)} | {"work:plain"})

    def test_lists_what_stands_beside_an_event_of_100_000_rules(self):
        self.assert_lists_beside_a_plain_event(
            {"work:a"}, *["RRULE:FREQ=SECONDLY"] * 100_000)

    def test_lists_what_stands_beside_an_endless_series_of_50_megabytes(self):
        self.assert_lists_beside_a_plain_event(
            {"work:a"}, "RRULE:FREQ=SECONDLY", "DESCRIPTION:" + "x" * 50_000_000)

    def test_lists_what_stands_beside_an_endless_series_of_100_000_attendees(self):
        self.assert_lists_beside_a_plain_event(
            {"work:a"}, "RRULE:FREQ=SECONDLY", *["ATTENDEE:"] * 100_000)

    def test_lists_what_stands_beside_five_million_listed_dates(self):
        dates = ",".join(["20260105T100000Z"] * 5_000_000)
        for name in ("RDATE", "EXDATE"):
            with self.subTest(name):
                self.assert_lists_beside_a_plain_event(set(), f"{name}:{dates}")

    def test_survives_a_series_of_which_nothing_is_left(self):
        self.put("work", "a.ics", [event(
            START, "RRULE:FREQ=SECONDLY", "EXRULE:FREQ=SECONDLY",
            *[f"RRULE:FREQ=SECONDLY;INTERVAL={number}" for number in range(1, 50)], uid="a")])
        self.listed()

    def test_passes_over_a_sparse_file_of_a_gigabyte(self):
        path = self.put("work", "a.ics", calendar_text(event(START, uid="a")))
        with open(path, "r+b") as file:
            file.truncate(1 << 30)
        self.assertEqual(self.listed(), [])

    def test_passes_over_50_sparse_files_without_reading_them(self):
        for number in range(50):
            path = self.put("work", f"a{number}.ics", calendar_text(event(START, uid="a")))
            with open(path, "r+b") as file:
                file.truncate(200 << 20)
        self.assertEqual(self.listed(), [])

    def test_lists_one_occurrence_of_each_when_many_files_add_up(self):
        """What each of these adds is within the limit on one file; twelve times that is not."""
        text = calendar_text(event(START, "RRULE:FREQ=SECONDLY", "DESCRIPTION:" + "x" * 600,
                                   uid="UID"))
        for number in range(12):
            self.put("work", f"x{number:02}.ics", text.replace("UID:UID", f"UID:x{number:02}"))
        result = self.run_program("list-events", request={
            "startISO": "2026-01-05T00:00:00Z", "endISO": "2027-01-06T00:00:00Z"})
        self.assertEqual((result.status, result.err), (0, b""))
        counts = [result.out.count(b'"id":"work:x%02d"' % number) for number in range(12)]
        self.assertEqual(counts[:2], [LIMIT_OF_OCCURRENCES] * 2)
        self.assertEqual(counts[-8:], [1] * 8)
        self.assertEqual(counts, sorted(counts, reverse=True))
        self.assertEqual(result.out.count(b'"id":"work:good"'), 1)

    def test_lists_no_more_large_events_than_it_promises(self):
        """Each attendee is reckoned with 256 bytes: ten such files are within 256 MiB."""
        large = self.put("work", "x.ics", [event(START, *["ATTENDEE:"] * 100_000, uid="x")])
        for number in range(99):
            os.link(large, large.with_name(f"x{number:02}.ics"))
        self.assertEqual(len(self.listed()), 10)

    def test_lists_no_more_large_events_of_one_file_than_it_promises(self):
        self.put("work", "x.ics", [
            *[event(START, *["ATTENDEE:"] * 100_000, uid=f"x{number:02}") for number in range(30)],
            event(START, uid="plain")])
        self.assertEqual({each["id"] for each in self.listed()},
                         {*[f"work:x{number:02}" for number in range(10)], "work:plain"})

    def test_shares_the_steps_of_rules_among_files_that_take_many(self):
        """Each of these takes less than one file may, and each series 740,000 steps; another file
        beside them is listed as ever."""
        series = ["DTSTART:00010101T100000Z", "RRULE:FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR,SA,SU;COUNT=1000000"]
        for number in range(6):
            self.put("work", f"x{number}.ics", [
                event(*series, uid=f"x{number}-{one:03}") for one in range(130)])
        self.put("work", "y.ics", [event("DTSTART:20250105T100000Z", "RRULE:FREQ=DAILY", uid="y")])
        listed = [each["id"] for each in self.listed("2026-01-05T00:00:00Z", "2026-01-07T00:00:00Z")]
        self.assertEqual([sum(each.startswith(f"work:x{number}-") for each in listed)
                          for number in range(6)], [260] * 4 + [1] * 2)
        self.assertEqual(listed.count("work:y"), 2)

    def test_reads_an_event_of_100_000_properties(self):
        self.put("work", "a.ics", [event(START, *["X-MANY:value"] * 100_000, uid="a")])
        self.assertEqual([each["id"] for each in self.listed()], ["work:a"])

    def test_passes_over_an_event_of_a_million_properties(self):
        self.assert_lists_beside_a_plain_event(set(), *["X-MANY:value"] * 1_000_000)

    def test_reads_a_property_of_a_million_parameters(self):
        self.put("work", "a.ics", [
            event(START, "ATTENDEE" + ";X=y" * 1_000_000 + ":mailto:a@b.cc", uid="a")])
        self.assertEqual(self.listed()[0]["attendees"],
                         [{"email": "a@b.cc", "name": "", "status": "pending"}])

    def test_survives_zones_that_make_no_sense(self):
        for what, lines in {
                "refers to itself": ["DTSTART;TZID=Z:19700101T000000", "TZOFFSETFROM:+0000",
                                     "TZOFFSETTO:+0100"],
                "changes every second": ["DTSTART:19700101T000000", "TZOFFSETFROM:+0000",
                                         "TZOFFSETTO:+0100", "RRULE:FREQ=SECONDLY"],
                "changes on 100,000 dates": ["DTSTART:19700101T000000", "TZOFFSETFROM:+0000",
                                             "TZOFFSETTO:+0100", "RDATE:" + ",".join(
                                                 ["20260105T100000"] * 100_000)],
                "never changes": ["DTSTART:19700101T000000", "TZOFFSETFROM:+0000",
                                  "TZOFFSETTO:+0100", "RRULE:FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30"],
        }.items():
            with self.subTest(what):
                self.put("work", "a.ics", [
                    component("VTIMEZONE", "TZID:Z", component("STANDARD", *lines),
                              component("DAYLIGHT", *lines)),
                    event("DTSTART;TZID=Z:20260105T120000", uid="a")])
                self.assertEqual([each["id"] for each in self.listed()], ["work:a"])

    def test_survives_zones_of_10_000_changes_that_never_come(self):
        change = component("STANDARD", "DTSTART:19700101T000000", "TZOFFSETFROM:+0000",
                           "TZOFFSETTO:+0100", "RRULE:FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30")
        self.put("work", "a.ics", [
            *[component("VTIMEZONE", f"TZID:Z{number}", *[change] * 10_000)
              for number in range(20)],
            *[event(f"DTSTART;TZID=Z{number}:20260105T120000", uid=f"{number:02}")
              for number in range(20)]])
        self.assertEqual([each["id"] for each in self.listed()],
                         [f"work:{number:02}" for number in range(20)])

    def test_survives_10_000_zones(self):
        zone = ["DTSTART:19700101T000000", "TZOFFSETFROM:+0000", "TZOFFSETTO:+0100",
                "RRULE:FREQ=HOURLY"]
        self.put("work", "a.ics", [
            *[component("VTIMEZONE", f"TZID:Z{number}", component("STANDARD", *zone))
              for number in range(10_000)],
            event("DTSTART;TZID=Z9999:20260105T120000", uid="a")])
        self.assertEqual([each["id"] for each in self.listed()], ["work:a"])

    def test_reads_100_000_excluded_dates(self):
        dates = [f"{year}{month:02}{day:02}T100000Z" for year in range(2026, 2324)
                 for month in range(1, 13) for day in range(1, 29)]
        for lines in (["EXDATE:" + ",".join(dates)], [f"EXDATE:{date}" for date in dates]):
            with self.subTest(lines=len(lines)):
                self.put("work", "a.ics", [
                    event(START, "RRULE:FREQ=DAILY", *lines, uid="a")])
                self.assertEqual(self.listed(), [])
                self.assertEqual(self.starts([
                    each for each in self.events("2026-01-28T00:00:00Z", "2026-02-01T00:00:00Z")
                    if each["id"] == "work:a"]),
                    ["2026-01-29T10:00Z", "2026-01-30T10:00Z", "2026-01-31T10:00Z"])

    def put_50_000_exceptions(self):
        days = [f"{year}{month:02}{day:02}" for year in range(2026, 2175)
                for month in range(1, 13) for day in range(1, 29)]
        self.put("work", "a.ics", [
            event(START, "RRULE:FREQ=DAILY", uid="a"),
            *[event(f"RECURRENCE-ID:{day}T100000Z", f"DTSTART:{day}T120000Z", uid="a")
              for day in days]])

    def test_reads_50_000_exceptions(self):
        self.put_50_000_exceptions()
        self.assertEqual(self.starts(self.listed()), ["2026-01-05T12:00Z"])

    def test_cancels_an_occurrence_beside_50_000_exceptions(self):
        self.put_50_000_exceptions()
        self.assertEqual(self.answer("cancel-event", {"id": "work:a"}),
                         {"id": "work:a", "cancelled": True})

    def test_passes_over_components_nested_100_000_deep(self):
        deep = ["BEGIN:X"] * 100_000 + ["END:X"] * 100_000
        self.assert_lists_beside_a_plain_event(set(), *deep)

    def test_survives_components_that_never_end(self):
        write(self.store / "work" / "a.ics",
              "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\n" + "BEGIN:X\r\n" * 100_000)
        self.assertEqual(self.listed(), [])

    def test_reads_a_line_of_50_megabytes(self):
        self.put("work", "a.ics", [event(START, "DESCRIPTION:" + "x" * 50_000_000, uid="a")])
        self.assertEqual([len(each["notes"]) for each in self.listed()], [50_000_000])

    def test_survives_a_line_of_50_megabytes_folded_into_a_million(self):
        folded = "\r\n ".join(["DESCRIPTION:"] + ["x" * 50] * 1_000_000)
        write(self.store / "work" / "a.ics", calendar_text(event(START, folded, uid="a")))
        self.listed()

    def test_reads_many_large_files_within_what_one_may_take(self):
        dates = ",".join(["20260105T100000Z"] * 5_000_000)
        large = self.put("work", "x.ics", [event(START, f"RDATE:{dates}", uid="x")])
        for number in range(11):
            os.link(large, large.with_name(f"x{number}.ics"))
        for number in range(2_000):
            self.put("work", f"{number}.ics", [event(START, uid=f"{number:04}")])
        self.assertEqual([each["id"] for each in self.listed()],
                         [f"work:{number:04}" for number in range(2_000)])

    def test_passes_over_20_000_empty_files(self):
        for number in range(20_000):
            os.close(os.open(self.store / "work" / f"a{number}.ics", os.O_CREAT | os.O_WRONLY))
        self.assertEqual(self.listed(), [])


if __name__ == "__main__":
    unittest.main()
