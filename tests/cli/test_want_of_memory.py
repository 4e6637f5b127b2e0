"""A run that the system has not the memory for ends with an error, whatever it was about to do."""

import resource
import unittest

from quenbrook import QuenbrookTest, event

START = "DTSTART:20260105T100000Z"
YEAR = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2027-01-01T00:00:00Z"}


def limit_memory():
    """Enough to start with; less than it takes to read one line of a hundred megabytes."""
    resource.setrlimit(resource.RLIMIT_AS, (256 << 20, 256 << 20))


class WantOfMemory(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.put("work", "a.ics", [event(START, uid="a")])

    def put_too_much(self):
        self.put("work", "x.ics", [event(START, "DESCRIPTION:" + "x" * 100_000_000, uid="x")])

    def list_events(self):
        return self.run_program("list-events", request=YEAR, preexec_fn=limit_memory)

    def test_has_enough_for_what_is_small(self):
        self.assertEqual(self.list_events().status, 0)

    def test_ends_with_an_error(self):
        self.put_too_much()
        self.assertError(self.list_events(), "UNKNOWN", "Quenbrook encountered an unexpected error")

    def test_ends_with_the_same_error_when_it_is_a_thread_that_reads(self):
        self.put_too_much()
        for number in range(2_000):
            self.put("work", f"{number}.ics", [event(START, uid=str(number))])
        self.assertError(self.list_events(), "UNKNOWN", "Quenbrook encountered an unexpected error")

    def test_does_with_a_stack_of_64_kib(self):
        for number in range(200):
            self.put("work", f"{number}.ics", [event(START, "RRULE:FREQ=MONTHLY", uid=str(number))])
        requests = [("list-calendars", b""), ("list-events", YEAR),
                    ("get-event", {"calendarId": "work", "eventId": "work:a"}),
                    ("update-event", {"id": "work:7", "patch": {"title": "New"}}),
                    ("create-event", {"calendarId": "work", "title": "New",
                                      "startISO": "2026-01-05T10:00:00Z",
                                      "endISO": "2026-01-05T11:00:00Z"}),
                    ("cancel-event", {"id": "work:8"})]
        for word, request in requests:
            with self.subTest(word):
                result = self.run_program(word, request=request, preexec_fn=lambda:
                                          resource.setrlimit(resource.RLIMIT_STACK, (65536, 65536)))
                # The answer or an error, but no crash.
                self.assertIn((result.status, result.out == b"", result.err == b""),
                              [(0, False, True), (1, True, False)])


if __name__ == "__main__":
    unittest.main()
