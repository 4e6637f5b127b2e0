"""Puts a built program through the suite over a store laid out for it: over.py STORE PROGRAM"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent

# What else stands in the store, and must stand there afterwards: 6 January 2020, 10:00 UTC.
TEN = 1578304800

HOLIDAY = """BEGIN:VCALENDAR\r
VERSION:2.0\r
PRODID:-//Tests//EN\r
BEGIN:VEVENT\r
UID:holiday\r
DTSTAMP:20191201T120000Z\r
DTSTART;VALUE=DATE:20200106\r
SUMMARY:Holiday\r
END:VEVENT\r
END:VCALENDAR\r
"""

NEIGHBOUR = """BEGIN:VCALENDAR\r
VERSION:2.0\r
PRODID:-//Tests//EN\r
BEGIN:VEVENT\r
UID:neighbour\r
DTSTAMP:20191201T120000Z\r
DTSTART:20200106T103000Z\r
DTEND:20200106T113000Z\r
SUMMARY:Neighbour\r
RRULE:FREQ=DAILY;COUNT=3\r
ATTENDEE;CN=Zoe;PARTSTAT=ACCEPTED:mailto:zoe@example.org\r
END:VEVENT\r
END:VCALENDAR\r
"""


def vdir(folder):
    """Folders of files; returns what the environment must hold and the calendar to use."""
    calendars = folder / "quenbrook" / "calendars"
    files = {"work/type": "caldav", "work/team/displayname": "Team",
             "work/team/neighbour.ics": NEIGHBOUR, "feeds/type": "subscription",
             "feeds/public/holiday.ics": HOLIDAY, "plain/color": "#FF0000"}
    for name, content in files.items():
        path = calendars / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content.encode())
    return {"XDG_DATA_HOME": str(folder)}, "work/team"


def eventkit(folder):
    """The world of the stand-in for EventKit, a file that it reads and writes."""
    calendars = [
        {"identifier": "C1", "title": "Team", "source": {"title": "Work", "type": 2},
         "color": [1.0, 0.25, 0.5]},
        {"identifier": "C2", "title": "Public", "writable": False,
         "source": {"title": "Feeds", "type": 4}},
        {"identifier": "C3", "title": "Plain"}]
    events = [
        {"identifier": "E1", "calendar": "C1", "title": "Neighbour", "start": TEN + 1800,
         "end": TEN + 5400, "rules": [{"frequency": 0, "interval": 1, "end": {"count": 3}}],
         "attendees": [{"url": "mailto:zoe@example.org", "name": "Zoe", "status": 2}]},
        {"identifier": "E2", "calendar": "C2", "title": "Holiday", "start": TEN - 36000,
         "end": TEN + 50399, "allDay": True}]
    world = folder / "world.json"
    world.write_text(json.dumps({"calendars": calendars, "events": events}))
    return {"QUENBROOK_STAND_IN": str(world)}, "C1"


STORES = {"vdir": vdir, "eventkit": eventkit}


def main(store, program, *options):
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder).resolve()
        (place / "store").mkdir()
        environment, calendar = STORES[store](place / "store")
        return subprocess.run(
            [sys.executable, HERE / "run", program, "--calendar", calendar, "--disposable",
             "--seen", HERE / "seen" / f"{store}.txt", *options],
            env={**os.environ, "HOME": folder, **environment}, check=False).returncode


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
