"""What each word says when the calendar factory is replaced in the middle of a run."""

import json
import os
import signal
import subprocess
import time
import unittest

from desktop import DesktopTest
from quenbrook import PROGRAM
from stepping import Step

JANUARY = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2026-02-01T00:00:00Z"}
# More than any word asks the factory.
CALLS = 20
ONE_EVENT = ["get-event", "get-attendee-status", "create-event", "update-event", "cancel-event"]


class Restarts(DesktopTest):
    def setUp(self):
        super().setUp()
        self.calendar = self.new_calendar(hold=False)
        self.identifier = self.create(self.calendar, "Before")

    def requests(self):
        return {
            "list-calendars": {},
            "list-events": {**JANUARY, "calendarIds": [self.calendar]},
            "get-event": {"calendarId": self.calendar, "eventId": self.identifier},
            "get-attendee-status": {"id": self.identifier},
            "create-event": {"calendarId": self.calendar, "title": "New",
                             "startISO": "2026-01-05T09:00:00Z", "endISO": "2026-01-05T10:00:00Z"},
            "update-event": {"id": self.identifier, "patch": {"title": "After"}},
            "cancel-event": {"id": self.identifier},
        }

    def titles(self):
        return sorted(event["title"] for event in self.events(
            JANUARY["startISO"], JANUARY["endISO"], calendarIds=[self.calendar]))

    def run_with_restart(self, word, answered, after_answer):
        """A run whose factory is killed when it has answered so many times. Nothing when the run
        does not ask that much; else status and streams."""
        # Starts one, when the run before has ended without.
        self.answer("list-calendars")
        step = Step(self.environment(), word, self.requests()[word], self.session.factory())
        for _ in range(answered):
            if not step.ended():
                step.answer()
        ended = step.ended()
        if not ended:
            step.kill_service(after_answer)
        result = step.end()
        if ended:
            os.kill(step.service, signal.SIGCONT)
        return None if ended else result

    def expect_untouched(self, word):
        """A word that only reads says all that there is, whenever the factory is replaced."""
        expected = self.answer(word, self.requests()[word])
        for answered in range(CALLS):
            for after_answer in (False, True):
                with self.subTest(word, answered=answered, after_answer=after_answer):
                    result = self.run_with_restart(word, answered, after_answer)
                    if result is None:
                        self.assertGreaterEqual(answered, 2)
                        return
                    status, out, err = result
                    self.assertEqual((status, err), (0, b""))
                    self.assertEqual(json.loads(out), expected)
        self.fail("the run has no end")

    def test_list_calendars_goes_on(self):
        self.expect_untouched("list-calendars")

    def test_list_events_goes_on(self):
        self.expect_untouched("list-events")

    def test_list_events_of_all_calendars_goes_on(self):
        expected = self.answer("list-events", JANUARY)
        step = Step(self.environment(), "list-events", JANUARY, self.session.factory())
        step.kill_service(after_answer=True)
        status, out, err = step.end()
        self.assertEqual((status, json.loads(out), err), (0, expected, b""))

    def test_get_event_goes_on(self):
        self.expect_untouched("get-event")

    def test_get_attendee_status_goes_on(self):
        self.expect_untouched("get-attendee-status")

    def expect_done_or_unknown(self, word, before, after):
        """A word that writes goes on as long as nothing was written; after that it says that nobody
        knows, and what it has done is whole or not there."""
        unknown, done = 0, 0
        for answered in range(CALLS):
            for after_answer in (False, True):
                with self.subTest(word, answered=answered, after_answer=after_answer):
                    self.calendar = self.new_calendar(hold=False)
                    self.identifier = self.create(self.calendar, "Before")
                    result = self.run_with_restart(word, answered, after_answer)
                    if result is None:
                        # A service that had saved all before it was killed leaves nothing unknown.
                        self.assertGreaterEqual(done, 4)
                        return
                    status, out, err = result
                    if status == 0:
                        # Nothing was written when the factory was killed, or all was saved.
                        done += 1
                        self.assertEqual((err, self.titles()), (b"", after))
                        if answered < 2:
                            self.assertEqual(unknown, 0)
                    else:
                        unknown += 1
                        self.assertEqual((status, out), (1, b""))
                        self.assertIn(b'"UNKNOWN"', err)
                        self.assertIn(self.titles(), (before, after))
        self.fail("the run has no end")

    def test_create_event_goes_on_until_it_has_written(self):
        self.expect_done_or_unknown("create-event", ["Before"], ["Before", "New"])

    def test_update_event_goes_on_until_it_has_written(self):
        self.expect_done_or_unknown("update-event", ["Before"], ["After"])

    def test_cancel_event_goes_on_until_it_has_written(self):
        self.expect_done_or_unknown("cancel-event", ["Before"], [])

    def test_a_registry_that_goes_away_is_not_refused_access(self):
        expected = self.answer("list-calendars")
        for after_answer in (False, True):
            [registry] = self.session.processes("evolution-source-registry")
            step = Step(self.environment(), "list-calendars", {}, registry)
            step.kill_service(after_answer)
            status, out, err = step.end()
            self.assertEqual((status, err), (0, b""))
            self.assertEqual(json.loads(out), expected)

    def test_a_factory_that_hangs_holds_a_word_about_one_event_ten_seconds(self):
        factory = self.session.factory()
        os.kill(factory, signal.SIGSTOP)
        try:
            started = time.monotonic()
            runs = [subprocess.Popen([PROGRAM, word], env=self.environment(), stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    for word in ONE_EVENT]
            for word, run in zip(ONE_EVENT, runs):
                run.stdin.write(json.dumps(self.requests()[word]).encode())
                run.stdin.close()
            for word, run in zip(ONE_EVENT, runs):
                with self.subTest(word), run:
                    self.assertIn(b'"UNKNOWN"', run.stderr.read())
                    self.assertEqual((run.stdout.read(), run.wait()), (b"", 1))
            elapsed = time.monotonic() - started
            self.assertGreater(elapsed, 9)
            # It is thirty seconds that a list of all may take.
            self.assertLess(elapsed, 25)
        finally:
            os.kill(factory, signal.SIGCONT)
        self.assertEqual(self.titles(), ["Before"])


if __name__ == "__main__":
    unittest.main()
