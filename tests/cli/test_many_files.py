"""Many files, which are read by several threads, and what the system may refuse these."""

import os
import resource
import subprocess
import unittest

from quenbrook import PROGRAM, QuenbrookTest, event

START = "DTSTART:20260105T100000Z"


def limited(what, most):
    """What sets this limit before the program starts."""
    return lambda: resource.setrlimit(what, (most, most))


class ManyFiles(QuenbrookTest):
    def put_many(self, count=2_000, calendar="work"):
        for number in range(count):
            self.put(calendar, f"{number}.ics", [event(START, uid=f"{calendar}-{number:05}")])

    def listed(self, run=None, **options):
        """The very bytes of the answer."""
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
        no_threads = limited(resource.RLIMIT_NPROC, 1)
        self.assertEqual(self.listed(self.as_another_user, preexec_fn=no_threads), expected)
        control = ("import threading\n"
                   "try:\n    threading.Thread(target=print).start()\n"
                   "except RuntimeError:\n    exit(3)\n")
        another = {"user": 54321, "group": 54321, "extra_groups": []} if os.geteuid() == 0 else {}
        self.assertEqual(subprocess.run(
            ["/usr/bin/python3", "-c", control], preexec_fn=no_threads, check=False, **another).returncode, 3)

    def test_does_with_as_few_open_files_as_one_thread(self):
        for number in range(100):
            self.put_many(10, f"c{number:02}")
        self.put_many(1_000)
        expected = self.listed()
        for most in (7, 8, 12, 30, 70):
            with self.subTest(most):
                self.assertEqual(self.listed(
                    preexec_fn=limited(resource.RLIMIT_NOFILE, most)), expected)

    def test_tells_the_truth_or_nothing_with_hardly_any_open_files(self):
        self.put_many(200)
        self.calendar("named", displayname="Name", color="#123456")
        self.account("account", displayname="Account", type="caldav")
        self.put_many(3, "account/one")
        requests = {
            "list-calendars": b"",
            "list-events": {"startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"},
            "get-event": {"calendarId": "work", "eventId": "work:work-00007"},
            "get-attendee-status": {"id": "account/one:account/one-00001"},
        }
        for word, request in requests.items():
            right = self.run_program(word, request=request)
            self.assertEqual((right.status, right.err), (0, b""))
            told = 0
            # With none the loader does not even find its libraries.
            for free in range(1, 9):
                with self.subTest(word=word, free=free):
                    result = self.run_program(
                        word, request=request, preexec_fn=limited(resource.RLIMIT_NOFILE, 3 + free))
                    if result.status == 0:
                        told += 1
                        self.assertEqual((result.out, result.err), (right.out, b""))
                    else:
                        self.assertError(result, "UNKNOWN",
                                         "Quenbrook encountered an unexpected error")
            self.assertGreaterEqual(told, 4)

    def test_reads_later_what_could_not_be_opened_beside_the_others(self):
        # Of any 4,000 files that 16 threads share, one of these opens more than 60.
        self.put_many(4_000)
        expected = self.listed()

        def with_a_thread_s_60th_opening_failing(word, request):
            return self.run_program(
                "-f", "-qq", "-o", "/dev/null", "-e", "trace=openat", "-e",
                "inject=openat:error=EMFILE:when=60", PROGRAM, word, request=request,
                program="strace")

        self.assertEqual(self.listed(with_a_thread_s_60th_opening_failing), expected)


if __name__ == "__main__":
    unittest.main()
