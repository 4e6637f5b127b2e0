"""What is told is on the disk by then: the order of the system calls."""

import os
import unittest

from tracing import traced
from writers import QUARANTINE, TEMPORARY, WRITES, WritersTest


class Order(WritersTest):
    def position(self, calls, name, text, place=None):
        """The one call of this name that has to do with this text, or this place."""
        found = [i for i, call in enumerate(calls) if call.name == name and text in call.text
                 and place in (None, call.place)]
        self.assertEqual(len(found), 1, (name, text, [call.text for call in calls]))
        self.assertEqual(calls[found[0]].result, "0", calls[found[0]].text)
        return found[0]

    def writes_to(self, calls, place):
        return [i for i, call in enumerate(calls) if call.name == "write" and call.place == place]

    def answer_written(self, calls):
        found = [i for i, call in enumerate(calls)
                 if call.name == "write" and "(1<" in call.text]
        self.assertEqual(len(found), 1)
        return found[0]

    def calls(self, write):
        self.lay_out()
        result, calls = traced(self, write.word, write.request)
        self.assert_success_told(write, result)
        return calls

    def test_of_a_write(self):
        temporary = str(self.work / TEMPORARY)
        for write in WRITES:
            if write.name == "cancel one":
                continue
            with self.subTest(write=write.name):
                calls = self.calls(write)
                locked = self.position(calls, "flock", "LOCK_EX")
                opened = [i for i, call in enumerate(calls)
                          if call.name == "openat" and f'"{TEMPORARY}"' in call.text]
                self.assertEqual(len(opened), 1)
                for flag in ("O_CREAT", "O_EXCL", "O_NOFOLLOW", "O_CLOEXEC"):
                    self.assertIn(flag, calls[opened[0]].text)
                written = self.writes_to(calls, temporary)
                self.assertTrue(written)
                self.assertTrue(calls[locked].place == calls[opened[0]].place == str(self.work))
                flag = "RENAME_NOREPLACE" if write.target is None else "RENAME_EXCHANGE"
                order = [
                    locked, opened[0], written[0], written[-1],
                    self.position(calls, "fsync", temporary),
                    self.position(calls, "renameat2", flag),
                    self.position(calls, "fsync", "", place=str(self.work)),
                    self.position(calls, "flock", "LOCK_UN"),
                    self.answer_written(calls),
                ]
                self.assertEqual(order, sorted(order))
                if write.target is not None:
                    self.assert_checked_before(calls, write.target, order[4], order[5])
                    self.assert_looked_at(calls, order[4], order[6])

    def assert_checked_before(self, calls, target, synced, renamed):
        """The file is looked at again just before it is replaced."""
        looks = [i for i, call in enumerate(calls)
                 if call.name in ("newfstatat", "fstatat64") and f'"{target}"' in call.text]
        self.assertTrue(any(synced < i < renamed for i in looks))

    def assert_looked_at(self, calls, synced, directory_synced):
        """What is taken out of the directory is looked at before it is removed; and no sync is made
        for that."""
        out = [i for i, call in enumerate(calls)
               if call.name.startswith("rename") and QUARANTINE in call.text]
        read = [i for i, call in enumerate(calls)
                if call.name == "read" and QUARANTINE in call.place]
        self.assertTrue(out)
        self.assertTrue(read)
        order = [synced, *out, *read, self.position(calls, "unlinkat", QUARANTINE),
                 directory_synced]
        self.assertEqual(order, sorted(order))
        self.assertLessEqual(len([call for call in calls if call.name == "fsync"]), 2)

    def test_of_a_removal(self):
        write = next(write for write in WRITES if write.name == "cancel one")
        calls = self.calls(write)
        order = [
            self.position(calls, "flock", "LOCK_EX"),
            self.position(calls, "renameat", '"one.ics"'),
            self.position(calls, "fsync", "", place=str(self.work)),
            self.answer_written(calls),
        ]
        self.assert_looked_at(calls, order[0], order[2])
        self.assertEqual(order, sorted(order))

    def test_of_reading_waits_for_nobody(self):
        """No lock is taken, nothing synced and nothing written, for a listing."""
        self.lay_out()
        result, calls = traced(self, "list-events", dict(
            startISO="2026-01-01T00:00:00Z", endISO="2027-01-01T00:00:00Z"))
        self.assertEqual(result.status, 0)
        self.assertEqual([call.text for call in calls if call.name in ("flock", "fsync")], [])
        self.assertEqual([call.text for call in calls if call.name == "write"],
                         [calls[self.answer_written(calls)].text])

    def test_of_the_first_run(self):
        data = self.place / "fresh"
        result, calls = traced(self, "list-calendars", b"", env={"XDG_DATA_HOME": str(data)})
        self.assertEqual(result.status, 0)
        parent = data / "quenbrook"
        renamed = self.position(calls, "renameat2", f'"{parent}/calendars"')
        root = calls[renamed].text.split('"')[1]
        self.assertEqual(os.path.dirname(root), str(parent))
        unfinished = [call.place for call in calls[:renamed] if call.name == "fsync"]
        self.assertEqual(unfinished.count(f"{root}/local/{TEMPORARY}"), 1)
        self.assertEqual(unfinished.count(f"{root}/local/calendar/{TEMPORARY}"), 2)
        # Each folder is synced after the last change in it.
        for folder in (root, f"{root}/local", f"{root}/local/calendar"):
            changed = [i for i, call in enumerate(calls) if call.name in ("mkdir", "renameat2")
                       and call.result == "0" and self.changes(call, folder)]
            synced = [i for i, call in enumerate(calls)
                      if call.name == "fsync" and call.place == folder]
            self.assertTrue(changed)
            self.assertTrue(synced and changed[-1] < synced[-1] < renamed, folder)
        # And so is each folder above the root that had to be made.
        for folder in (data.parent, data):
            self.position(calls, "fsync", "", place=str(folder))
        order = [renamed, self.position(calls, "fsync", "", place=str(parent)),
                 self.answer_written(calls)]
        self.assertEqual(order, sorted(order))

    @staticmethod
    def changes(call, folder):
        """Whether this mkdir or rename makes an entry of this folder."""
        if call.name == "mkdir":
            return os.path.dirname(call.text.split('"')[1]) == folder
        return call.place == folder


if __name__ == "__main__":
    unittest.main()
