"""A call that looks at the store fails, once or from then on: the answer is the right one, or an error;
never another answer."""

import errno
import json
import time
import unittest

from writers import CALENDAR, WritersTest

# What says nothing about what is there.
ERRORS = (errno.EIO, errno.ESTALE, errno.ETIMEDOUT, errno.ENOMEM, errno.ENFILE, errno.EMFILE)

YEAR = dict(startISO="2026-01-01T00:00:00Z", endISO="2027-01-01T00:00:00Z")
READS = [
    ("list-calendars", b""),
    ("list-events", YEAR),
    ("list-events", dict(YEAR, calendarIds=["account/team"])),
    ("get-event", dict(calendarId="work", eventId="work:one")),
    ("get-event", dict(calendarId="work", eventId="work:many-007")),
    ("get-attendee-status", dict(id="work:neighbour")),
]


class FailingReads(WritersTest):
    def setUp(self):
        super().setUp()
        team = self.store / "account" / "team"
        team.mkdir(parents=True)
        (self.store / "account" / "type").write_text("caldav")
        (self.store / "account" / "displayname").write_text("Account")
        (team / "displayname").write_text("Team")
        (team / "color").write_text("#FF2968")
        for name in ("one.ics", "neighbour.ics"):
            (team / name).write_bytes(CALENDAR[name])
        (team / "linked.ics").symlink_to(self.work / "one.ics")
        # Young directories are listed several times, which would be more calls, and not always as many.
        time.sleep(0.1)

    def read(self, word, request, **variables):
        return self.run_program(word, request=request, env={**self.preloaded(), **variables})

    def calls(self, word, request):
        count = self.place / "count"
        result = self.read(word, request, QUENBROOK_COUNT=str(count))
        self.assertEqual((result.status, result.err), (0, b""))
        return result, int(count.read_text())

    def assert_same(self, result, right):
        self.assertEqual((result.status, result.out, result.err), (0, right.out, b""))

    def assert_right_or_error(self, right, result):
        if result.status == 0:
            self.assert_same(result, right)
        else:
            self.assertEqual((result.status, result.out), (1, b""))
            self.assertEqual(json.loads(result.err)["code"], "UNKNOWN")

    def test_tell_the_truth_or_nothing(self):
        for word, request in READS:
            right, count = self.calls(word, request)
            self.assertGreater(count, 5)
            failed = 0
            for number in range(1, count + 1):
                for form in ("", "+"):
                    for error in ERRORS:
                        with self.subTest(word=word, request=request, number=number, form=form,
                                          error=errno.errorcode[error]):
                            result = self.read(word, request, QUENBROOK_READING_FAILS=
                                               f"{number}{form}={error}")
                            self.assert_right_or_error(right, result)
                            failed += result.status
            self.assertGreater(failed, count)

    def test_an_error_elsewhere_is_none_of_this_calendar(self):
        """What is broken in one calendar does not keep the others from being read."""
        request = dict(YEAR, calendarIds=["work"])
        right, _ = self.calls("list-events", request)
        (self.store / "account" / "team" / "displayname").unlink()
        (self.store / "account" / "team" / "displayname").symlink_to("/proc/self/mem")
        self.assert_same(self.read("list-events", request), right)

    def test_go_on_after_a_short_read(self):
        for word, request in READS:
            right, _ = self.calls(word, request)
            for limit in ("1", "7", "1000"):
                with self.subTest(word=word, limit=limit):
                    self.assert_same(self.read(
                        word, request, QUENBROOK_READ_LIMIT=limit), right)


if __name__ == "__main__":
    unittest.main()
