"""Dates in zones with and without daylight saving, on both hemispheres, and at the edges."""

import datetime
import random
import unittest
import zoneinfo

from roundtrip import RoundTripTest

UTC = datetime.timezone.utc
DAY = datetime.timedelta(days=1)
SECOND = datetime.timedelta(seconds=1)

ZONES = [
    "UTC", "Europe/Berlin", "Europe/Dublin", "America/New_York", "America/St_Johns",
    "America/Santiago", "America/Havana", "Africa/Cairo", "Africa/Casablanca", "Asia/Beirut",
    "Asia/Kolkata", "Asia/Kathmandu", "Australia/Lord_Howe", "Pacific/Auckland", "Pacific/Apia",
    "Pacific/Chatham", "Pacific/Kiritimati", "America/Nuuk", "Etc/GMT+12"]

# Midnights that do not exist, midnights that exist twice, and a day that was left out altogether.
ODD_DAYS = {
    "America/Santiago": ["2026-09-06", "2026-04-05", "2026-04-04"],
    "America/Havana": ["2026-03-08", "2026-11-01"],
    "Africa/Cairo": ["2026-04-24", "2026-10-29", "2026-10-30"],
    "Asia/Beirut": ["2026-03-29", "2026-10-24", "2026-10-25"],
    "Pacific/Apia": ["2011-12-29", "2011-12-31"],
    "Pacific/Auckland": ["2026-04-05", "2026-09-27"],
    "Europe/Berlin": ["2026-03-29", "2026-10-25"],
}


def wire(instant):
    return instant.strftime("%Y-%m-%dT%H:%M:%S.000Z")


def midnight(zone, day):
    """The first instant of a day by the zone's clocks."""
    return datetime.datetime.combine(day, datetime.time(), zone).astimezone(UTC)


def end_of(zone, day):
    return datetime.datetime.combine(day, datetime.time(23, 59, 59), zone).astimezone(UTC)


def days_covered(zone, start, end):
    """The first and the last day of an all-day event from start to end."""
    first, last = (each.astimezone(zone).date() for each in (start, end))
    if end > start and end == midnight(zone, last):
        last -= DAY
    return first, last


def changes_of(zone, year):
    """The instants of a year at which the zone's clocks are set."""
    found = []
    instant = datetime.datetime(year, 1, 1, tzinfo=UTC)
    while instant.year == year:
        following = instant + datetime.timedelta(hours=1)
        if instant.astimezone(zone).utcoffset() != following.astimezone(zone).utcoffset():
            minute = instant
            while minute.astimezone(zone).utcoffset() == instant.astimezone(zone).utcoffset():
                minute += datetime.timedelta(minutes=1)
            found.append(minute)
        instant = following
    return found


class Dates(RoundTripTest):
    def assert_timed(self, identifier, zone, start, end):
        got = self.get_and_list(identifier, zone, wire(start - DAY), wire(end + DAY))
        self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]),
                         (wire(start), wire(end), False))

    def test_around_changes_of_the_clock(self):
        """The skipped hour, the repeated hour (both times), and the seconds around them."""
        chance = random.Random(11)
        minute = datetime.timedelta(minutes=1)
        for name in ZONES:
            zone = zoneinfo.ZoneInfo(name)
            instants = [change + offset for change in changes_of(zone, 2026) for offset in (
                -60 * minute, -30 * minute, -SECOND, 0 * minute, SECOND, 30 * minute, 60 * minute)]
            instants += [datetime.datetime(2026, 1, 1, tzinfo=UTC)
                         + datetime.timedelta(seconds=chance.randrange(365 * 86400))
                         for _ in range(3)]
            moved = self.create(name)
            for start in instants:
                end = start + chance.choice([0, 1, 45, 60, 90, 1440]) * minute
                with self.subTest(zone=name, start=wire(start), end=wire(end)):
                    made = self.try_to_create(name, startISO=wire(start), endISO=wire(end))
                    self.assertEqual((made["startISO"], made["endISO"]), (wire(start), wire(end)))
                    self.assert_timed(made["id"], name, start, end)
                    # The instants are the same wherever they are looked at.
                    elsewhere = chance.choice(ZONES)
                    self.assert_timed(made["id"], elsewhere, start, end)
                    self.update(moved, elsewhere, startISO=wire(start), endISO=wire(end))
                    self.assert_timed(moved, name, start, end)
                    self.answer("cancel-event", dict(id=made["id"]))

    def test_one_end_moves_alone(self):
        chance = random.Random(13)
        hour = datetime.timedelta(hours=1)
        for name in ZONES:
            with self.subTest(zone=name):
                start = datetime.datetime(2026, chance.randrange(1, 13), 5, 10, tzinfo=UTC)
                identifier = self.create(name, startISO=wire(start), endISO=wire(start + hour))
                self.update(identifier, name, endISO=wire(start + 30 * hour))
                self.assert_timed(identifier, name, start, start + 30 * hour)
                self.update(identifier, name, startISO=wire(start - 30 * hour))
                self.assert_timed(identifier, name, start - 30 * hour, start + 30 * hour)
                # An end before the start is refused.
                self.assertIsNone(self.try_to_update(
                    identifier, name, endISO=wire(start - 31 * hour)))
                self.assertIsNone(self.try_to_update(
                    identifier, name, startISO=wire(start + 31 * hour)))
                self.assertIsNone(self.try_to_create(
                    name, startISO=wire(start), endISO=wire(start - SECOND)))

    def test_parts_of_seconds_are_dropped(self):
        made = self.try_to_create(startISO="2026-01-05T10:00:00.999Z",
                                  endISO="2026-01-05T10:00:01.001Z")
        self.assertEqual((made["startISO"], made["endISO"]),
                         ("2026-01-05T10:00:00.000Z", "2026-01-05T10:00:01.000Z"))
        got = self.get_and_list(made["id"])
        self.assertEqual((got["startISO"], got["endISO"]), (made["startISO"], made["endISO"]))

    def days_of_interest(self, name):
        chance = random.Random(name)
        return [datetime.date.fromisoformat(text) for text in ODD_DAYS.get(name, [])] + [
            datetime.date(2026, 1, 1), datetime.date(2026, 12, 31), datetime.date(2028, 2, 29),
            datetime.date(2026, chance.randrange(1, 13), chance.randrange(1, 29))]

    def test_all_day(self):
        for name in ZONES:
            zone = zoneinfo.ZoneInfo(name)
            for day in self.days_of_interest(name):
                begin = midnight(zone, day)
                noon = datetime.datetime.combine(day, datetime.time(12), zone).astimezone(UTC)
                spans = [(begin, begin), (noon, noon), (begin, end_of(zone, day)),
                         (begin, midnight(zone, day + DAY)), (noon, midnight(zone, day + DAY)),
                         (noon, noon + 2 * DAY), (begin, midnight(zone, day + 5 * DAY))]
                for start, end in spans:
                    with self.subTest(zone=name, start=wire(start), end=wire(end)):
                        self.assert_all_day(name, start, end)

    def assert_all_day(self, name, start, end):
        zone = zoneinfo.ZoneInfo(name)
        first, last = days_covered(zone, start, end)
        expected = (wire(midnight(zone, first)), wire(end_of(zone, last)), True)
        made = self.try_to_create(name, startISO=wire(start), endISO=wire(end), isAllDay=True)
        self.assertEqual((made["startISO"], made["endISO"], True), expected)
        got = self.get_and_list(made["id"], name, wire(start - 2 * DAY), wire(end + 2 * DAY))
        self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]), expected)
        # What was reported can be given back and means the same.
        self.update(made["id"], name, startISO=got["startISO"], endISO=got["endISO"])
        again = self.get(made["id"], name)
        self.assertEqual((again["startISO"], again["endISO"], again["isAllDay"]), expected)
        self.answer("cancel-event", dict(id=made["id"]))

    def test_to_all_day_and_back(self):
        for name in ZONES:
            with self.subTest(zone=name):
                zone = zoneinfo.ZoneInfo(name)
                start = datetime.datetime(2026, 7, 5, 10, tzinfo=UTC)
                end = start + datetime.timedelta(hours=1)
                identifier = self.create(name, startISO=wire(start), endISO=wire(end))
                self.update(identifier, name, isAllDay=True)
                first, last = days_covered(zone, start, end)
                got = self.get_and_list(identifier, name)
                self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]), (
                    wire(midnight(zone, first)), wire(end_of(zone, last)), True))
                self.update(identifier, name, isAllDay=False, startISO=wire(start),
                            endISO=wire(end))
                self.assert_timed(identifier, name, start, end)

    def test_first_and_last_years(self):
        spans = [("0001-01-01T00:00:00Z", "0001-01-01T00:00:01Z"),
                 ("0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z"),
                 ("9999-12-31T23:59:58Z", "9999-12-31T23:59:59Z"),
                 ("9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"),
                 ("0999-12-31T23:59:59Z", "1000-01-01T00:00:00Z"),
                 ("1582-10-04T12:00:00Z", "1582-10-15T12:00:00Z"),
                 ("1899-12-31T12:00:00Z", "1900-03-01T12:00:00Z"),
                 ("1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z"),
                 ("2038-01-19T03:14:07Z", "2038-01-19T03:14:08Z")]
        for name in ("UTC", "Europe/Berlin", "America/New_York", "Pacific/Kiritimati"):
            for start, end in spans:
                with self.subTest(zone=name, start=start, end=end):
                    made = self.try_to_create(name, startISO=start, endISO=end)
                    whole = tuple(text.replace("Z", ".000Z") for text in (start, end))
                    self.assertEqual((made["startISO"], made["endISO"]), whole)
                    got = self.get(made["id"], name)
                    self.assertEqual((got["startISO"], got["endISO"]), whole)
                    got = self.get(made["id"], "Asia/Kathmandu")
                    self.assertEqual((got["startISO"], got["endISO"]), whole)

    def test_first_and_last_days(self):
        """What the calendar ends at is held or refused, never changed."""
        for name in ("UTC", "Europe/Berlin", "America/New_York", "Pacific/Kiritimati"):
            for day in ("0001-01-01", "0001-01-02", "9999-12-30", "9999-12-31"):
                with self.subTest(zone=name, day=day):
                    noon = f"{day}T12:00:00Z"
                    made = self.try_to_create(name, startISO=noon, endISO=noon, isAllDay=True)
                    if made is None:
                        self.assertIn(day, ("0001-01-01", "9999-12-31", "9999-12-30"))
                        continue
                    got = self.get(made["id"], name)
                    self.assertEqual((got["startISO"], got["endISO"], got["isAllDay"]),
                                     (made["startISO"], made["endISO"], True))
                    self.assertLessEqual(got["startISO"], noon)
                    self.assertGreaterEqual(got["endISO"], noon)


if __name__ == "__main__":
    unittest.main()
