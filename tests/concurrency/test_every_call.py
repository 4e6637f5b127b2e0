"""Another program changes the file at each system call of a write, and the program is killed there
or is not: the other's change is never lost, and ours is there too or was refused."""

import json
import os
import shutil
import unittest

from pausing import OTHER, THEIRS, PausingTest
from processes import event

UPDATE = ("update-event", b'{"id":"work:one","patch":{"title":"Ours"}}')
CANCEL = ("cancel-event", b'{"id":"work:one"}')
CANCEL_OTHER = ("cancel-event", b'{"id":"work:other"}')
# The call that makes the change.
STEP = {UPDATE: "exchange", CANCEL: "renameat", CANCEL_OTHER: "exchange"}

HERE = event("DTSTART:20260105T100000Z", "SUMMARY:One", "LOCATION:Here", uid="one")
SECOND = event("DTSTART:20260105T100000Z", "SUMMARY:One", "LOCATION:Second", uid="one")


QUARANTINE = ".quenbrook.quarantine-"


def content_of(path):
    if path.is_symlink():
        return os.readlink(path)
    if path.is_dir():
        return sorted(os.listdir(path))
    return path.read_bytes() if path.is_file() else "other"


class EveryCall(PausingTest):
    def setUp(self):
        super().setUp()
        self.work = self.path.parent
        self.ways = {
            "rename": self.by_rename(THEIRS, OTHER),
            "in place": self.in_place(THEIRS, OTHER),
            "unseen": self.unseen,
            "removal": lambda: self.path.unlink(missing_ok=True),
            "moving": self.moving,
            "folder": self.by_folder,
            "link": self.by_link,
            "fifo": self.by_fifo,
            "mode": lambda: self.path.exists() and os.chmod(self.path, 0o640),
        }

    # What another program does.

    def unseen(self):
        """In place, with the size and the time that the file had."""
        if self.path.exists():
            kept = self.path.stat()
            text = self.path.read_bytes()
            self.path.write_bytes(text.replace(b"LOCATION:Here", b"LOCATION:Away"))
            os.utime(self.path, ns=(kept.st_atime_ns, kept.st_mtime_ns))

    def moving(self):
        if self.path.exists():
            self.path.rename(self.path.with_name("moved.ics"))

    def by_folder(self):
        self.path.unlink(missing_ok=True)
        self.path.mkdir()
        (self.path / "kept").write_text("kept")

    def by_link(self):
        self.path.unlink(missing_ok=True)
        self.path.symlink_to("elsewhere")

    def by_fifo(self):
        self.path.unlink(missing_ok=True)
        os.mkfifo(self.path)

    # What there is.

    def lay_out(self, run):
        shutil.rmtree(self.work)
        self.put("work", "one.ics", [HERE, OTHER] if run == CANCEL_OTHER else [HERE])

    def state(self):
        """All that is in the calendar but for our own files."""
        return {path.name: content_of(path) for path in self.work.iterdir()
                if not path.name.startswith(".")}

    def quarantined(self):
        return [content_of(path) for path in self.work.iterdir()
                if path.name.startswith(QUARANTINE)]

    def next_writer(self):
        if self.path.is_dir():
            # With a folder in it, it is no calendar any more.
            return
        made = self.answer("create-event", {
            "calendarId": "work", "title": "Next", "startISO": "2027-01-05T10:00:00Z",
            "endISO": "2027-01-05T11:00:00Z"})["id"]
        (self.work / (made.removeprefix("work:") + ".ics")).unlink()

    def has_ours(self, run, content):
        if run == UPDATE:
            return b"SUMMARY:Ours" in content
        return (b"UID:one" if run == CANCEL else b"UID:other") not in content

    def assert_holds_both(self, run, way, files, is_killed):
        """Of theirs all is there but what ours is to change."""
        if way == "removal" or run == CANCEL and way in ("unseen", "moving", "mode"):
            self.assertEqual(files, {})
            return
        content, = files.values()
        name, = files
        self.assertEqual(name, "moved.ics" if way == "moving" else "one.ics")
        self.assertTrue(self.has_ours(run, content), content)
        if way in ("rename", "in place"):
            kept = b"UID:one" if run == CANCEL_OTHER else b"UID:other"
            self.assertIn(kept, content)
            if run != CANCEL:
                self.assertIn(b"LOCATION:Theirs", content)
        elif way == "unseen":
            self.assertIn(b"LOCATION:Away", content)
        elif way == "mode" and not is_killed:
            self.assertEqual(self.path.stat().st_mode & 0o777, 0o640)

    def one(self, run, calls, call, way, is_killed):
        self.lay_out(run)
        theirs = {}

        def act():
            self.ways[way]()
            theirs.update(self.state())
        variables = {"QUENBROOK_KILL_AFTER": call} if is_killed else {}
        status, out, err = self.interrupted(call, *run, act, **variables)
        if is_killed:
            self.assertLess(status, 0)
        was_calendar = not self.path.is_dir()
        self.next_writer()
        files = self.state()
        if was_calendar:
            left = [name for name in os.listdir(self.work) if name.startswith(".")]
            self.assertLessEqual(len(left), 1 if is_killed else 0, left)
            self.assertTrue(all(name.startswith(QUARANTINE) for name in left), left)
        if calls.index(call) > calls.index(STEP[run]):
            # Theirs came after ours.
            self.assertEqual(files, theirs)
        elif is_killed:
            # The next writer does not decide: theirs may be what was out when the run was killed.
            if files != theirs and not (theirs and set(map(str, theirs.values())) <= set(
                    map(str, self.quarantined()))):
                self.assert_holds_both(run, way, files, is_killed)
        elif status == 0:
            self.assertEqual(err, b"")
            self.assert_holds_both(run, way, files, is_killed)
        else:
            self.assertIn(json.loads(err)["code"],
                          ("EVENT_STORE_SAVE_FAILED", "EVENT_STORE_REMOVE_FAILED"))
            self.assertEqual(files, theirs)
            self.assertIn(way, ("removal", "folder", "link", "fifo"))

    def test_of_an_update(self):
        self.at_every_call(UPDATE, self.ways)

    def test_of_a_removal(self):
        self.at_every_call(CANCEL, self.ways)

    def test_of_a_cancellation_in_a_shared_file(self):
        self.at_every_call(CANCEL_OTHER, ("rename", "in place"))

    def at_every_call(self, run, ways):
        self.lay_out(run)
        calls = self.calls(*run)
        self.assertIn(STEP[run], calls)
        self.assertLess(calls.index(STEP[run]), calls.index("fsync-directory"))
        # What comes before the last look is what the look is for.
        last_look = max(i for i, call in enumerate(calls[:calls.index(STEP[run])])
                        if call.startswith("fstatat"))
        for call in calls[last_look:]:
            for way in ways:
                for is_killed in (False, True):
                    with self.subTest(call=call, way=way, is_killed=is_killed):
                        self.one(run, calls, call, way, is_killed)

    def test_of_two_other_writes(self):
        """The second one comes while the first is put back: neither is destroyed unless the second
        was written over the first."""
        first = self.by_rename(THEIRS, OTHER)
        self.lay_out(UPDATE)
        self.interrupted("exchange", *UPDATE, first, QUENBROOK_LIST=str(self.fresh_list()))
        _, *calls = self.listed_calls("exchange", "unlinkat")
        self.assertIn("exchange#2", calls)
        for call in calls:
            for way in (self.by_rename, self.in_place):
                for is_killed in (False, True):
                    with self.subTest(call=call, way=way.__name__, is_killed=is_killed):
                        self.lay_out(UPDATE)
                        before = []

                        def second():
                            before.append(self.path.read_bytes())
                            way(SECOND)()
                        variables = {"QUENBROOK_KILL_AFTER": call} if is_killed else {}
                        self.interrupted(f"exchange {call}", *UPDATE, first, second, **variables)
                        self.next_writer()
                        names = os.listdir(self.work)
                        contents = [(self.work / name).read_bytes() for name in names]
                        self.assertTrue(any(b"LOCATION:Second" in each for each in contents))
                        if b"LOCATION:Theirs" not in before[0]:
                            self.assertTrue(any(b"LOCATION:Theirs" in each for each in contents))
                        if not is_killed:
                            self.assertIn(b"LOCATION:Second", self.path.read_bytes())
                        self.assertNotIn(".quenbrook.tmp", names)


if __name__ == "__main__":
    unittest.main()
