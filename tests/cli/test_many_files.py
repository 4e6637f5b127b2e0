"""Many files, which are read by several threads: what these may take, and what the system may refuse them."""

import resource
import subprocess
import unittest

from quenbrook import QuenbrookTest, event

START = "DTSTART:20260105T100000Z"


def limited(*limits):
    """What sets these limits before the program starts."""
    def limit():
        for what, most in limits:
            resource.setrlimit(what, (most, most))
    return limit


class ManyFiles(QuenbrookTest):
    def put_many(self, count=2_000, calendar="work"):
        for number in range(count):
            self.put(calendar, f"{number}.ics", [event(START, uid=f"{calendar}-{number:05}")])

    def listed(self, run=None, **options):
        """All of the answer of a run that is given every chance, or fewer."""
        result = (run or self.run_program)("list-events", request={
            "startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"}, **options)
        self.assertEqual((result.status, result.err), (0, b""))
        return result.out

    def as_another_user(self, word, request, **options):
        for path in self.store.rglob("*"):
            path.chmod(0o755)
        return self.run_as_another_user(word, request=request, **options)

    def test_lists_them_all(self):
        self.put_many()
        self.assertEqual([each["id"] for each in self.year()],
                         [f"work:work-{number:05}" for number in range(2_000)])

    def test_finds_an_event_whose_file_has_another_name(self):
        self.put_many()
        for number in (0, 1_000, 1_999):
            self.assertEqual(self.answer("get-event", {
                "calendarId": "work", "eventId": f"work:work-{number:05}"})["event"]["startISO"],
                "2026-01-05T10:00:00.000Z")

    def test_does_without_threads_that_cannot_be_started(self):
        self.put_many()
        expected = self.listed()
        no_threads = limited((resource.RLIMIT_NPROC, 1))
        self.assertEqual(self.listed(self.as_another_user, preexec_fn=no_threads), expected)
        control = ("import threading\n"
                   "try:\n    threading.Thread(target=print).start()\n"
                   "except RuntimeError:\n    exit(3)\n")
        self.assertEqual(subprocess.run(
            ["/usr/bin/python3", "-c", control], user=54321, group=54321, extra_groups=[],
            preexec_fn=no_threads, check=False).returncode, 3)

    def test_does_with_as_few_open_files_as_one_thread(self):
        for number in range(100):
            self.put_many(10, f"c{number:02}")
        self.put_many(1_000)
        expected = self.listed()
        for most in (7, 8, 12, 30, 70):
            with self.subTest(most):
                self.assertEqual(self.listed(
                    preexec_fn=limited((resource.RLIMIT_NOFILE, most))), expected)

    def test_reads_large_files_within_the_memory_that_one_takes(self):
        dates = ",".join(["20260105T100000Z"] * 2_000_000)
        for number in range(10):
            self.put("work", f"x{number}.ics", [event(START, f"RDATE:{dates}", uid=f"x{number}")])
        self.put_many()
        expected = self.listed()
        self.assertEqual(self.listed(
            preexec_fn=limited((resource.RLIMIT_AS, 768 << 20))), expected)

    def test_ends_with_an_error_when_the_memory_does_not_do(self):
        self.put_many()
        self.put("work", "x.ics", [
            event(START, "RRULE:FREQ=SECONDLY", "DESCRIPTION:" + "x" * 50_000_000, uid="x")])
        self.assertError(
            self.run_program("list-events", request={
                "startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"},
                preexec_fn=limited((resource.RLIMIT_AS, 400 << 20))),
            "UNKNOWN", "Quenbrook encountered an unexpected error")


if __name__ == "__main__":
    unittest.main()
