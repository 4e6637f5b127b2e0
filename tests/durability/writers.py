"""A calendar, the writes that are tried on it, and what a write may leave behind: the calendar as
it was, or as it is to be, and nothing else."""

import collections
import json
import pathlib
import re
import shutil
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))

from quenbrook import PROGRAM, QuenbrookTest, calendar_text, event

TEMPORARY = ".quenbrook.tmp"
QUARANTINE = ".quenbrook.quarantine-"
MANY = 200

# target: the file that the write changes; None when it makes one.
Write = collections.namedtuple("Write", "name word request target")

TIMES = dict(startISO="2026-07-05T10:00:00Z", endISO="2026-07-05T11:00:00Z")
WRITES = [
    Write("create", "create-event", dict(calendarId="work", title="New", **TIMES), None),
    Write("create large", "create-event", dict(
        calendarId="work", title="New", notes="All the world's a stage. " * 8000,
        alarmMinutes=[5], recurrenceRule=dict(frequency="weekly", interval=1), **TIMES), None),
    Write("update one", "update-event", dict(
        id="work:one", patch=dict(title="Changed", notes="Longer than before. " * 50)), "one.ics"),
    Write("update of many", "update-event", dict(
        id="work:many-100", patch=dict(title="Changed", **TIMES)), "many.ics"),
    Write("cancel one", "cancel-event", dict(id="work:one"), "one.ics"),
    Write("cancel of many", "cancel-event", dict(id="work:many-100"), "many.ics"),
]

FAILURE = {
    "create-event": ("EVENT_STORE_SAVE_FAILED", "EventKit save failed"),
    "update-event": ("EVENT_STORE_SAVE_FAILED", "EventKit save failed"),
    "cancel-event": ("EVENT_STORE_REMOVE_FAILED", "EventKit remove failed"),
}


def one_event(uid, title):
    return event("DTSTART;TZID=Europe/Berlin:20260105T100000", "DURATION:PT1H",
                 f"SUMMARY:{title}", "X-KEPT;X-PARAMETER=\"a;b\":kept", "CATEGORIES:KEPT", uid=uid)


CALENDAR = {
    "displayname": b"Work",
    "neighbour.ics": calendar_text(one_event("neighbour", "Neighbour")).encode(),
    "one.ics": calendar_text(one_event("one", "One")).encode(),
    "many.ics": calendar_text(
        *(one_event(f"many-{i:03}", f"Many {i:03}") for i in range(MANY))).encode(),
}

STAMP = re.compile(rb"^(DTSTAMP|CREATED|LAST-MODIFIED):\d{8}T\d{6}Z", re.MULTILINE)
UID = re.compile(rb"^UID:[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\r$", re.MULTILINE)


def without_chance(content):
    """A file less what differs from one write to the next."""
    return content and UID.sub(b"UID:random\r", STAMP.sub(rb"\1:now", content))


class WritersTest(QuenbrookTest):
    program = PROGRAM

    def environment(self, **changes):
        return super().environment(**{"TZ": "Europe/Berlin", **changes})

    def setUp(self):
        super().setUp()
        self.work = self.store / "work"
        self.finished = {}
        for write in WRITES:
            self.lay_out()
            self.answer(write.word, write.request)
            file, content = self.changed_file()
            self.assertEqual(write.target or file, file)
            titles = self.list_titles()
            self.finished[write.name] = (without_chance(content), titles)
        self.lay_out()
        self.untouched_titles = self.list_titles()
        self.assertEqual(len(self.untouched_titles), MANY + 2)

    def lay_out(self):
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir()
        for name, content in CALENDAR.items():
            (self.work / name).write_bytes(content)

    def files(self):
        """The files of the calendar; what a writer left under a name of its own is none."""
        return {path.name: path.read_bytes() for path in self.work.iterdir()
                if path.name != TEMPORARY and not path.name.startswith(QUARANTINE)}

    def quarantined(self):
        return [path.read_bytes() for path in self.work.iterdir()
                if path.name.startswith(QUARANTINE)]

    def assert_quarantined(self, write):
        """At most one file is: what was replaced or removed, or what was to replace it."""
        contents = self.quarantined()
        self.assertLessEqual(len(contents), 1)
        for content in contents:
            self.assertIn(without_chance(content), [
                without_chance(CALENDAR.get(write.target)), self.finished[write.name][0]])

    def left_over(self):
        return sorted(path.name for path in self.work.iterdir() if path.name.startswith("."))

    def changed_file(self):
        """The one file that is not as it was laid out, with its content."""
        now = self.files()
        changed = [(name, now.get(name)) for name in sorted(now.keys() | CALENDAR.keys())
                   if now.get(name) != CALENDAR.get(name)]
        self.assertLessEqual(len(changed), 1, [name for name, _ in changed])
        return changed[0] if changed else (None, None)

    def list_titles(self):
        return sorted(self.titles(self.year()))

    def outcome(self, write):
        """Whether the calendar is "old" or "new"; a failure of the test when it is neither."""
        file, content = self.changed_file()
        if file is None:
            return "old"
        if write.target is None:
            self.assertNotIn(file, CALENDAR)
            self.assertIn(b"\r\nUID:" + file.removesuffix(".ics").encode() + b"\r\n", content)
        else:
            self.assertEqual(file, write.target)
        self.assertEqual(without_chance(content), self.finished[write.name][0])
        return "new"

    def assert_listed(self, write, outcome):
        """Exactly the old or the new events are listed: nothing of a temporary file."""
        self.assertEqual(self.list_titles(), self.untouched_titles if outcome == "old"
                         else self.finished[write.name][1])

    def assert_next_write_works(self):
        before, quarantined = self.files(), self.quarantined()
        answer = self.answer("create-event", dict(calendarId="work", title="Next", **TIMES))
        after = self.files()
        new = answer["id"].removeprefix("work:") + ".ics"
        self.assertIn(b"SUMMARY:Next\r\n", after.pop(new))
        self.assertEqual(after, before)
        # Whatever else was left over is cleared away by then.
        self.assertEqual(self.quarantined(), quarantined)
        self.assertEqual([name for name in self.left_over() if not name.startswith(QUARANTINE)],
                         [])

    def assert_success_told(self, write, result):
        self.assertEqual((result.status, result.err), (0, b""), result)
        answer = json.loads(result.out)
        if write.target is None:
            file, _ = self.changed_file()
            self.assertEqual(answer["id"], "work:" + file.removesuffix(".ics"))
        else:
            self.assertEqual(answer["id"], write.request["id"])
