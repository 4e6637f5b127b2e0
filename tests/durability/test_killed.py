"""A writer that is killed leaves every file as it was or as it was to be."""

import collections
import json
import random
import signal
import subprocess
import time
import unittest

from tracing import tampered, traced
from writers import WRITES, WritersTest

RANDOM_KILLS = 60


class Killed(WritersTest):
    def assert_whole(self, write, told):
        outcome = self.outcome(write)
        if told:
            self.assertEqual(outcome, "new", "a success was told that did not last")
        self.assert_listed(write, outcome)
        self.assert_quarantined(write)
        self.assert_next_write_works()
        return outcome

    def test_at_every_system_call(self):
        for write in WRITES:
            self.lay_out()
            result, calls = traced(self, write.word, write.request)
            self.assert_success_told(write, result)
            self.assertEqual(self.outcome(write), "new")
            outcomes = []
            for call in calls:
                with self.subTest(write=write.name, killed_at=call.text):
                    self.lay_out()
                    result = tampered(self, write.word, write.request, call, "signal=SIGKILL")
                    self.assertEqual(result.status, -signal.SIGKILL)
                    outcomes.append(self.assert_whole(write, result.out))
            # Old up to some call, and new from there on.
            with self.subTest(write=write.name):
                self.assertEqual(outcomes, sorted(outcomes, key=["old", "new"].index))
                self.assertEqual(set(outcomes), {"old", "new"})

    def test_at_random_instants(self):
        chance = random.Random(3)
        longest = {}
        for write in WRITES:
            self.lay_out()
            begin = time.monotonic()
            self.answer(write.word, write.request)
            longest[write.name] = time.monotonic() - begin
        seen = collections.Counter()
        for number in range(RANDOM_KILLS):
            write = WRITES[number % len(WRITES)]
            delay = chance.uniform(0, 1.3 * longest[write.name])
            with self.subTest(write=write.name, number=number, delay=delay):
                self.lay_out()
                seen[self.assert_whole(write, self.killed_after(delay, write))] += 1
        self.assertEqual(seen.total(), RANDOM_KILLS)

    def killed_after(self, delay, write):
        """Runs the program, kills it, and gives back what it had said by then."""
        request = self.place / "request.json"
        request.write_text(json.dumps(write.request))
        with request.open("rb") as stdin, subprocess.Popen(
                [self.program, write.word], env=self.environment(), stdin=stdin,
                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            time.sleep(delay)
            process.kill()
            return process.stdout.read()


if __name__ == "__main__":
    unittest.main()
