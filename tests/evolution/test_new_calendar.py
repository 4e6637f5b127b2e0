"""A calendar that the registry lists already and the factory does not know yet."""

import time
import unittest

from private_session import PrivateSession
from quenbrook import QuenbrookTest

RANGE = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2026-02-01T00:00:00Z"}
REQUESTS = {
    "list-calendars": {},
    "list-events": RANGE,
    "get-event": {"calendarId": "new", "eventId": "new:x"},
    "get-attendee-status": {"id": "new:x"},
    "create-event": {"calendarId": "new", "title": "New", "startISO": "2026-01-05T09:00:00Z",
                     "endISO": "2026-01-05T10:00:00Z"},
    "update-event": {"id": "new:x", "patch": {}},
    "cancel-event": {"id": "new:x"},
}


class NewCalendar(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.session = PrivateSession(services=False)
        self.addCleanup(self.session.stop)

    def test_is_asked_for_again(self):
        for word, out, err in [("list-calendars", b'"writable":true', b""),
                               ("list-events", b'{"events":[]}', b""),
                               ("get-event", b"", b'"EVENT_NOT_FOUND"'),
                               ("get-attendee-status", b"", b'"EVENT_NOT_FOUND"')]:
            with self.subTest(word), self.session.scripted_services(unknown=5):
                result = self.run_program(word, request=REQUESTS[word],
                                          env=self.session.environment)
                self.assertIn(out, result.out)
                self.assertIn(err, result.err)

    def test_is_in_doubt_when_the_factory_never_knows_it(self):
        with self.session.scripted_services(unknown=-1):
            for word, request in REQUESTS.items():
                with self.subTest(word):
                    started = time.monotonic()
                    result = self.run_program(word, request=request, env=self.session.environment)
                    self.assertIn(b'"UNKNOWN"', result.err)
                    self.assertEqual((result.out, result.status), (b"", 1))
                    self.assertGreater(time.monotonic() - started, 1.4)


if __name__ == "__main__":
    unittest.main()
