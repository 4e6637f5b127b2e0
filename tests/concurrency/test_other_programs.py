"""Programs that know nothing of the lock change a file between the program's reading and its
renaming: nothing of either is lost."""

import fcntl
import os
import subprocess
import unittest

from pausing import ONE, OTHER, THEIRS, PausingTest
from processes import event
from quenbrook import PROGRAM

SAVE_FAILED = "EVENT_STORE_SAVE_FAILED"
REMOVE_FAILED = "EVENT_STORE_REMOVE_FAILED"

# Before the file is replaced.
LAST_LOOK = "fstatat"


class OtherPrograms(PausingTest):
    def update(self, pause, act):
        return self.interrupted(
            pause, "update-event", b'{"id":"work:one","patch":{"title":"Ours"}}', act)

    def cancel(self, pause, act):
        return self.interrupted(pause, "cancel-event", b'{"id":"work:one"}', act)

    def listed(self):
        return [(event["id"], event["title"], event.get("location")) for event in self.year()]

    def test_an_update_keeps_what_another_program_wrote_meanwhile(self):
        for pause in ("write", "fsync", LAST_LOOK):
            for way in (self.by_rename, self.in_place):
                with self.subTest(pause=pause, way=way.__name__):
                    self.put("work", "one.ics", [ONE])
                    status, _, err = self.update(pause, way(THEIRS, OTHER))
                    self.assertEqual((status, err), (0, b""))
                    self.assertEqual(self.listed(), [
                        ("work:one", "Ours", "Theirs"), ("work:other", "Other", None)])
                    self.assertEqual([path.name for path in self.path.parent.iterdir()],
                                     ["one.ics"])

    def test_a_change_that_keeps_size_and_time_is_seen(self):
        kept = os.stat(self.path)

        def act():
            self.in_place(event("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z",
                                "SUMMARY:Two", uid="one"))()
            os.utime(self.path, ns=(kept.st_atime_ns, kept.st_mtime_ns))
            now = os.stat(self.path)
            self.assertEqual((now.st_size, now.st_mtime_ns), (kept.st_size, kept.st_mtime_ns))

        status, _, err = self.interrupted(
            "fsync", "update-event", b'{"id":"work:one","patch":{"location":"Ours"}}', act)
        self.assertEqual((status, err), (0, b""))
        self.assertEqual(self.listed(), [("work:one", "Two", "Ours")])

    def test_an_event_that_another_program_removed_is_not_brought_back(self):
        for pause in ("write", "fsync", LAST_LOOK):
            with self.subTest(pause=pause):
                self.put("work", "one.ics", [ONE])
                status, out, err = self.update(pause, self.path.unlink)
                self.assertEqual((status, out), (1, b""))
                self.assertIn(SAVE_FAILED.encode(), err)
                self.assertEqual(list(self.path.parent.iterdir()), [])
        self.put("work", "one.ics", [ONE])
        status, out, err = self.cancel(LAST_LOOK, self.path.unlink)
        self.assertEqual((status, out), (1, b""))
        self.assertIn(REMOVE_FAILED.encode(), err)

    def test_an_event_that_another_program_moved_is_found_again(self):
        moved = self.path.with_name("moved.ics")
        status, _, err = self.update("fsync", lambda: self.path.rename(moved))
        self.assertEqual((status, err), (0, b""))
        self.assertEqual(self.listed(), [("work:one", "Ours", None)])
        self.assertEqual([path.name for path in self.path.parent.iterdir()], ["moved.ics"])

    def test_a_cancellation_keeps_what_another_program_added_meanwhile(self):
        for way in (self.by_rename, self.in_place):
            with self.subTest(way=way.__name__):
                self.put("work", "one.ics", [ONE])
                status, _, err = self.cancel(LAST_LOOK, way(THEIRS, OTHER))
                self.assertEqual((status, err), (0, b""))
                self.assertEqual(self.listed(), [("work:other", "Other", None)])

    def test_a_file_that_never_looks_the_same_is_not_written_to(self):
        before = self.path.read_bytes()
        for word, request, code in (
                ("update-event", {"id": "work:one", "patch": {"title": "Ours"}}, SAVE_FAILED),
                ("cancel-event", {"id": "work:one"}, REMOVE_FAILED)):
            with self.subTest(word):
                result = self.run_program(word, request=request, env={
                    **self.preloaded(), "QUENBROOK_RESTLESS_INODES": "1"})
                self.assertEqual((result.status, result.out), (1, b""))
                self.assertIn(code.encode(), result.err)
                self.assertEqual([path.name for path in self.path.parent.iterdir()], ["one.ics"])
                self.assertEqual(self.path.read_bytes(), before)

    def test_a_writer_waits_for_the_lock_and_a_reader_does_not(self):
        before = self.path.read_bytes()
        folder = os.open(self.path.parent, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        fcntl.flock(folder, fcntl.LOCK_EX)
        with subprocess.Popen([PROGRAM, "update-event"], env=self.environment(),
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
            process.stdin.write(b'{"id":"work:one","patch":{"title":"Ours"}}')
            process.stdin.close()
            self.assertEqual(self.listed(), [("work:one", "One", None)])
            self.assertIsNone(process.poll())
            self.assertEqual(self.path.read_bytes(), before)
            # What another program writes while the writer waits is what it starts from.
            self.by_rename(THEIRS, OTHER)()
            fcntl.flock(folder, fcntl.LOCK_UN)
            self.assertEqual(process.stdout.read(), b'{"id":"work:one","updated":true}\n')
        self.assertEqual(self.listed(), [
            ("work:one", "Ours", "Theirs"), ("work:other", "Other", None)])


if __name__ == "__main__":
    unittest.main()
