"""The suite itself: it finds what is wrong with a program, and clears up whatever happens.

Each fault is one of a program that stands between the suite and the real one.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import over

PROGRAM = os.environ["QUENBROOK_PROGRAM"]
RUN = pathlib.Path(__file__).resolve().parent / "run"

# Runs the word that the fault is of, and lets every other one through.
BETWEEN = """#!/bin/sh
[ "$1" = {word} ] || exec "{program}" "$@"
exec {python} -SE -c '
import json, subprocess, sys, time
request = sys.stdin.buffer.read()
def real(*word, request):
    return subprocess.run(["{program}", *word], input=request, capture_output=True)
{instead}
run = real(*sys.argv[1:], request=request)
out, err, status = run.stdout, run.stderr, run.returncode
{fault}
sys.stdout.buffer.write(out)
sys.stderr.buffer.write(err)
sys.exit(status)
' "$@"
"""


class Suite(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp()).resolve()
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.store = self.place / "store"
        self.store.mkdir()
        environment, self.calendar = over.vdir(self.store)
        self.environment = {**os.environ, "HOME": str(self.place), **environment}

    def suite(self, *options, word="none", fault="", instead=""):
        program = self.place / "program"
        program.write_text(BETWEEN.format(
            python=sys.executable, program=PROGRAM, word=word, fault=fault, instead=instead))
        program.chmod(0o755)
        return [sys.executable, str(RUN), str(program), "--calendar", self.calendar, *options]

    def run_suite(self, *options, **fault):
        return subprocess.run(self.suite(*options, **fault), env=self.environment,
                              capture_output=True, text=True, check=False)

    def files(self):
        return {path: path.read_bytes() for path in self.store.rglob("*") if path.is_file()}

    def assertFinds(self, only, *lines, **fault):
        result = self.run_suite("--only", only, **fault)
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        for text in lines:
            self.assertIn(text, result.stdout)

    def test_passes_what_is_right_and_leaves_the_store_as_it_was(self):
        before = self.files()
        report = self.place / "report"
        result = self.run_suite("--only", "removes one", "--report", str(report))
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        self.assertIn("ok     Cancelling: removes one event once", result.stdout)
        self.assertIn("3 cases, 0 faults", result.stdout)
        self.assertEqual(report.read_text(), result.stdout)
        self.assertEqual(self.files(), before)

    def test_finds_an_answer_in_another_form(self):
        self.assertFinds("reports attendees", "FAILED Queries: reports attendees",
                         word="get-attendee-status", fault='out = out.replace(b":", b": ")')

    def test_finds_an_undocumented_key(self):
        self.assertFinds("reports attendees", "undocumented", word="get-attendee-status", fault=(
            'out = out.replace(b"{\\"attendees", b"{\\"also\\":1,\\"attendees")'))

    def test_finds_another_status(self):
        self.assertFinds("writes the code first", "FAILED Words: writes the code first",
                         word="xyz", fault="status = 3")

    def test_finds_an_answer_to_what_was_not_done(self):
        self.assertFinds("changes what the patch carries", "FAILED Updating: changes what",
                         word="update-event",
                         instead='request = request.replace(b"location", b"place")')

    def test_finds_what_is_done_to_others(self):
        self.assertFinds(
            "removes one", "FAILED Afterwards: every other event is as it was",
            "new or changed: 2020-01-06T10:30:00.000Z", word="cancel-event", fault=(
                'real("update-event", request=b"{\\"id\\":\\"work/team:neighbour\\",'
                '\\"patch\\":{\\"title\\":\\"x\\"}}")'))

    def test_tells_what_it_cannot_clear_up(self):
        self.assertFinds(
            "takes any reason", "FAILED Cancelling: takes any reason or none",
            "FAILED Afterwards: nothing of the suite is left", "to be removed by hand",
            word="cancel-event", instead=(
                'sys.stdout.write(json.dumps({"cancelled": True, "id": json.loads(request)["id"]},'
                ' separators=(",", ":")).replace("/", "\\\\/") + "\\n"); sys.exit()'))

    def test_clears_up_what_a_program_has_left_that_says_no_JSON(self):
        before = self.files()
        self.assertFinds("removes one", "FAILED Cancelling: removes one", "no JSON",
                         "ok     Afterwards: nothing of the suite is left",
                         word="cancel-event", fault='err = b"warning"')
        self.assertEqual(self.files(), before)

    def test_tells_when_nothing_can_be_listed_any_more(self):
        self.assertFinds(
            "removes one", "FAILED Afterwards: the calendars can be listed", "is not known",
            word="list-events", instead=(
                'if b"calendarIds" in request: print("x"); sys.exit()'))

    def test_finds_what_was_not_seen_before(self):
        seen = self.place / "seen"
        seen.write_text("fractions of a second: kept\n")
        result = self.run_suite("--only", "keeps instants", "--seen", str(seen))
        self.assertEqual(result.returncode, 1)
        self.assertIn("fractions of a second: cut off", result.stdout)

    def test_takes_no_calendar_that_it_may_not_use(self):
        for calendar in ("unknown", "feeds/public"):
            self.calendar = calendar
            result = self.run_suite()
            self.assertEqual((result.returncode, result.stdout.count("ok ")), (1, 0))

    def test_clears_up_when_it_is_stopped(self):
        before = self.files()
        for name in ("SIGTERM", "SIGINT", "SIGHUP"):
            with self.subTest(signal=name):
                process = subprocess.Popen(
                    self.suite("--only", "Updating", word="create-event",
                               fault="time.sleep(0.2)"),
                    env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                deadline = time.monotonic() + 60
                while self.files() == before and time.monotonic() < deadline:
                    time.sleep(0.01)
                self.assertNotEqual(self.files(), before)
                process.send_signal(getattr(signal, name))
                self.assertIn(b"Interrupted", process.communicate(timeout=60)[1])
                self.assertEqual(process.returncode, 1)
                self.assertEqual(self.files(), before)


if __name__ == "__main__":
    unittest.main()
