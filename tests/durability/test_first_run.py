"""The first run makes the root: whatever happens to it, the next one finds or makes it whole."""

import json
import shutil
import signal
import unittest

from tracing import tampered, traced
from writers import TIMES, WritersTest

CALENDARS = {"calendars": [{
    "color": "#1BADF8", "id": "local/calendar", "name": "Calendar", "source": "Quenbrook",
    "sourceType": "local", "writable": True}]}

INTERRUPTIBLE = {"flock", "fsync", "getrandom", "openat", "renameat", "renameat2",
                 "unlinkat", "write"}


class FirstRun(WritersTest):
    def setUp(self):
        super().setUp()
        self.data = self.place / "fresh"
        self.root = self.data / "quenbrook" / "calendars"
        result, calls = traced(self, "list-calendars", b"")
        self.assertEqual(json.loads(result.out), CALENDARS)
        self.calls = calls
        self.on_files = [call for call in calls
                         if str(self.data) in call.text or call.name == "getrandom"]
        self.assertIn("mkdir", {call.name for call in self.on_files})

    def broken_run(self, call, how, **options):
        shutil.rmtree(self.data, ignore_errors=True)
        result = tampered(self, "list-calendars", b"", call, how, **options)
        if self.root.exists():
            # It appears as a whole.
            self.assertEqual(sorted(str(path.relative_to(self.root))
                                    for path in self.root.rglob("*")),
                             ["local", "local/calendar", "local/calendar/color",
                              "local/calendar/displayname", "local/displayname"])
        return result

    def assert_next_run_works(self):
        self.assertEqual(self.answer("list-calendars"), CALENDARS)
        created = self.answer("create-event", dict(
            calendarId="local/calendar", title="First", **TIMES))
        self.assertEqual([event["id"] for event in self.year()], [created["id"]])

    def test_killed_at_every_system_call(self):
        killed = 0
        for call in self.calls:
            with self.subTest(call=call.text):
                result = self.broken_run(call, "signal=SIGKILL")
                # How often the new root is listed depends on the time.
                self.assertIn(result.status, (0, -signal.SIGKILL))
                killed += result.status != 0
                self.assert_next_run_works()
                # What it had begun has been cleared away.
                self.assertEqual([path.name for path in self.root.parent.iterdir()],
                                 ["calendars"])
        self.assertGreater(killed, len(self.calls) / 2)

    def test_with_an_error_of_the_disk(self):
        for call in self.on_files:
            for error in ("EIO", "ENOSPC"):
                with self.subTest(call=call.text, error=error):
                    result = self.broken_run(call, f"error={error}")
                    if result.status == 0:
                        self.assertIn("calendars", json.loads(result.out))
                    else:
                        self.assertEqual((result.status, result.out), (1, b""))
                        self.assertEqual(json.loads(result.err)["code"], "UNKNOWN")
                    self.assert_next_run_works()
                    # What was not finished has been cleared away.
                    self.assertEqual([path.name for path in self.root.parent.iterdir()],
                                     ["calendars"])

    def test_where_no_rename_spares_what_is_there(self):
        for call in self.on_files:
            if call.name != "renameat2":
                continue
            for error in ("EINVAL", "ENOSYS"):
                with self.subTest(call=call.text, error=error):
                    result = self.broken_run(call, f"error={error}")
                    self.assertEqual((result.status, result.err), (0, b""))
                    self.assertEqual(json.loads(result.out), CALENDARS)
                    self.assert_next_run_works()

    def test_interrupted_by_signals(self):
        for call in self.on_files:
            if call.name not in INTERRUPTIBLE:
                continue
            with self.subTest(call=call.text):
                result = self.broken_run(call, "error=EINTR", times=3)
                self.assertEqual((result.status, result.err), (0, b""))
                self.assertEqual(json.loads(result.out), CALENDARS)
                self.assert_next_run_works()


if __name__ == "__main__":
    unittest.main()
