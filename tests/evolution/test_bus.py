"""What each word says, and how soon, when there is no desktop to speak to."""

import concurrent.futures
import socket
import tempfile
import time
import unittest

from private_session import PrivateSession
from quenbrook import QuenbrookTest

WORDS = ["list-calendars", "list-events", "get-event", "get-attendee-status", "create-event",
         "update-event", "cancel-event", "no-such-word"]
# A bus that answers is not waited for; this is far more than any machine needs.
AT_ONCE = 20


class Bus(QuenbrookTest):
    def expect_refused(self, least=0, **env):
        def run(word):
            started = time.monotonic()
            return self.run_program(word, env=env), time.monotonic() - started

        with concurrent.futures.ThreadPoolExecutor(len(WORDS)) as pool:
            for word, (result, elapsed) in zip(WORDS, pool.map(run, WORDS)):
                with self.subTest(word):
                    self.assertIn(b'"ACCESS_DENIED"', result.err)
                    self.assertEqual((result.out, result.status), (b"", 1))
                    self.assertGreaterEqual(elapsed, least)
                    self.assertLess(elapsed, least + AT_ONCE)

    def test_without_a_bus_access_is_denied(self):
        with tempfile.TemporaryDirectory() as empty:
            self.expect_refused(XDG_RUNTIME_DIR=empty)
            self.expect_refused(DBUS_SESSION_BUS_ADDRESS=f"unix:path={empty}/nothing")
            self.expect_refused(DBUS_SESSION_BUS_ADDRESS="nonsense")

    def test_without_the_service_access_is_denied(self):
        session = PrivateSession(services=False)
        self.addCleanup(session.stop)
        self.expect_refused(**session.environment)

    def test_a_bus_that_never_answers_is_given_up(self):
        with tempfile.TemporaryDirectory() as place, socket.socket(socket.AF_UNIX) as mute:
            mute.bind(f"{place}/bus")
            mute.listen(100)
            self.expect_refused(least=1.5, DBUS_SESSION_BUS_ADDRESS=f"unix:path={place}/bus")

    def test_no_word_at_all_asks_for_nothing(self):
        result = self.run_program(env={"DBUS_SESSION_BUS_ADDRESS": "nonsense"})
        self.assertEqual(result.status, 2)


if __name__ == "__main__":
    unittest.main()
