"""Eight processes create, update and cancel events of one calendar while two others list it."""

import collections
import itertools
import multiprocessing
import random
import re
import traceback
import unittest

from processes import TIMES, YEAR, QuenbrookTest, answer, calendar_text, event

WRITERS = 8
READERS = 2
OPERATIONS = 500
SHARED_PER_WRITER = 10
UNTOUCHED = 10

MARK = re.compile(r"(?P<owner>[a-z0-9-]+)#(?P<version>\d+)#x*")


def mark(owner, version):
    """A text that tells which write it comes from; short and long ones alternate, so that no part
    of one passes for the other."""
    return f"{owner}#{version}#" + "x" * (version % 3 * 90)


def texts(owner, version):
    return dict.fromkeys(("title", "location", "notes"), mark(owner, version))


def shared_event(uid, owner):
    text = mark(owner, 0)
    return event("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SEQUENCE:0",
                 f"SUMMARY:{text}", f"LOCATION:{text}", f"DESCRIPTION:{text}", uid=uid)


class Writer:
    """What one process has to do. `events` is what the calendar must hold of it: for each
    identifier the text of its last write and how often it was updated."""

    def __init__(self, number):
        self.number = number
        self.chance = random.Random(number)
        self.created = itertools.count()
        self.events = {f"work:shared-{number}-{i}": (f"shared-{number}-{i}", 0)
                       for i in range(SHARED_PER_WRITER)}
        self.done = collections.Counter()

    def work(self, environment):
        steps = ["create", "update", "cancel"] * OPERATIONS
        self.chance.shuffle(steps)
        while steps:
            # Whoever has no event left makes one first.
            step = steps.pop(-1 if self.events else steps.index("create"))
            getattr(self, step)(environment)
            self.done[step] += 1
        return self.events, self.done

    def create(self, environment):
        owner = f"writer-{self.number}-{next(self.created)}"
        made = answer(environment, "create-event", dict(
            calendarId="work", **texts(owner, 0), **TIMES))
        assert made["id"] not in self.events
        self.events[made["id"]] = (owner, 0)

    def update(self, environment):
        identifier = self.any_event()
        owner, version = self.events[identifier]
        answer(environment, "update-event", dict(
            id=identifier, patch=texts(owner, version + 1)))
        self.events[identifier] = (owner, version + 1)

    def cancel(self, environment):
        identifier = self.any_event()
        answer(environment, "cancel-event", dict(id=identifier))
        del self.events[identifier]

    def any_event(self):
        return self.chance.choice(list(self.events))


class Reader:
    """Lists the calendar until it is told to stop; each answer must be one that could have been."""

    def __init__(self):
        self.versions = {}
        self.listings = 0

    def work(self, environment, stop):
        while not stop.wait(0.1):
            self.look(answer(environment, "list-events", YEAR)["events"])
            self.listings += 1
        return self.listings

    def look(self, events):
        identifiers = [event["id"] for event in events]
        assert len(set(identifiers)) == len(identifiers), "an event is listed twice"
        untouched = [identifier for identifier in identifiers
                     if identifier.startswith("work:untouched-")]
        assert len(untouched) == UNTOUCHED, "an event that nobody touches is not listed"
        for event in events:
            self.look_at(event)

    def look_at(self, event):
        match = MARK.fullmatch(event["title"])
        assert match, event
        version = int(match["version"])
        assert event["title"] == mark(match["owner"], version), event
        assert event["title"] == event["location"] == event["notes"], event
        last = self.versions.setdefault(event["id"], (match["owner"], version))
        assert last[0] == match["owner"] and last[1] <= version, (last, event)
        self.versions[event["id"]] = (match["owner"], version)


def report(results, work, *arguments):
    try:
        results.put(("done", work(*arguments)))
    except BaseException:
        results.put(("failed", traceback.format_exc()))


class ManyWriters(QuenbrookTest):
    def setUp(self):
        super().setUp()
        shared = [shared_event(f"shared-{writer}-{i}", f"shared-{writer}-{i}")
                  for i in range(SHARED_PER_WRITER) for writer in range(WRITERS)]
        untouched = [shared_event(f"untouched-{i}", "untouched") for i in range(UNTOUCHED)]
        self.put("work", "0-shared.ics", calendar_text(*shared, *untouched))

    def test_lose_and_double_nothing(self):
        context = multiprocessing.get_context("fork")
        stop = context.Event()
        written, read = context.SimpleQueue(), context.SimpleQueue()
        environment = self.environment()
        writers = [context.Process(target=report, args=(written, Writer(number).work, environment))
                   for number in range(WRITERS)]
        readers = [context.Process(target=report, args=(read, Reader().work, environment, stop))
                   for _ in range(READERS)]
        for process in writers + readers:
            process.start()
        outcomes = [written.get() for _ in writers]
        stop.set()
        listings = [read.get() for _ in readers]
        for process in writers + readers:
            process.join()

        for outcome, what in outcomes + listings:
            self.assertEqual(outcome, "done", what)
        self.assertTrue(all(count > 0 for _, count in listings))
        expected = {}
        for _, (events, done) in outcomes:
            self.assertEqual(
                done, dict(create=OPERATIONS, update=OPERATIONS, cancel=OPERATIONS))
            expected.update(events)
        self.assertEqual(len(expected), WRITERS * SHARED_PER_WRITER)
        self.assert_holds(expected)

    def assert_holds(self, expected):
        listed = {event["id"]: event for event in self.year()
                  if not event["id"].startswith("work:untouched-")}
        self.assertEqual(set(listed), set(expected))
        for identifier, (owner, version) in expected.items():
            event = listed[identifier]
            self.assertEqual({event["title"], event["location"], event["notes"]},
                             {mark(owner, version)})
        # Every update is counted in the event: one that was lost and made again would show.
        self.assertEqual(self.sequences(), {identifier.removeprefix("work:"): version
                                            for identifier, (_, version) in expected.items()})
        self.assertEqual([path.name for path in (self.store / "work").iterdir()
                          if path.suffix != ".ics"], [])

    def sequences(self):
        found = {}
        for path in (self.store / "work").glob("*.ics"):
            for component in path.read_text().split("BEGIN:VEVENT")[1:]:
                uid = re.search(r"^UID:(.*)$", component, re.MULTILINE)[1]
                self.assertNotIn(uid, found)
                found[uid] = int(re.search(r"^SEQUENCE:(\d+)$", component, re.MULTILINE)[1])
        return {uid: sequence for uid, sequence in found.items()
                if not uid.startswith("untouched-")}


if __name__ == "__main__":
    unittest.main()
