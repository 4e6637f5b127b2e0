"""Other programs compute the same offsets, from the VTIMEZONE that this program writes, as the
system's zone data gives."""

import datetime
import unittest
import zoneinfo

import dateutil.tz
import icalendar

from programs import LIBICAL_READING, ProgramsTest

ZONES = [
    "Africa/Cairo", "Africa/Casablanca", "America/New_York", "America/Nuuk", "America/Santiago",
    "America/St_Johns", "Asia/Jerusalem", "Asia/Kolkata", "Asia/Tokyo", "Atlantic/Azores",
    "Australia/Lord_Howe", "Europe/Berlin", "Europe/Dublin", "Europe/Istanbul", "Europe/London",
    "Pacific/Apia", "Pacific/Auckland",
]
STARTS = ["1985-01-05T10:00:00Z", "2007-10-20T10:00:00Z", "2023-03-01T10:00:00Z",
          "2026-07-05T10:00:00Z"]
# What the TZ variable may say instead of a name, and a zone that has followed the same rule since 2023.
RULES = {
    "CET-1CEST,M3.5.0,M10.5.0/3": "Europe/Berlin", "NZST-12NZDT,M9.5.0,M4.1.0/3": "Pacific/Auckland",
    "EST5EDT4,M3.2.0,M11.1.0": "America/New_York", "<+0330>-3:30": "Asia/Tehran",
}
UTC = datetime.timezone.utc
END = datetime.datetime(2037, 12, 31, tzinfo=UTC)


def instants(zone, start):
    """From the start on: every six days, and each change of the offset to the second."""
    begin = datetime.datetime.fromisoformat(start.replace("Z", "+00:00"))
    step = datetime.timedelta(days=6, hours=5, minutes=7)
    found = []
    now = begin
    while now < END:
        found.append(now)
        following = now + step
        if offset(zone, now) != offset(zone, following):
            change = first_change(zone, now, following)
            found += [change - datetime.timedelta(seconds=1), change]
        now = following
    return found


def first_change(zone, before, after):
    while after - before > datetime.timedelta(seconds=1):
        middle = (before + (after - before) / 2).replace(microsecond=0)
        if offset(zone, middle) == offset(zone, before):
            before = middle
        else:
            after = middle
    return after


def offset(zone, instant):
    return int(instant.astimezone(zone).utcoffset().total_seconds())


class TimeZones(ProgramsTest):
    def setUp(self):
        super().setUp()
        self.work = self.calendar("work")

    def written(self, name, start):
        """The file of a weekly event made in this zone."""
        begin = datetime.datetime.fromisoformat(start.replace("Z", "+00:00"))
        end = (begin + datetime.timedelta(hours=1)).strftime("%Y-%m-%dT%H:%M:%SZ")
        identifier = self.create(name, start, end, env={"TZ": name},
                                 recurrenceRule=dict(frequency="weekly", interval=1))
        path = self.work / (identifier.removeprefix("work:") + ".ics")
        self.assertEqual(path.read_bytes().count(b"BEGIN:VTIMEZONE"), 1)
        return path

    def each(self):
        named = [(name, name, STARTS) for name in ZONES]
        ruled = [(rule, name, STARTS[2:]) for rule, name in RULES.items()]
        for name, key, starts in named + ruled:
            zone = zoneinfo.ZoneInfo(key)
            for start in starts:
                when = instants(zone, start)
                yield (self.written(name, start), zone, when,
                       [offset(zone, instant) for instant in when])

    def assert_same(self, when, computed, expected):
        wrong = [(instant.isoformat(), there, here)
                 for instant, there, here in zip(when, computed, expected) if there != here]
        self.assertEqual(wrong, [], f"{len(wrong)} of {len(when)} instants")
        self.assertEqual(len(computed), len(expected))

    def test_libical_agrees(self):
        for path, _, when, expected in self.each():
            self.check_with_libical(path)
            printed = self.run_other(
                LIBICAL_READING, "offsets", str(path),
                request="\n".join(str(int(instant.timestamp())) for instant in when))
            self.assert_same(when, [int(line) for line in printed.split()], expected)

    def assert_same_by_wall_clock(self, zone, when, expected, theirs):
        """What a reader does with a date of the file. Both libraries leave it open which pass of a
        repeated hour is meant, so these are left out. From an instant to the wall clock is another
        matter: dateutil, which the other uses as well from its version 6 on, is wrong for some hours
        where a zone changes its standard time, whatever the VTIMEZONE says."""
        when, expected = zip(*(pair for pair in zip(when, expected)
                               if not is_repeated(zone, pair[0])))
        walls = [theirs(instant.astimezone(zone).replace(tzinfo=None)) for instant in when]
        self.assert_same(
            when, [int(wall.utcoffset().total_seconds()) for wall in walls], expected)
        day = datetime.timedelta(days=1)
        self.assertTrue(all(-day < wall.dst() < day for wall in walls), zone.key)

    def test_dateutil_agrees(self):
        for path, zone, when, expected in self.each():
            theirs = dateutil.tz.tzical(str(path)).get()
            self.assert_same_by_wall_clock(
                zone, when, expected, lambda wall: wall.replace(tzinfo=theirs))

    def test_icalendar_agrees(self):
        for path, zone, when, expected in self.each():
            calendar = icalendar.Calendar.from_ical(path.read_bytes())
            definition, = calendar.walk("VTIMEZONE")
            theirs = definition.to_tz()
            # Before version 6 its zones are those of pytz, which dates are not made with directly.
            localize = getattr(theirs, "localize", lambda wall: wall.replace(tzinfo=theirs))
            self.assert_same_by_wall_clock(zone, when, expected, localize)

    def test_a_zone_without_offset_needs_no_definition(self):
        for name in ("UTC", "Etc/UTC", ""):
            with self.subTest(zone=name):
                identifier = self.create("Event", "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z",
                                         env={"TZ": name})
                text = (self.work / (identifier.removeprefix("work:") + ".ics")).read_text()
                self.assertIn("DTSTART:20260705T100000Z\n", text)
                self.assertNotIn("VTIMEZONE", text)

    def test_a_series_keeps_its_wall_clock_time(self):
        for name in ZONES:
            with self.subTest(zone=name):
                zone = zoneinfo.ZoneInfo(name)
                path = self.written(name, "2026-01-05T10:00:00Z")
                first = datetime.datetime(2026, 1, 5, 10, tzinfo=UTC).astimezone(zone)
                expected = [(first + datetime.timedelta(weeks=week)).astimezone(UTC)
                            .strftime("%Y-%m-%dT%H:%M:%S.000Z") for week in range(52)]
                self.assertEqual([each["startISO"] for each in self.year()], expected)
                path.unlink()


def is_repeated(zone, instant):
    """Whether the zone's clocks show the same time at another instant too."""
    wall = instant.astimezone(zone)
    return wall.replace(fold=0).utcoffset() != wall.replace(fold=1).utcoffset()


if __name__ == "__main__":
    unittest.main()
