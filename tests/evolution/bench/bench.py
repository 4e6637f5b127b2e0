"""Measures the program over Evolution Data Server, beside a program over libecal that does the same:
bench.py PROGRAM ECAL-CLIENT BENCH-MEASURE. Another client holds the calendars, as a desktop does."""

import json
import pathlib
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

from desktop import OtherClient, source
from generate import generate, uid
from private_session import PrivateSession

PROGRAM, ECAL, MEASURE = sys.argv[1:4]
SIZES = [1_000, 10_000]
ROUNDS = 5
MONTH = {"startISO": "2026-03-01T00:00:00Z", "endISO": "2026-04-01T00:00:00Z"}


def measure(session, count, *jobs):
    """The least time of each round, by turns; the medians of the rounds."""
    samples = [[] for _ in jobs]
    requests = session.place / "requests"
    for _ in range(ROUNDS):
        for number, (request, *command) in enumerate(jobs):
            requests.write_text(request + "\n")
            run = session.run(MEASURE, str(count), str(requests), *command, check=True,
                              stdout=subprocess.PIPE)
            samples[number].append(int(run.stdout.split()[0]) / 1000)
    return [statistics.median(each) for each in samples]


def report(what, mine, other, goal):
    print(f"{what:<46}{mine:8.1f} ms   libecal {other:8.1f} ms   ratio {mine / other:4.2f} (goal: {goal})",
          flush=True)


def program(word, request=None):
    return json.dumps(request or {}), PROGRAM, word


def prepare(session):
    for size in SIZES:
        folder = session.place / f"generated-{size}"
        generate(folder, size)
        calendar = session.calendars / f"events-{size}"
        calendar.mkdir(parents=True)
        with open(calendar / "calendar.ics", "w", newline="") as file:
            file.write("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\n")
            for path in folder.glob("*.ics"):
                text = path.read_bytes().decode()
                file.write(text[text.index("BEGIN:VEVENT"):text.index("END:VCALENDAR")])
            file.write("END:VCALENDAR\r\n")
        session.write_source(f"events-{size}", source(f"{size} events"))


def cold():
    """A session of its own for each run: the services stay once they are there."""
    times = []
    for _ in range(ROUNDS):
        session = PrivateSession(built_in_calendars=True)
        try:
            started = time.monotonic()
            session.run(PROGRAM, "list-calendars", stdout=subprocess.DEVNULL, check=True, input=b"")
            times.append((time.monotonic() - started) * 1000)
        finally:
            session.stop()
    print(f"{'list-calendars, services not running':<46}{statistics.median(times):8.1f} ms"
          f"{'':23}(goal: 500 ms)", flush=True)


def main():
    cold()
    session = PrivateSession(built_in_calendars=True)
    try:
        prepare(session)
        other = OtherClient(session)
        for size in SIZES:
            other.open(f"events-{size}")
        report("list-calendars", *measure(
            session, 40, program("list-calendars"), ("", ECAL, "calendars")), 0.2)
        for size, goal in zip(SIZES, (0.3, 0.5)):
            calendar = f"events-{size}"
            event = uid(size // 2)
            report(f"list-events of one month, {size} events", *measure(
                session, 10, program("list-events", {**MONTH, "calendarIds": [calendar]}),
                ("", ECAL, "month", calendar)), goal)
            report(f"get-event, {size} events", *measure(
                session, 40, program("get-event", {"calendarId": calendar,
                                                   "eventId": f"{calendar}:{event}"}),
                ("", ECAL, "event", calendar, event)), 0.2)
        report("create-event, on the disk; libecal: in memory", *measure(
            session, 20, program("create-event", {
                "calendarId": "events-1000", "title": "Created",
                "startISO": "2026-03-01T10:00:00Z", "endISO": "2026-03-01T11:00:00Z"}),
            ("", ECAL, "create", "events-1000")), 1.2)
        other.close()
    finally:
        session.stop()


main()
