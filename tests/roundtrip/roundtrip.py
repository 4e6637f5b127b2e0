"""Writes that are accepted are read back by get-event and list-events alike; writes that are
refused change nothing."""

import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))

from quenbrook import QuenbrookTest

SAVE_FAILED = ("EVENT_STORE_SAVE_FAILED", "EventKit save failed")
TIMES = dict(startISO="2026-01-05T10:00:00Z", endISO="2026-01-05T11:00:00Z")


class RoundTripTest(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.work = self.calendar("work")

    def files(self):
        return {path.name: path.read_bytes() for path in self.work.iterdir()}

    def try_to_create(self, zone="UTC", raw=False, **fields):
        """The answer. Returns None when it was refused; then no file has changed."""
        return self.try_to("create-event", dict(
            dict(calendarId="work", title="Event", **TIMES), **fields), zone, raw)

    def try_to_update(self, identifier, zone="UTC", raw=False, **patch):
        return self.try_to("update-event", dict(id=identifier, patch=patch), zone, raw)

    def try_to(self, word, request, zone, raw):
        before = self.files()
        result = self.run_program(
            word, request=json.dumps(request, ensure_ascii=not raw), env={"TZ": zone})
        if result.status == 0:
            self.assertEqual(result.err, b"")
            return json.loads(result.out)
        self.assertError(result, *SAVE_FAILED)
        self.assertEqual(self.files(), before)
        return None

    def create(self, zone="UTC", **fields):
        answer = self.try_to_create(zone, **fields)
        self.assertIsNotNone(answer, fields)
        return answer["id"]

    def update(self, identifier, zone="UTC", raw=False, **patch):
        self.assertEqual(self.try_to_update(identifier, zone, raw, **patch),
                         {"id": identifier, "updated": True})

    def get(self, identifier, zone="UTC"):
        return self.answer("get-event", dict(calendarId="work", eventId=identifier),
                           env={"TZ": zone})["event"]

    def get_and_list(self, identifier, zone="UTC", start="2025-01-01T00:00:00Z",
                     end="2028-01-01T00:00:00Z"):
        """The event as both operations report it."""
        got = self.get(identifier, zone)
        listed = [event for event in self.events(start, end, env={"TZ": zone})
                  if event["id"] == identifier]
        self.assertEqual(listed[:1], [got])
        return got
