"""Measures the built program against its baselines: bench.py BUILD-FOLDER [SIZE…]"""

import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys

from generate import generate, uid

ROUNDS = 5
BUILD = pathlib.Path(sys.argv[1]).resolve()
SIZES = [int(size) for size in sys.argv[2:]] or [1_000, 10_000, 100_000]
DATA = BUILD / "data"
PROGRAM = BUILD / "src" / "quenbrook"
MONTH = {"startISO": "2026-03-01T00:00:00Z", "endISO": "2026-04-01T00:00:00Z"}
CALENDAR = "account/calendar"


def tool(name):
    return BUILD / "tests" / "bench" / name


class Times:
    """Of each round the least wall-clock and processor time, in milliseconds, and the largest peak
    memory in MiB. What counts is the median of the rounds."""

    def __init__(self, samples):
        self.rounds = [elapsed / 1000 for elapsed, _, _ in samples]
        self.work = [max(work, 1) / 1000 for _, work, _ in samples]
        self.milliseconds = statistics.median(self.rounds)
        self.megabytes = max(peak for _, _, peak in samples) / 1024

    def ratio(self, baseline):
        return statistics.median(
            mine / other for mine, other in zip(self.rounds, baseline.rounds))

    def ratio_of_work(self, baseline):
        return statistics.median(mine / other for mine, other in zip(self.work, baseline.work))


def measure(count, *jobs):
    """Runs jobs by turns, so that whatever else the machine does befalls them alike. A job is its
    requests, one for each run, and its command."""
    samples = [[] for _ in jobs]
    for number in range(ROUNDS):
        for job, (requests, command, environment) in enumerate(jobs):
            listed = DATA / "requests"
            share = requests[number * count:(number + 1) * count] or requests
            listed.write_text("".join(request + "\n" for request in share))
            result = subprocess.run(
                [tool("bench_measure"), str(count), listed, *command], check=True,
                stdout=subprocess.PIPE, env={**os.environ, **environment})
            samples[job].append([int(value) for value in result.stdout.split()])
    return [Times(sample) for sample in samples]


def job(*command, requests=("",), **environment):
    return list(requests), [str(part) for part in command], environment


def store(size):
    return DATA / str(size)


def folder(size):
    return store(size) / "quenbrook" / "calendars" / CALENDAR


def program(size, word, *requests):
    return job(PROGRAM, word, requests=[json.dumps(request) for request in requests] or [""],
               XDG_DATA_HOME=str(store(size)), HOME=str(DATA))


def report(what, times, baseline=None, goal=None):
    text = (f"{what:<42}{times.milliseconds:9.2f} ms{statistics.median(times.work):9.2f} ms CPU"
            f"{times.megabytes:7.1f} MiB")
    if baseline is not None:
        text += (f"   ratio {times.ratio(baseline):5.2f}, "
                 f"of CPU {times.ratio_of_work(baseline):5.2f} (goal: at most {goal})")
    print(text, flush=True)


def prepare(size):
    if not folder(size).exists():
        part = DATA / f"{size}.part"
        shutil.rmtree(part, ignore_errors=True)
        generate(part / "quenbrook" / "calendars" / CALENDAR, size)
        part.rename(store(size))


def libraries(program):
    """What the loader has to find before the program starts."""
    dynamic = subprocess.run(["readelf", "-d", program], check=True, stdout=subprocess.PIPE)
    return sorted(line.split()[-1] for line in dynamic.stdout.decode().splitlines()
                  if "(NEEDED)" in line)


def start_up():
    if libraries(PROGRAM) != libraries(tool("bench_empty")):
        sys.exit("bench_empty is not linked with the libraries of the program: "
                 f"{libraries(PROGRAM)}, not {libraries(tool('bench_empty'))}")
    empty, listing = measure(100, job(tool("bench_empty")), program(SIZES[0], "list-calendars"))
    report("an empty program with the same libraries", empty)
    report("list-calendars", listing, empty, 2)


def reading(size, count):
    print(f"-- {size} events")
    read, month, calendars, one = measure(
        count, job(tool("bench_read_all"), folder(size)), program(size, "list-events", MONTH),
        program(size, "list-calendars"),
        program(size, "get-event",
                {"calendarId": CALENDAR, "eventId": f"{CALENDAR}:{uid(size // 2)}"}))
    report("reading every file", read)
    report("list-events of one month", month, read, 1.5)
    report("list-calendars", calendars)
    report("get-event by identifier", one, calendars, 2)
    (everything,) = measure(2, program(size, "list-events", {
        "startISO": "2020-01-01T00:00:00Z", "endISO": "2030-01-01T00:00:00Z"}))
    report("list-events of ten years", everything)
    return month


def growth(months):
    print("-- growth of list-events of one month")
    for (small, before), (large, after) in zip(months, months[1:]):
        print(f"{small} to {large} events: {large / small:.0f} times the events, "
              f"{after.milliseconds / before.milliseconds:.1f} times the time")


def writing(size, count):
    print(f"-- writing, in a folder of {size} events")
    scratch = DATA / "writing"
    shutil.rmtree(scratch, ignore_errors=True)
    shutil.copytree(store(size), scratch)
    calendar = scratch / "quenbrook" / "calendars" / CALENDAR
    environment = {"XDG_DATA_HOME": str(scratch), "HOME": str(DATA)}
    total = count * ROUNDS
    identifiers = [f"{CALENDAR}:{uid(number)}" for number in range(size) if number % 20][:total]

    def writer(word, requests):
        return job(PROGRAM, word, requests=[json.dumps(request) for request in requests],
                   **environment)

    bare, create, update, cancel = measure(
        count,
        job(tool("bench_bare_write"), calendar,
            requests=[f"bare-{number}" for number in range(total)]),
        writer("create-event", [{
            "calendarId": CALENDAR, "title": f"Created {number}",
            "startISO": "2026-03-01T10:00:00Z", "endISO": "2026-03-01T11:00:00Z",
            "notes": "Some notes", "alarmMinutes": [15]} for number in range(total)]),
        writer("update-event", [{"id": identifier, "patch": {"title": "Updated"}}
                                for identifier in identifiers]),
        writer("cancel-event", [{"id": identifier} for identifier in identifiers]))
    report("bare write, sync, rename, folder sync", bare)
    report("create-event", create, bare, 2.5)
    report("update-event", update, bare, 2.5)
    report("cancel-event", cancel, bare, 2.5)
    shutil.rmtree(scratch)


def khal(size):
    place = DATA / "khal"
    shutil.rmtree(place, ignore_errors=True)
    place.mkdir()
    config = place / "config"
    config.write_text(
        f"[calendars]\n[[calendar]]\npath = {folder(size)}\n"
        f"[sqlite]\npath = {place}/khal.db\n"
        "[locale]\nlocal_timezone = UTC\ndefault_timezone = UTC\ntimeformat = %H:%M\n"
        "dateformat = %Y-%m-%d\nlongdateformat = %Y-%m-%d\n"
        "datetimeformat = %Y-%m-%d %H:%M\nlongdatetimeformat = %Y-%m-%d %H:%M\n")
    command = [shutil.which("khal"), "-c", config, "list", "2026-03-01", "2026-04-01"]
    # The first run fills khal's cache.
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "HOME": str(place)})
    return job(*command, HOME=str(place))


def calcurse(size):
    place = DATA / "calcurse"
    shutil.rmtree(place, ignore_errors=True)
    place.mkdir()
    whole = place / "all.ics"
    with open(whole, "w", newline="") as file:
        file.write("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\n")
        for path in sorted(folder(size).glob("*.ics")):
            text = path.read_bytes().decode()
            file.write(text[text.index("BEGIN:VEVENT"):text.index("END:VCALENDAR")])
        file.write("END:VCALENDAR\r\n")
    command = [shutil.which("calcurse"), "-D", place / "data", "-C", place / "config"]
    (place / "data").mkdir()
    (place / "config").mkdir()
    # It passes over the few series that it does not know and says so by its status.
    subprocess.run([*command, "-q", "-i", whole], check=False, stdout=subprocess.DEVNULL)
    return job(*command, "-Q", "--from", "03/01/2026", "--to", "03/31/2026")


def peers(size):
    print(f"-- other programs, one month out of {size} events")
    for name, make, goal in (("khal", khal, 40), ("calcurse", calcurse, 3)):
        if shutil.which(name) is None:
            print(f"{name} is not installed")
            continue
        other, mine = measure(3, make(size), program(size, "list-events", MONTH))
        report(name, other)
        print(f"list-events is {other.ratio(mine):.1f} times faster, "
              f"{other.ratio_of_work(mine):.1f} times by CPU (goal: {goal})", flush=True)


def main():
    DATA.mkdir(parents=True, exist_ok=True)
    for size in SIZES:
        prepare(size)
    start_up()
    months = [(size, reading(size, max(2, 200_000 // size // 10))) for size in SIZES]
    growth(months)
    middle = SIZES[len(SIZES) // 2]
    writing(middle, 40)
    peers(middle)


main()
