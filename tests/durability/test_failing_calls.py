"""A system call that fails in the middle of a write: the calendar stays whole, and what is told is
what happened."""

import json
import resource
import unittest

from tracing import tampered, traced
from writers import CALENDAR, FAILURE, WRITES, WritersTest

# Calls that a signal can interrupt, and that do what they were asked when made again.
INTERRUPTIBLE = {"fchmod", "flock", "fsync", "getrandom", "openat", "read", "renameat",
                 "renameat2", "unlinkat", "write"}

# What is told when the request could not be read, or its event or calendar not be looked up.
LOOKUP_CODES = {"MISSING_ARGS", "UNKNOWN"}


class FailingCalls(WritersTest):
    def calls_on_files(self, write):
        """The calls of an undisturbed run that have to do with the store, the request or the
        answer, and how many of them come before the lock is taken."""
        self.lay_out()
        result, calls = traced(self, write.word, write.request)
        self.assert_success_told(write, result)
        calls = [call for call in calls
                 if str(self.store) in call.text or call.name == "getrandom"
                 or call.text.split("(")[1].startswith(("0<", "1<"))]
        locked = next(i for i, call in enumerate(calls) if call.name == "flock")
        return calls, locked

    def assert_failure_told(self, write, result, before_lock):
        self.assertEqual((result.status, result.out), (1, b""), result)
        code = json.loads(result.err)["code"]
        expected = FAILURE[write.word][0]
        self.assertIn(code, {expected} | (LOOKUP_CODES if before_lock else set()))

    def assert_truth_told(self, write, call, result, before_lock):
        outcome = self.outcome(write)
        if result.status == 0 and call.text.split("(")[1].startswith("1<"):
            # Nobody can be told when the answer cannot be written.
            self.assertEqual((outcome, result.out, result.err), ("new", b"", b""))
        elif result.status == 0:
            self.assert_success_told(write, result)
            self.assertEqual(outcome, "new")
        else:
            self.assert_failure_told(write, result, before_lock)
            # A folder that cannot be synced is told as a failure after the rename or the removal;
            # only a new file can be taken back.
            unsynced = call.name == "fsync" and call.place == str(self.work)
            taken_back = write.word == "create-event"
            self.assertEqual(outcome, "new" if unsynced and not taken_back else "old")
        self.assert_listed(write, outcome)
        self.assertTrue(call.name == "unlinkat" or self.quarantined() == [])
        self.assert_quarantined(write)
        self.assert_next_write_works()

    def test_with_an_error_of_the_disk(self):
        for write in WRITES:
            calls, locked = self.calls_on_files(write)
            for number, call in enumerate(calls):
                for error in ("EIO", "ENOSPC"):
                    with self.subTest(write=write.name, error=error, call=call.text):
                        self.lay_out()
                        result = tampered(self, write.word, write.request, call, f"error={error}")
                        self.assert_truth_told(write, call, result, number < locked)

    def test_interrupted_by_signals(self):
        for write in WRITES:
            calls, _ = self.calls_on_files(write)
            names = {call.name for call in calls}
            self.assertLessEqual({"flock", "fsync", "openat", "read"}, names)
            for call in calls:
                if call.name not in INTERRUPTIBLE:
                    continue
                with self.subTest(write=write.name, call=call.text):
                    self.lay_out()
                    result = tampered(
                        self, write.word, write.request, call, "error=EINTR", times=3)
                    self.assert_success_told(write, result)
                    self.assertEqual(self.outcome(write), "new")
                    self.assertEqual(self.left_over(), [])

    def test_leaves_no_temporary_file(self):
        for write in WRITES:
            calls, locked = self.calls_on_files(write)
            for call in calls[locked:]:
                # Without the call that removes it a file has to stay.
                if call.name == "unlinkat":
                    continue
                with self.subTest(write=write.name, call=call.text):
                    self.lay_out()
                    tampered(self, write.word, write.request, call, "error=EIO")
                    self.assertEqual(self.left_over(), [])

    def test_on_a_full_disk(self):
        """The system takes the first bytes of the file and refuses the rest, with a signal that
        would end who does not ignore it."""
        def limited():
            resource.setrlimit(resource.RLIMIT_FSIZE, (300, 300))

        for write in WRITES:
            with self.subTest(write=write.name):
                self.lay_out()
                result = self.run_program(
                    write.word, request=write.request, preexec_fn=limited)
                if write.name == "cancel one":
                    self.assert_success_told(write, result)
                    continue
                self.assert_failure_told(write, result, before_lock=False)
                self.assertEqual(self.files(), CALENDAR)
                self.assert_next_write_works()


if __name__ == "__main__":
    unittest.main()
