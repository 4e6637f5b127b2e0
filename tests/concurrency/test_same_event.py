"""Two writers of one event at once: both changes are made, or one is told that it was not."""

import collections
import unittest

from processes import QuenbrookTest, Run, calendar_text, event

ROUNDS = 60

LOST = {"EVENT_NOT_FOUND", "EVENT_STORE_SAVE_FAILED", "EVENT_STORE_REMOVE_FAILED"}


class SameEvent(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.calendar("work")

    def lay_out(self, *content):
        return self.put("work", "one.ics", [event(
            "DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SUMMARY:One", "SEQUENCE:0",
            *content, uid="one")])

    def at_once(self, *runs):
        started = [Run(self.environment(), word, request) for word, request in runs]
        return [run.result() for run in started]

    def patch(self, **fields):
        return "update-event", dict(id="work:one", patch=fields)

    def test_two_fields_both_survive(self):
        path = self.lay_out()
        for number in range(ROUNDS):
            fields = dict(title=f"Title {number}", location=f"Location {number}",
                          notes=f"Notes {number}", endISO=f"2026-01-05T12:{number % 60:02}:00Z")
            results = self.at_once(*(self.patch(**{name: value})
                                     for name, value in fields.items()))
            self.assertEqual([status for status, _ in results], [0] * len(fields), results)
            listed, = self.year()
            fields["endISO"] = fields["endISO"].replace("Z", ".000Z")
            self.assertEqual({name: listed[name] for name in fields}, fields)
            self.assertIn(f"\r\nSEQUENCE:{(number + 1) * len(fields)}\r\n".encode(),
                          path.read_bytes())

    def test_two_events_of_one_file_both_survive(self):
        self.put("work", "both.ics", calendar_text(*(
            event("DTSTART:20260105T100000Z", f"SUMMARY:{uid}", uid=uid)
            for uid in ("first", "second"))))
        for number in range(ROUNDS):
            results = self.at_once(*(
                ("update-event", dict(id=f"work:{uid}", patch=dict(title=f"{uid} {number}")))
                for uid in ("first", "second")))
            self.assertEqual([status for status, _ in results], [0, 0], results)
            self.assertEqual(sorted(self.titles(self.year())),
                             [f"first {number}", f"second {number}"])

    def test_a_cancelled_event_stays_cancelled(self):
        """An update that comes second must not bring the event back."""
        for number in range(ROUNDS):
            path = self.lay_out()
            pair = [self.patch(title="Changed"), ("cancel-event", dict(id="work:one"))]
            first, second = self.at_once(*(pair if number % 2 else reversed(pair)))
            cancelled, updated = (second, first) if number % 2 else (first, second)
            self.assertEqual(cancelled[0], 0, cancelled)
            if updated[0] != 0:
                self.assertIn(updated[1]["code"], LOST)
            self.assertFalse(path.exists())
            self.assertEqual(self.year(), [])

    def test_an_event_is_cancelled_once(self):
        for _ in range(ROUNDS):
            self.lay_out()
            results = self.at_once(*[("cancel-event", dict(id="work:one"))] * 3)
            told = collections.Counter(status for status, _ in results)
            self.assertEqual(told, {0: 1, 1: 2}, results)
            for status, document in results:
                if status:
                    self.assertIn(document["code"], LOST)
            self.assertEqual(self.year(), [])

    def test_each_cancellation_takes_one_occurrence(self):
        for _ in range(ROUNDS // 4):
            self.lay_out("RRULE:FREQ=DAILY;COUNT=10")
            results = self.at_once(*[("cancel-event", dict(id="work:one"))] * 3)
            done = sum(status == 0 for status, _ in results)
            self.assertGreaterEqual(done, 1)
            self.assertEqual(len(self.year()), 10 - done)

    def test_each_update_of_a_series_changes_one_occurrence(self):
        for _ in range(ROUNDS // 4):
            self.lay_out("RRULE:FREQ=DAILY;COUNT=10")
            results = self.at_once(self.patch(title="Changed"), self.patch(location="There"))
            self.assertEqual([status for status, _ in results], [0, 0], results)
            listed = self.year()
            self.assertEqual(self.titles(listed), ["Changed"] + ["One"] * 9)
            self.assertEqual([event.get("location") for event in listed], ["There"] + [None] * 9)


if __name__ == "__main__":
    unittest.main()
