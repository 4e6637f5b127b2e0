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
SIZES = [int(size) for size in sys.argv[2:]] or [100, 1_000, 10_000, 100_000]
# What khal and calcurse read takes them minutes to take in beyond this.
LARGEST_FOR_PEERS = 10_000
DATA = BUILD / "data"
PROGRAM = BUILD / "src" / "quenbrook"
DROP_CACHES = pathlib.Path("/proc/sys/vm/drop_caches")
# Of the program, when it has to wait for the disk.
MOST_THREADS = 16
MONTH = {"startISO": "2026-03-01T00:00:00Z", "endISO": "2026-04-01T00:00:00Z"}
CALENDAR = "account/calendar"
# To reading alone with one thread, by the number of events.
GOALS_WARM = {1_000: 1.2, 10_000: 0.8}
GOALS_COLD = {10_000: 0.3}
# From here on it is the answer that takes the memory.
LARGE_ANSWER = 100 << 20
# The milliseconds of what is drawn: by what was run and how (warm or cold), then by size.
RESULTS = {}


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


def can_drop_caches():
    try:
        DROP_CACHES.write_text("3")
        return True
    except OSError as error:
        print(f"no cold runs: {error} (they need root)")
        return False


def measure_cold(warm_up, *jobs):
    """The same, each run alone and after the system has forgotten all files but the programs."""
    samples = [[] for _ in jobs]
    listed = DATA / "requests"
    for _ in range(ROUNDS):
        for number, (requests, command, environment) in enumerate(jobs):
            listed.write_text(requests[0] + "\n")
            os.sync()
            DROP_CACHES.write_text("3")
            listed.read_bytes()
            for program in [tool("bench_measure"), *warm_up]:
                pathlib.Path(program).read_bytes()
            result = subprocess.run(
                [tool("bench_measure"), "1", listed, *command], check=True,
                stdout=subprocess.PIPE, env={**os.environ, **environment})
            samples[number].append([int(value) for value in result.stdout.split()])
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
                 f"of CPU {times.ratio_of_work(baseline):5.2f}")
    if goal is not None:
        text += f" (goal: at most {goal})"
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
    report("list-calendars", listing, empty, 1.3)
    rows = [("an empty program", empty), ("list-calendars", listing)]
    for name in ("calcurse", "khal"):
        if shutil.which(name):
            (version,) = measure(3, job(shutil.which(name), "--version"))
            report(f"{name} --version", version)
            rows.append((f"{name} --version", version))
    (DATA / "start-up.dat").write_text("".join(
        f'{number} "{name}" {times.milliseconds:.3f}\n' for number, (name, times) in enumerate(rows)))


def threads(size, most=os.cpu_count()):
    """As many as the program reads with, from memory or at most."""
    return max(1, min(most, size // 64))


def bare_reading(size, count):
    return job(tool("bench_read_all"), folder(size), str(count))


def note(what, kind, size, times):
    RESULTS.setdefault((what, kind), {})[size] = times.milliseconds


def reading(size, count, cold):
    print(f"-- {size} events")
    read, crowd, month, calendars, one = measure(
        count, bare_reading(size, 1), bare_reading(size, threads(size)),
        program(size, "list-events", MONTH),
        program(size, "list-calendars"),
        program(size, "get-event",
                {"calendarId": CALENDAR, "eventId": f"{CALENDAR}:{uid(size // 2)}"}))
    report("reading every file, 1 thread", read)
    report("list-events of one month", month, read, GOALS_WARM.get(size))
    report(f"reading every file, {threads(size)} threads", crowd)
    report("list-events, to as many threads", month, crowd, GOALS_WARM.get(size) and 1.35)
    report("list-calendars", calendars)
    report("get-event by identifier", one, calendars, 2)
    note("list-events", "warm", size, month)
    note("reading alone", "warm", size, read)
    if cold:
        read, crowd, one_month = measure_cold(
            [tool("bench_read_all"), PROGRAM], bare_reading(size, 1),
            bare_reading(size, threads(size, MOST_THREADS)), program(size, "list-events", MONTH))
        report("cold: reading every file, 1 thread", read)
        report("cold: list-events of one month", one_month, read, GOALS_COLD.get(size))
        report(f"cold: reading every file, {threads(size, MOST_THREADS)} threads", crowd)
        report("cold: list-events, to as many threads", one_month, crowd,
               GOALS_COLD.get(size) and 1.35)
        note("list-events", "cold", size, one_month)
        note("reading alone", "cold", size, read)
    searching(size, max(2, count // 2))
    everything = {"startISO": "2020-01-01T00:00:00Z", "endISO": "2030-01-01T00:00:00Z"}
    (all_of_it,) = measure(2, program(size, "list-events", everything))
    report("list-events of ten years", all_of_it)
    answer = subprocess.run(
        [PROGRAM, "list-events"], input=json.dumps(everything).encode(), check=True,
        stdout=subprocess.PIPE, env={**os.environ, "XDG_DATA_HOME": str(store(size))}).stdout
    if len(answer) > LARGE_ANSWER:
        print(f"its answer is {len(answer) / (1 << 20):.1f} MiB: memory "
              f"{all_of_it.megabytes * (1 << 20) / len(answer):.2f} times that (goal: at most 2.5)")
    return month


def searching(size, count):
    """Events whose files are named after something else."""
    renamed = DATA / f"{size}-renamed"
    if not renamed.exists():
        part = DATA / f"{size}-renamed.part"
        shutil.rmtree(part, ignore_errors=True)
        calendar = part / "quenbrook" / "calendars" / CALENDAR
        calendar.mkdir(parents=True)
        for number in range(size):
            os.link(folder(size) / f"{uid(number)}.ics", calendar / f"event-{number:06}.ics")
        part.rename(renamed)
    requests = [json.dumps({"calendarId": CALENDAR, "eventId": f"{CALENDAR}:{uid(size - 1)}"})]
    crowd, last = measure(
        count, bare_reading(size, threads(size)),
        job(PROGRAM, "get-event", requests=requests, XDG_DATA_HOME=str(renamed), HOME=str(DATA)))
    report("get-event by search, the last file", last, crowd, 1.35)


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


def peers(size, cold):
    print(f"-- other programs, one month out of {size} events")
    for name, make, goal in (("khal", khal, 35), ("calcurse", calcurse, 3)):
        if shutil.which(name) is None:
            print(f"{name} is not installed")
            continue
        other_job, mine_job = make(size), program(size, "list-events", MONTH)
        other, mine = measure(3, other_job, mine_job)
        report(name, other)
        print(f"list-events is {other.ratio(mine):.1f} times faster, "
              f"{other.ratio_of_work(mine):.1f} times by CPU (goal: {goal})", flush=True)
        note(name, "warm", size, other)
        if cold:
            other, mine = measure_cold([PROGRAM, shutil.which(name)], other_job, mine_job)
            report(f"cold: {name}", other)
            print(f"list-events is {other.ratio(mine):.1f} times faster", flush=True)
            note(name, "cold", size, other)


def write_table(path, columns, sizes):
    """For gnuplot: one line for each size, a question mark for what was not measured."""
    lines = [" ".join([str(size), *(f"{RESULTS[column][size]:.3f}"
                                    if size in RESULTS.get(column, {}) else "?"
                                    for column in columns)]) for size in sizes]
    path.write_text("\n".join(lines) + "\n")


def plot():
    """Draws what was measured: reading.svg and start-up.svg in the build folder."""
    columns = [(what, kind) for kind in ("warm", "cold")
               for what in ("khal", "calcurse", "reading alone", "list-events")]
    write_table(DATA / "reading.dat", columns, SIZES)
    place = pathlib.Path(__file__).resolve().parent
    for name in ("reading", "start-up"):
        subprocess.run(["gnuplot", "-e", f"data='{DATA / name}.dat'; "
                        f"output='{BUILD / name}.svg'", place / f"{name}.gnuplot"], check=True)
        print(f"drawn: {BUILD / name}.svg")


def main():
    DATA.mkdir(parents=True, exist_ok=True)
    for size in SIZES:
        prepare(size)
    cold = can_drop_caches()
    start_up()
    months = [(size, reading(size, max(2, min(100, 200_000 // size // 10)), cold))
              for size in SIZES]
    growth(months)
    for size in SIZES:
        if size <= LARGEST_FOR_PEERS:
            peers(size, cold)
    writing(min(SIZES[-1], 10_000), 40)
    plot()


main()
