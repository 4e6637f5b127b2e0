"""What the cases have in common."""

import datetime
import json
import unittest

from session import START, error, line, utc

SAVE_FAILED = ("EVENT_STORE_SAVE_FAILED", "EventKit save failed")
HOUR = datetime.timedelta(hours=1)
DAY = datetime.timedelta(days=1)


class Case(unittest.TestCase):
    """Each case finds the calendar without events of the suite and leaves it so."""

    maxDiff = None
    session = None

    def setUp(self):
        self.tag = self.session.tag

    def tearDown(self):
        while self.session.made:
            self.session.remove(self.session.made[-1])
            self.session.made.pop()

    def run_program(self, *arguments, **options):
        return self.session.run(*arguments, **options)

    def answer(self, word, request=b""):
        return self.session.answer(word, request)

    # Events of the suite.

    def create(self, **fields):
        return self.session.create(**fields)["id"]

    def get(self, identifier):
        return self.session.get(identifier)

    def update(self, identifier, **patch):
        result = self.run_program("update-event", request={"id": identifier, "patch": patch})
        self.assertEqual((result.out, result.err, result.status),
                         (line({"id": identifier, "updated": True}), b"", 0))

    def cancel(self, identifier, **fields):
        result = self.run_program("cancel-event", request={"id": identifier, **fields})
        self.assertEqual((result.out, result.err, result.status),
                         (line({"cancelled": True, "id": identifier}), b"", 0))

    def listed(self, start=START - 8 * DAY, end=START + 60 * DAY, **request):
        """The events of this case that lie in a range, by their starts."""
        request.setdefault("calendarIds", [self.session.calendar])
        return sorted((event for event in self.session.events(start, end, **request)
                       if self.session.is_ours(event)), key=lambda event: event["startISO"])

    # What is expected.

    def assertError(self, result, code, message, status=1):
        self.assertEqual((result.out, result.err, result.status),
                         (b"", error(code, message), status))

    def assertInvalidJSON(self, result, *mentioned):
        """One error line whose sentence names what is asked for."""
        self.assertEqual((result.out, result.status), (b"", 1), result)
        document = json.loads(result.err)
        self.assertEqual(result.err, line(document))
        self.assertEqual(document["code"], "INVALID_JSON")
        for text in mentioned:
            self.assertIn(text, document["error"])

    def assertRefused(self, word, request, code, message):
        """The error is reported, and the calendar holds of ours what it held before."""
        before = self.listed()
        self.assertError(self.run_program(word, request=request), code, message)
        self.assertEqual(self.listed(), before)

    def saw(self, what, how):
        self.session.saw(what, how)

    def assertSeen(self, what, found, allowed):
        """Notes which of the lawful answers was found, given by their names."""
        for name, lawful in allowed.items():
            if found == lawful:
                self.saw(what, name)
                return
        self.fail(f"{what}: {found!r} is none of {allowed!r}")


def in_local_days(moment, days):
    """So many days later at the same time of this machine's clock."""
    local = moment.astimezone().replace(tzinfo=None) + datetime.timedelta(days=days)
    return local.astimezone(datetime.timezone.utc)


def whole_local_days(start, end):
    """First and last second of the local days on which two moments lie, as answers have them."""
    first = start.astimezone().replace(hour=0, minute=0, second=0, microsecond=0, tzinfo=None)
    last = end.astimezone().replace(hour=23, minute=59, second=59, microsecond=0, tzinfo=None)
    return utc(first.astimezone()), utc(last.astimezone())
