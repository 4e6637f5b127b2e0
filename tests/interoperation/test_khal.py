"""khal and this program on one calendar folder."""

import datetime
import unittest
import zoneinfo

from programs import ZONE, ProgramsTest

CONFIGURATION = """
[calendars]
[[work]]
path = {path}
[locale]
local_timezone = {zone}
default_timezone = {zone}
timeformat = %H:%M
dateformat = %Y-%m-%d
longdateformat = %Y-%m-%d
datetimeformat = %Y-%m-%d %H:%M
longdatetimeformat = %Y-%m-%d %H:%M
[default]
default_calendar = work
[sqlite]
path = {database}
"""

UNICODE = [
    "Zahnärztin; Müller, 2\\3 ☎", "会議 🎉 👨‍👩‍👧", "e\u0301 a\u0308 שלום مرحبا", "x" * 70 + "é" * 70,
    "BEGIN:VEVENT", "100% \"quoted\" 'text' <b>&amp;"]


class Khal(ProgramsTest):
    def setUp(self):
        super().setUp()
        self.work = self.calendar("work")
        self.configuration = self.place / "khal.conf"
        self.configuration.write_text(CONFIGURATION.format(
            path=self.work, zone=ZONE, database=self.place / "khal.db"))

    def khal(self, *arguments):
        return self.run_other("khal", "-c", str(self.configuration), *arguments)

    def khal_lists(self, form="{title}|{start-long}|{end-long}"):
        lines = self.khal("list", "--notstarted", "--day-format", "", "--format", form,
                          "2026-01-01", "2026-12-31")
        # An event of several days is listed under each.
        return sorted({line for line in lines.splitlines() if line})

    def local(self, text):
        instant = datetime.datetime.fromisoformat(text.replace("Z", "+00:00"))
        return instant.astimezone(zoneinfo.ZoneInfo(ZONE))

    def own_lists(self):
        """What this program lists, in khal's words."""
        lines = []
        for event in self.year():
            form = "%Y-%m-%d" if event["isAllDay"] else "%Y-%m-%d %H:%M"
            start, end = (self.local(event[key]).strftime(form) for key in ("startISO", "endISO"))
            lines.append(f"{event['title']}|{start}|{end}")
        return sorted(lines)

    # What this program made.

    def test_lists_timed_events_at_their_local_times(self):
        self.create("Winter", "2026-01-05T10:00:00Z", "2026-01-05T11:30:00Z")
        self.create("Summer", "2026-07-05T10:00:00Z", "2026-07-05T11:30:00Z")
        self.create("Over midnight", "2026-03-28T22:00:00Z", "2026-03-29T04:00:00Z")
        self.assertEqual(self.khal_lists(), [
            "Over midnight|2026-03-28 23:00|2026-03-29 06:00",
            "Summer|2026-07-05 12:00|2026-07-05 13:30",
            "Winter|2026-01-05 11:00|2026-01-05 12:30"])
        self.assertEqual(self.own_lists(), self.khal_lists())

    def test_lists_events_made_in_other_zones(self):
        for zone in ("America/New_York", "Asia/Kolkata", "Australia/Lord_Howe", "UTC"):
            self.create(zone, "2026-07-05T10:00:00Z", "2026-07-05T11:00:00Z", env={"TZ": zone})
        self.assertEqual(self.khal_lists(), [
            f"{zone}|2026-07-05 12:00|2026-07-05 13:00"
            for zone in ("America/New_York", "Asia/Kolkata", "Australia/Lord_Howe", "UTC")])

    def test_lists_all_day_events_on_their_days(self):
        self.create("One", "2026-02-02T23:00:00Z", "2026-02-03T23:00:00Z", isAllDay=True)
        self.create("Two", "2026-07-02T22:00:00Z", "2026-07-04T22:00:00Z", isAllDay=True)
        self.create("Within", "2026-09-01T10:00:00Z", "2026-09-01T10:00:00Z", isAllDay=True)
        self.assertEqual(self.khal_lists(), [
            "One|2026-02-03|2026-02-03", "Two|2026-07-03|2026-07-04",
            "Within|2026-09-01|2026-09-01"])
        self.assertEqual(self.own_lists(), self.khal_lists())

    def test_lists_texts_as_they_were_given(self):
        for number, text in enumerate(UNICODE):
            self.create(text, f"2026-01-{number + 1:02}T10:00:00Z",
                        f"2026-01-{number + 1:02}T11:00:00Z", location=text, notes=text)
        self.assertEqual(
            self.khal_lists(form="{title}|{location}|{description}"),
            sorted(f"{text}|{text}|{text}" for text in UNICODE))

    def test_lists_the_occurrences_of_a_series(self):
        rules = [dict(frequency="daily", interval=2, count=5),
                 dict(frequency="weekly", interval=1, untilISO="2026-04-13T08:00:00Z"),
                 dict(frequency="weekly", interval=1, untilISO="2026-04-13T07:59:59Z"),
                 dict(frequency="monthly", interval=1, count=4),
                 dict(frequency="yearly", interval=1)]
        for number, rule in enumerate(rules):
            self.create(f"Series {number}", "2026-03-16T09:00:00Z", "2026-03-16T10:00:00Z",
                        recurrenceRule=rule)
            self.create(f"Days {number}", "2026-03-15T23:00:00Z", "2026-03-16T23:00:00Z",
                        isAllDay=True, recurrenceRule=rule)
        listed = self.khal_lists()
        # Ten in the morning on both sides of the change to summer time.
        self.assertEqual([line for line in listed if line.startswith("Series 1")], [
            f"Series 1|{day} 10:00|{day} 11:00" for day in (
                "2026-03-16", "2026-03-23", "2026-03-30", "2026-04-06", "2026-04-13")])
        self.assertEqual(self.own_lists(), listed)
        self.assertEqual(len(listed), 2 * (5 + 5 + 4 + 1) + 4 + 5)

    def test_lists_what_became_of_single_occurrences(self):
        identifier = self.create("Series", "2026-03-16T09:00:00Z", "2026-03-16T10:00:00Z",
                                 recurrenceRule=dict(frequency="weekly", interval=1, count=4))
        days = self.create("Days", "2026-05-01T22:00:00Z", "2026-05-02T22:00:00Z", isAllDay=True,
                           recurrenceRule=dict(frequency="daily", interval=1, count=3))
        self.update(identifier, title="Moved", startISO="2026-03-17T12:00:00Z",
                    endISO="2026-03-17T13:00:00Z")
        self.update(days, title="Changed")
        rest = [f"Series|{day} 10:00|{day} 11:00" for day in (
            "2026-03-23", "2026-03-30", "2026-04-06")]
        self.assertEqual(self.khal_lists(), [
            "Changed|2026-05-02|2026-05-02", "Days|2026-05-03|2026-05-03",
            "Days|2026-05-04|2026-05-04", "Moved|2026-03-17 13:00|2026-03-17 14:00", *rest])
        self.assertEqual(self.own_lists(), self.khal_lists())
        for left in (rest, rest[1:], rest[2:]):
            self.cancel(identifier)
            self.cancel(days)
            listed = self.khal_lists()
            self.assertEqual([line for line in listed if not line.startswith("Days")], left)
            self.assertEqual(self.own_lists(), listed)

    def test_lists_an_updated_event_once(self):
        identifier = self.create("Before", "2026-01-05T10:00:00Z", "2026-01-05T11:00:00Z")
        self.assertEqual(self.khal_lists(), ["Before|2026-01-05 11:00|2026-01-05 12:00"])
        self.update(identifier, title="After", startISO="2026-08-05T10:00:00Z",
                    endISO="2026-08-05T11:00:00Z")
        self.assertEqual(self.khal_lists(), ["After|2026-08-05 12:00|2026-08-05 13:00"])
        self.update(identifier, isAllDay=True)
        self.assertEqual(self.khal_lists(), ["After|2026-08-05|2026-08-05"])
        self.cancel(identifier)
        self.assertEqual(self.khal_lists(), [])

    # What khal made.

    def test_is_understood(self):
        self.khal("new", "-l", "High Street", "2026-05-01", "10:00", "11:30", "Timed ünï", "::",
                  "Notes")
        self.khal("new", "2026-05-02", "2026-05-03", "Days")
        self.khal("new", "--repeat", "weekly", "--until", "2026-06-01", "2026-03-16", "09:00",
                  "10:00", "Weekly")
        self.khal("new", "--repeat", "monthly", "--until", "2026-08-21", "2026-05-20", "13:00",
                  "14:00", "Monthly")
        self.khal("new", "2026-05-05", "10:00", "11:00", "America/New_York", "Abroad")
        self.khal("new", "-m", "15m,1h", "2026-05-06", "10:00", "11:00", "Alarm")
        listed = self.khal_lists()
        self.assertEqual(self.own_lists(), listed)
        for line in ("Abroad|2026-05-05 16:00|2026-05-05 17:00", "Days|2026-05-02|2026-05-03",
                     "Timed ünï|2026-05-01 10:00|2026-05-01 11:30",
                     "Weekly|2026-03-16 09:00|2026-03-16 10:00",
                     "Weekly|2026-03-30 09:00|2026-03-30 10:00",
                     "Monthly|2026-08-20 13:00|2026-08-20 14:00"):
            self.assertIn(line, listed)
        events = {event["title"]: event for event in self.year()}
        self.assertEqual((events["Timed ünï"]["location"], events["Timed ünï"]["notes"]),
                         ("High Street", "Notes"))
        self.assertEqual({title for title, event in events.items() if event["hasAlarms"]},
                         {"Alarm"})
        self.assertEqual(events["Weekly"]["recurrenceRules"][0]["frequency"], "weekly")

    def test_is_changed_without_loss(self):
        self.khal("new", "-g", "Blue", "--url", "https://example.com/a", "2026-05-05", "10:00",
                  "11:00", "America/New_York", "Abroad")
        self.khal("new", "--repeat", "weekly", "--until", "2026-06-01", "2026-05-04", "09:00",
                  "10:00", "Weekly")
        events = {event["title"]: event["id"] for event in self.year()}
        self.update(events["Abroad"], title="Away", startISO="2026-05-05T15:00:00Z",
                    endISO="2026-05-05T16:00:00Z")
        self.update(events["Weekly"], location="There")
        self.cancel(self.create("Gone", "2026-05-05T15:00:00Z", "2026-05-05T16:00:00Z"))
        form = "{title}|{start-long}|{location}|{categories}|{url}"
        self.assertEqual(self.khal_lists(form=form), [
            "Away|2026-05-05 17:00||Blue|https://example.com/a",
            "Weekly|2026-05-04 09:00|There||", *(
                f"Weekly|{day} 09:00|||" for day in ("2026-05-11", "2026-05-18", "2026-05-25"))])
        self.assertEqual(self.own_lists(), self.khal_lists())
        self.check_with_libical(*self.work.glob("*.ics"))


if __name__ == "__main__":
    unittest.main()
