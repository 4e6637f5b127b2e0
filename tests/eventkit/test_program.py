"""The whole program over the macOS store and the stand-in for EventKit."""

import json
import signal
import subprocess
import unittest

from quenbrook import PROGRAM, QuenbrookTest, error

HINT = "Grant access in System Settings → Privacy & Security → Calendars."
UNEXPECTED = error("UNKNOWN", "Quenbrook encountered an unexpected error")

# 5 January 2026, 10:00 UTC.
TEN = 1767607200

CALENDARS = [
    {"identifier": "C1", "title": "Work", "source": {"title": "Company", "type": 2},
     "color": [1.0, 0.231, 0.188, 0.5]},
    {"identifier": "C2", "title": "Holidays", "writable": False,
     "source": {"title": "Public", "type": 4}, "color": [0.2, 1.0]},
    {"identifier": "C3", "title": "Bare"},
]

PLANNING = {
    "identifier": "E1", "calendar": "C1", "title": "Planning \U0001F5D3\0", "start": TEN + 0.25,
    "end": TEN + 3600, "location": "Room 1", "notes": "no-sync",
    "attendees": [{"url": "mailto:zoe@example.com", "name": "Zoe", "status": 2},
                  {"url": "MAILTO:a@example.com", "status": 4}],
    "alarms": [{"offset": -900}, {"date": TEN - 86400}],
    "rules": [{"frequency": 2, "interval": 1, "daysOfTheWeek": [{"day": 6, "week": -1}],
               "setPositions": [-1]}],
    "lastModified": TEN - 60, "availability": 1,
}

PLANNING_INFO = {
    "id": "E1", "calendarId": "C1", "title": "Planning \U0001F5D3\0",
    "startISO": "2026-01-05T10:00:00.250Z", "endISO": "2026-01-05T11:00:00.000Z",
    "isAllDay": False, "location": "Room 1", "notes": "no-sync",
    "attendees": [{"email": "zoe@example.com", "name": "Zoe", "status": "accepted"},
                  {"email": "MAILTO:a@example.com", "name": "", "status": "pending"}],
    "hasAlarms": True, "recurrenceRuleCount": 1,
    "recurrenceRules": [{"frequency": "monthly", "interval": 1, "daysOfWeek": [6]}],
    "lastModifiedISO": "2026-01-05T09:59:00.000Z", "categories": ["no-sync"],
    "availability": "free",
}

WHOLE_DAY = {"startISO": "2026-01-05T00:00:00Z", "endISO": "2026-01-06T00:00:00Z"}
NEW = {"calendarId": "C1", "title": "New", "startISO": "2026-01-05T12:00:00Z",
       "endISO": "2026-01-05T13:00:00Z"}


def holiday(identifier="E2"):
    return {"identifier": identifier, "calendar": "C2", "title": "Holiday", "start": TEN,
            "end": TEN + 60}


class ProgramOverStandIn(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.file = self.place / "world.json"
        self.seed()

    def seed(self, **world):
        self.file.write_text(json.dumps(
            {"calendars": CALENDARS, "events": [PLANNING, holiday()], **world}))

    def stored(self):
        return json.loads(self.file.read_text())["events"]

    def environment(self, **changes):
        return super().environment(QUENBROOK_STAND_IN=str(self.file), **changes)

    def assertAborts(self, word, request):
        result = self.run_program(word, request=request)
        self.assertEqual((result.status, result.out), (-signal.SIGABRT, b""))

    def test_lists_calendars(self):
        self.assertEqual(self.answer("list-calendars")["calendars"], [
            {"id": "C1", "name": "Work", "writable": True, "source": "Company",
             "sourceType": "caldav", "color": "#FF3B30"},
            {"id": "C2", "name": "Holidays", "writable": False, "source": "Public",
             "sourceType": "subscription", "color": "#333333"},
            {"id": "C3", "name": "Bare", "writable": True},
        ])

    def test_lists_events_of_chosen_calendars(self):
        def listed(**request):
            return [event["id"] for event in
                    self.answer("list-events", {**WHOLE_DAY, **request})["events"]]

        self.assertEqual(listed(), ["E1", "E2"])
        self.assertEqual(listed(calendarIds=[]), ["E1", "E2"])
        self.assertEqual(listed(calendarIds=["C2", "unknown", "C2"]), ["E2"])
        self.assertEqual(listed(calendarIds=["C3"]), [])
        self.assertEqual(listed(calendarIds=["unknown"]), ["E1", "E2"])

    def test_reads_an_event(self):
        self.assertEqual(
            self.answer("get-event", {"calendarId": "C1", "eventId": "E1"})["event"],
            PLANNING_INFO)
        for request, code, message in (
                ({"calendarId": "C2", "eventId": "E1"}, "EVENT_NOT_FOUND", "E1"),
                ({"calendarId": "C9", "eventId": "E1"}, "CALENDAR_NOT_FOUND", "C9"),
                ({"calendarId": "C1", "eventId": "E9"}, "EVENT_NOT_FOUND", "E9")):
            self.assertError(self.run_program("get-event", request=request), code, message)

    def test_reads_the_answers_of_attendees(self):
        self.assertEqual(self.answer("get-attendee-status", {"id": "E1"}),
                         {"id": "E1", "attendees": PLANNING_INFO["attendees"]})

    def test_creates_updates_and_cancels_an_event(self):
        created = self.answer("create-event", {
            **NEW, "location": "Hall", "alarmMinutes": [15, 0, -5],
            "recurrenceRule": {"frequency": "WEEKLY", "interval": 2, "count": 3}})
        self.assertEqual(created["calendarId"], "C1")
        self.assertEqual(created["startISO"], "2026-01-05T12:00:00.000Z")
        stored = self.stored()[2]
        self.assertEqual(stored["alarms"], [{"offset": -900}, {"offset": 0}, {"offset": 300}])
        self.assertEqual(stored["rules"], [{"frequency": 1, "interval": 2, "end": {"count": 3}}])
        self.assertNotIn("notes", stored)

        identifier = created["id"]
        self.assertEqual(
            self.answer("update-event", {"id": identifier, "patch": {
                "title": "Changed", "clearRecurrenceRules": True}}),
            {"id": identifier, "updated": True})
        event = self.answer("get-event", {"calendarId": "C1", "eventId": identifier})["event"]
        self.assertEqual((event["title"], event["location"], event["recurrenceRuleCount"]),
                         ("Changed", "Hall", 0))

        self.assertEqual(self.answer("cancel-event", {"id": identifier}),
                         {"id": identifier, "cancelled": True})
        self.assertError(self.run_program("cancel-event", request={"id": identifier}),
                         "EVENT_NOT_FOUND", identifier)
        self.assertEqual([event["identifier"] for event in self.stored()], ["E1", "E2"])

    def test_keeps_what_an_update_does_not_carry(self):
        self.answer("update-event", {"id": "E1", "patch": {"title": "Other"}})
        changed = self.stored()[0]
        self.assertEqual(changed.pop("title"), "Other")
        before = {**PLANNING, "allDay": False}
        del before["title"]
        for event in (changed, before):
            del event["lastModified"]
            # Written with every number of theirs, read without those that are zero.
            event["alarms"] = [alarm.get("date", alarm.get("offset")) for alarm in event["alarms"]]
        self.assertEqual(changed, before)

    def test_does_not_claim_what_was_not_done(self):
        self.seed(savesNothingWithoutError=True, removesNothingWithoutError=True)
        before = self.file.read_bytes()
        self.assertError(self.run_program("create-event", request=NEW),
                         "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
        self.assertError(self.run_program("update-event", request={"id": "E1", "patch": {"title": "x"}}),
                         "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
        self.assertError(self.run_program("cancel-event", request={"id": "E1"}),
                         "EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")
        # What is there already need not be saved.
        for patch in ({}, {"location": "Room 1"}):
            self.assertEqual(self.answer("update-event", {"id": "E1", "patch": patch}),
                             {"id": "E1", "updated": True})
        self.assertEqual(self.file.read_bytes(), before)

    def test_removes_an_occurrence_once(self):
        series = {**holiday("E3"), "calendar": "C1", "rules": [{"frequency": 1, "interval": 1}]}
        self.seed(events=[series], leadsToRemovedOccurrences=True)
        self.assertEqual(self.answer("cancel-event", {"id": "E3"}), {"id": "E3", "cancelled": True})
        before = self.stored()
        self.assertError(self.run_program("cancel-event", request={"id": "E3"}),
                         "EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")
        self.assertEqual(self.stored(), before)

    def test_answers_with_the_identifier_after_the_save(self):
        self.seed(changesIdentifiers=True)
        created = self.answer("create-event", NEW)
        self.assertEqual(created["id"], self.stored()[2]["identifier"])
        self.assertEqual(self.answer("update-event", {"id": "E1", "patch": {"title": "x"}}),
                         {"id": "E1", "updated": True})

    def test_reports_what_the_framework_refuses(self):
        self.seed(refusesSaves=True, refusesRemovals=True)
        before = self.file.read_bytes()
        for request in ({"id": "E1", "patch": {"title": "x"}}, {"id": "E1", "patch": {}}):
            self.assertError(self.run_program("update-event", request=request),
                             "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
        self.assertError(self.run_program("create-event", request=NEW),
                         "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
        self.assertError(self.run_program("cancel-event", request={"id": "E1"}),
                         "EVENT_STORE_REMOVE_FAILED", "EventKit remove failed")
        self.assertEqual(self.file.read_bytes(), before)

    def test_demands_full_access(self):
        for status, message in (
                (1, f"Calendar access not granted (status=1). {HINT}"),
                (2, f"Calendar access not granted (status=2). {HINT}"),
                (4, "Only write-only Calendar access granted; full access is required."),
                (5, "Unknown EKAuthorizationStatus (5)."),
                (-1, "Unknown EKAuthorizationStatus (-1).")):
            self.seed(status=status)
            for word in ("list-calendars", "create-event", "xyz", ""):
                with self.subTest(status=status, word=word):
                    self.assertError(self.run_program(word), "ACCESS_DENIED", message)

    def test_asks_once_when_never_asked_and_waits_for_the_answer(self):
        for late in (False, True):
            with self.subTest(late=late):
                self.seed(status=0, prompt={"granted": True, "late": late})
                self.assertEqual(len(self.answer("list-calendars")["calendars"]), 3)
                self.seed(status=0, prompt={"granted": False, "late": late})
                self.assertError(self.run_program("list-calendars"), "ACCESS_DENIED",
                                 "User declined Calendar access.")
                for granted in (False, True):
                    self.seed(status=0, prompt={
                        "granted": granted, "late": late, "error": "a secret of the platform"})
                    result = self.run_program("list-calendars")
                    self.assertEqual((result.out, result.err, result.status), (b"", UNEXPECTED, 1))

    def test_sees_in_the_run_of_the_grant_what_was_granted(self):
        for late in (False, True):
            for word, request in (("list-calendars", {}), ("list-events", WHOLE_DAY),
                                  ("get-event", {"calendarId": "C1", "eventId": "E1"}),
                                  ("create-event", NEW), ("get-attendee-status", {"id": "E1"}),
                                  ("update-event", {"id": "E1", "patch": {"title": "x"}}),
                                  ("cancel-event", {"id": "E1"})):
                with self.subTest(word=word, late=late):
                    self.seed(status=0, prompt={"granted": True, "late": late}, hidesUntilReset=True)
                    granted = self.answer(word, request)
                    if word.startswith("list"):
                        self.assertTrue(all(granted.values()))

    def test_is_refused_without_a_prompt(self):
        for _ in range(2):
            self.seed(status=0, prompt={"granted": False, "shown": False})
            self.assertError(self.run_program("list-calendars"), "ACCESS_DENIED",
                             "User declined Calendar access.")
        self.seed(status=0, prompt={"granted": False, "shown": False, "error": "no usage text"})
        self.assertEqual(self.run_program("list-calendars").err, UNEXPECTED)

    def test_keeps_what_is_saved_although_reading_it_raises(self):
        raised = saved = 0
        for call in range(5, 40):
            self.seed(events=[], raisingCall=call)
            result = self.run_program("create-event", request=NEW)
            stored = self.stored()
            self.assertEqual((result.status, len(stored)), (0, 1) if stored else (1, 0))
            raised += not stored
            saved += len(stored)
        self.assertTrue(raised and saved)

    def test_reports_an_exception_of_the_framework(self):
        # The first calls open the store and read the status; the next are those of the operation.
        for call in range(5):
            with self.subTest(call=call):
                self.seed(raisingCall=call)
                result = self.run_program("list-calendars")
                self.assertEqual((result.out, result.err, result.status), (b"", UNEXPECTED, 1))

    def test_ends_at_an_event_without_a_date(self):
        broken = holiday("E3")
        del broken["start"]
        self.seed(events=[PLANNING, broken])
        self.assertAborts("list-events", WHOLE_DAY)
        self.assertAborts("get-event", {"calendarId": "C2", "eventId": "E3"})
        # Only who asks for the dates.
        self.seed(events=[{**broken, "calendar": "C1"}])
        self.assertEqual(self.answer("get-attendee-status", {"id": "E3"}), {"id": "E3", "attendees": []})
        self.assertError(self.run_program("update-event", request={"id": "E3", "patch": {"title": "x"}}),
                         "EVENT_STORE_SAVE_FAILED", "EventKit save failed")
        self.assertEqual(self.answer("cancel-event", {"id": "E3"}), {"id": "E3", "cancelled": True})

    def test_writes_a_large_answer_to_a_slow_reader(self):
        self.seed(events=[{**PLANNING, "identifier": f"E{i}", "notes": "n" * 5_000}
                          for i in range(400)])
        with subprocess.Popen([PROGRAM, "list-events"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, env=self.environment()) as process:
            process.stdin.write(json.dumps(WHOLE_DAY).encode())
            process.stdin.close()
            pieces = []
            while piece := process.stdout.read(4_096):
                pieces.append(piece)
        self.assertEqual(process.returncode, 0)
        events = json.loads(b"".join(pieces))["events"]
        self.assertEqual([event["id"] for event in events], [f"E{i}" for i in range(400)])


if __name__ == "__main__":
    unittest.main()
