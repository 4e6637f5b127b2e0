"""The same random events in folders, in a local calendar of the desktop and in one on a server: every
range must yield the same."""

import concurrent.futures
import datetime
import json
import os
import random
import subprocess
import unittest

from desktop import DesktopTest, caldav_source, source, text_of, vevent
from quenbrook import PATIENCE, PROGRAM, component

EMBEDDED = os.environ["QUENBROOK_EMBEDDED_PROGRAM"]
EVENTS = 500
RANGES = 300
SEED = 20260105
BEGIN = datetime.datetime(2024, 1, 1)
DAYS = 3 * 365

OWN_ZONES = {
    "Own Zone": component(
        "VTIMEZONE", "TZID:Own Zone",
        component("STANDARD", "DTSTART:19701025T040000", "TZOFFSETFROM:+0330", "TZOFFSETTO:+0230",
                  "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU"),
        component("DAYLIGHT", "DTSTART:19700329T030000", "TZOFFSETFROM:+0230", "TZOFFSETTO:+0330",
                  "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU")),
    "Far West Standard Time": component(
        "VTIMEZONE", "TZID:Far West Standard Time",
        component("STANDARD", "DTSTART:16010101T000000", "TZOFFSETFROM:-1100",
                  "TZOFFSETTO:-1100")),
}
ZONES = [None, "UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata", "Pacific/Kiritimati",
         *OWN_ZONES]
RULES = ["FREQ=DAILY", "FREQ=DAILY;INTERVAL=3", "FREQ=WEEKLY", "FREQ=WEEKLY;INTERVAL=2",
         "FREQ=WEEKLY;BYDAY=MO,WE,FR", "FREQ=MONTHLY;BYDAY=2TU", "FREQ=MONTHLY;BYMONTHDAY=-1",
         "FREQ=MONTHLY", "FREQ=YEARLY", "FREQ=YEARLY;BYMONTH=3,10;BYDAY=-1SU"]
# Rules whose occurrences are so many days apart.
STEPS = {"FREQ=DAILY": 1, "FREQ=DAILY;INTERVAL=3": 3, "FREQ=WEEKLY": 7, "FREQ=WEEKLY;INTERVAL=2": 14}


class Generator:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def moment(self):
        return BEGIN + datetime.timedelta(days=self.random.randrange(DAYS),
                                          minutes=15 * self.random.randrange(96))

    def line(self, name, moment, zone, all_day):
        if all_day:
            return f"{name};VALUE=DATE:{moment:%Y%m%d}"
        if zone == "UTC":
            return f"{name}:{moment:%Y%m%dT%H%M%S}Z"
        return f"{name}{f';TZID={zone}' if zone else ''}:{moment:%Y%m%dT%H%M%S}"

    def dates(self, start, length, zone, all_day):
        lines = [self.line("DTSTART", start, zone, all_day)]
        if length:
            lines.append(self.line("DTEND", start + length, zone, all_day))
        return lines

    def series(self, number):
        """The components of one UID, and the own zone they need."""
        uid = f"event-{number}"
        stamp = "LAST-MODIFIED:20251201T120000Z"
        zone = self.random.choice(ZONES)
        all_day = self.random.random() < 0.2
        start = self.moment()
        unit = datetime.timedelta(days=1) if all_day else datetime.timedelta(minutes=15)
        length = unit * self.random.choice([0, 1, 1, 2, 4, 8] if not all_day else [0, 1, 1, 3])
        dates = self.dates(start, length, zone, all_day)
        if self.random.random() < 0.4:
            return [vevent(uid, *dates, f"SUMMARY:{uid}", stamp)], zone
        rule = self.random.choice(RULES)
        extra = self.random.choice(["", f";COUNT={self.random.randrange(2, 40)}"])
        lines = [*dates, f"SUMMARY:{uid}", stamp, f"RRULE:{rule}{extra}"]
        components = []
        step = STEPS.get(rule)
        if step and self.random.random() < 0.6:
            places = self.random.sample(range(1, 12), 4)
            for place in places[:2]:
                lines.append(self.line("EXDATE", start + datetime.timedelta(days=place * step),
                                       zone, all_day))
            for place in places[2:]:
                original = start + datetime.timedelta(days=place * step)
                moved = original + datetime.timedelta(
                    days=self.random.choice([0, 1, -2, 3, 40, -90]),
                    hours=0 if all_day else self.random.randrange(-5, 6))
                components.append(vevent(
                    uid, self.line("RECURRENCE-ID", original, zone, all_day),
                    *self.dates(moved, length, zone, all_day), f"SUMMARY:{uid} moved {place}", stamp))
        elif self.random.random() < 0.3:
            lines.append(self.line("RDATE", self.moment(), zone, all_day))
        return [vevent(uid, *lines), *components], zone

    def range(self):
        start = BEGIN + datetime.timedelta(days=self.random.randrange(-40, DAYS + 40),
                                           minutes=self.random.randrange(1440))
        length = datetime.timedelta(minutes=self.random.choice(
            [0, 1, 60, 1440, 1440 * 7, 1440 * 31, 1440 * 90]))
        return [f"{moment:%Y-%m-%dT%H:%M:%S}Z" for moment in (start, start + length)]


def stream(*texts):
    return text_of("BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//Tests//EN") + "".join(texts) + text_of(
        "END:VCALENDAR")


class Comparison(DesktopTest):
    @classmethod
    def prepare(cls):
        generator = Generator(SEED)
        every = [generator.series(number) for number in range(EVENTS)]
        cls.ranges = [generator.range() for _ in range(RANGES)]
        server = cls.session.start_radicale()
        server.make_calendar("/someone/compared/")
        cls.folder = cls.session.place / "embedded" / "quenbrook" / "calendars" / "compared"
        remote = cls.session.place / "server" / "collection-root" / "someone" / "compared"
        cls.folder.mkdir(parents=True)
        for number, (components, zone) in enumerate(every):
            zones = [text_of(*OWN_ZONES[zone])] if zone in OWN_ZONES else []
            text = stream(*zones, *components)
            for place in (cls.folder, remote):
                (place / f"event-{number}.ics").write_text(text, newline="")
        local = cls.session.calendars / "local-copy"
        local.mkdir(parents=True)
        (local / "calendar.ics").write_text(
            stream(*(text_of(*zone) for zone in OWN_ZONES.values()),
                   *(component for components, _ in every for component in components)), newline="")
        cls.session.write_source("local-copy", source("Local copy"))
        cls.session.write_source(
            "remote-copy", caldav_source("Remote copy", server.port, "/someone/compared/"))

    def listed(self, program, start, end, calendars, **env):
        request = {"startISO": start, "endISO": end, "calendarIds": calendars}
        run = subprocess.run([program, "list-events"], input=json.dumps(request).encode(),
                             capture_output=True, timeout=PATIENCE, check=False,
                             env=self.environment(**env))
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        found = {calendar: [] for calendar in calendars}
        for event in json.loads(run.stdout)["events"]:
            calendar = event.pop("calendarId")
            event["id"] = event["id"].removeprefix(calendar + ":")
            found[calendar].append(json.dumps(event, sort_keys=True))
        return {calendar: sorted(events) for calendar, events in found.items()}

    def test_every_range_yields_the_same(self):
        for calendar in ("local-copy", "remote-copy"):
            self.other.open(calendar)
        count = sum(1 for text in self.folder.glob("*.ics") for line in
                    text.read_text().splitlines() if line == "BEGIN:VEVENT")
        for calendar in ("local-copy", "remote-copy"):
            self.wait_for(lambda calendar=calendar: len(self.other.events(calendar)) == count,
                          f"{count} events in {calendar}")
        whole = ["1990-01-01T00:00:00Z", "2032-01-01T00:00:00Z"]

        def ask(period):
            expected = self.listed(EMBEDDED, *period, ["compared"],
                                   XDG_DATA_HOME=str(self.session.place / "embedded"))["compared"]
            return expected, self.listed(PROGRAM, *period, ["local-copy", "remote-copy"])

        total = 0
        periods = [*self.ranges, whole]
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for period, (expected, found) in zip(periods, pool.map(ask, periods)):
                for calendar, events in found.items():
                    with self.subTest(calendar=calendar, period=period):
                        self.assertEqual(events, expected)
                total += len(expected)
        # The ranges are such that they try something.
        self.assertGreater(total, 10 * EVENTS)


if __name__ == "__main__":
    unittest.main()
