"""What a call of either client comes to, over the built program and over stand-ins for it."""

import errno
import json
import os
import signal
import subprocess
import unittest

from callers import NodeCaller, PythonCaller, WITHOUT_EFFECT, node_place
from quenbrook import PATIENCE, QuenbrookTest, SCHEMAS, validate

START = {"date": "2026-05-04T12:00:00.250+02:00"}
END = {"date": "2026-05-04T13:00:00Z"}
NO_DATE = {"date": None}
RULE = {"frequency": "weekly", "interval": 2, "untilISO": {"date": "2026-12-31T23:00:00+00:00"}}

# One call of each word with all that it may be told, and the request that is to come of it.
EVENT = {"title": "Lunch/Żur", "isAllDay": False, "location": "", "notes": "a\nb", "alarmMinutes": [15, -5]}
SENT_EVENT = {**EVENT, "startISO": "2026-05-04T10:00:00.250Z", "endISO": "2026-05-04T13:00:00.000Z",
              "recurrenceRule": {**RULE, "untilISO": "2026-12-31T23:00:00.000Z"}}
INVITEES = [{"email": "zoe@example.org"}, {"email": "max@example.org", "name": "Max"}]
FULL = {
    "list-calendars": ({}, {}),
    "list-events": ({"start": START, "end": END, "calendarIds": ["a", "b"]},
                    {"startISO": SENT_EVENT["startISO"], "endISO": SENT_EVENT["endISO"],
                     "calendarIds": ["a", "b"]}),
    "get-event": ({"calendarId": "a", "eventId": "b"}, {"calendarId": "a", "eventId": "b"}),
    "get-attendee-status": ({"id": "a"}, {"id": "a"}),
    "create-event": ({**EVENT, "calendarId": "a", "start": START, "end": END, "recurrenceRule": RULE,
                      "attendeesV2": INVITEES},
                     {**SENT_EVENT, "calendarId": "a", "attendeesV2": INVITEES}),
    "update-event": ({"id": "a", "changes": {**EVENT, "start": START, "end": END, "recurrenceRule": RULE,
                                             "clearRecurrenceRules": False}},
                     {"id": "a", "patch": {**SENT_EVENT, "clearRecurrenceRules": False}}),
    "cancel-event": ({"id": "a"}, {"id": "a"}),
}

MINIMAL = {
    "list-events": ({"start": END, "end": END}, {"startISO": SENT_EVENT["endISO"],
                                                 "endISO": SENT_EVENT["endISO"]}),
    "create-event": ({"calendarId": "a", "title": "b", "start": END, "end": END},
                     {"calendarId": "a", "title": "b", "startISO": SENT_EVENT["endISO"],
                      "endISO": SENT_EVENT["endISO"]}),
    "update-event": ({"id": "a", "changes": {}}, {"id": "a", "patch": {}}),
}

LARGE = 100 << 20


class Calls:
    """Of either client."""

    @classmethod
    def setUpClass(cls):
        cls.caller = cls.Caller()
        cls.addClassCleanup(cls.caller.close)

    def outcomes(self, calls, **options):
        return self.caller.call_all(calls, self.environment(), **options)

    def outcome(self, word, program=None, timeout=None, **arguments):
        options = {"program": program} if program else {}
        return self.outcomes([(word, arguments)], timeout=timeout, **options)[0]

    def made(self, word, **arguments):
        outcome = self.outcome(word, **arguments)
        self.assertEqual(list(outcome), ["answer"], outcome)
        return outcome["answer"]

    def stand_in(self, script):
        program = self.place / "stand-in"
        program.write_text(f"#!/bin/sh\ncd '{self.place}'\n{script}\n")
        program.chmod(0o755)
        return program

    def assertUnknown(self, outcome, *mentioned):
        self.assertEqual(list(outcome), ["unknown"], outcome)
        for text in mentioned:
            self.assertIn(text, outcome["unknown"])

    def test_an_event_from_its_creation_to_its_end(self):
        self.calendar("work", displayname="Büro")
        [calendar] = self.made("list-calendars")
        validate("list-calendars.answer.json", {"calendars": [calendar]})
        self.assertEqual(calendar["name"], "Büro")
        created = self.made("create-event", calendarId="work", start={"date": "2026-05-04T12:00:00+02:00"},
                            end={"date": "2026-05-04T13:00:00+02:00"}, title="Lunch/Żur",
                            recurrenceRule={"frequency": "daily", "interval": 1, "count": 2})
        validate("create-event.answer.json", created)
        self.assertEqual(created["startISO"], "2026-05-04T10:00:00.000Z")
        week = {"start": {"date": "2026-05-01T00:00:00Z"}, "end": {"date": "2026-05-08T00:00:00Z"}}
        listed = self.made("list-events", **week)
        validate("list-events.answer.json", {"events": listed})
        self.assertEqual([(event["id"], event["title"]) for event in listed],
                         [(created["id"], "Lunch/Żur")] * 2)
        updated = self.made("update-event", id=created["id"], changes={"location": "Room 4"})
        self.assertEqual(updated, {"id": created["id"], "updated": True})
        event = self.made("get-event", calendarId="work", eventId=created["id"])
        validate("get-event.answer.json", {"event": event})
        self.assertEqual((event["location"], event["title"]), ("Room 4", "Lunch/Żur"))
        self.assertEqual(self.made("get-attendee-status", id=created["id"]), [])
        for _ in range(2):
            self.assertEqual(self.made("cancel-event", id=created["id"]),
                             {"id": created["id"], "cancelled": True})
        self.assertEqual(self.outcome("cancel-event", id=created["id"]),
                         {"refused": ["EVENT_NOT_FOUND", created["id"]]})
        self.assertEqual(self.made("list-events", **week, calendarIds=["work"]), [])

    def test_a_request_holds_what_was_given_and_nothing_else(self):
        program = self.stand_in('printf %s "$1" >word; cat >request; cat answer')
        (self.place / "answer").write_text(
            '{"calendars": [], "events": [], "event": {}, "attendees": []}')
        for word, (arguments, request) in [*FULL.items(), *MINIMAL.items()]:
            with self.subTest(word=word, request=request):
                self.assertIn("answer", self.outcome(word, program=program, **arguments))
                self.assertEqual((self.place / "word").read_text(), word)
                self.assertEqual(json.loads((self.place / "request").read_text()), request)

    def test_every_key_of_the_schemas_can_be_sent(self):
        for word, (_, request) in FULL.items():
            schema = SCHEMAS.get(f"{word}.request.json", {"properties": {}})
            if request:
                validate(f"{word}.request.json", request)
            if word == "update-event":
                request, schema = request["patch"], schema["properties"]["patch"]
            self.assertEqual(set(schema["properties"]) - WITHOUT_EFFECT.get(word, set()), set(request), word)

    def test_what_is_no_request_starts_nothing(self):
        program = self.stand_in("touch started; echo '{}'")
        rule = {"frequency": "daily", "interval": 1}
        event = {"calendarId": "a", "title": "b", "start": START, "end": END}
        for word, arguments in (
                ("list-events", {"start": NO_DATE, "end": END}),
                ("list-events", {"start": START, "end": NO_DATE}),
                ("list-events", {"start": START, "end": "2026-01-01T00:00:00Z"}),
                ("create-event", {**event, "start": NO_DATE}),
                ("create-event", {**event, "end": "2026-01-01T00:00:00Z"}),
                ("create-event", {**event, "end": None}),
                ("create-event", {**event, "begin": START}),
                ("create-event", {**event, "recurrenceRule": {**rule, "untilISO": NO_DATE}}),
                ("create-event", {**event, "recurrenceRule": {**rule, "count": {"number": None}}}),
                ("update-event", {"id": "a", "changes": {"start": NO_DATE}}),
                ("update-event", {"id": "a", "changes": {"end": "2026-01-01T00:00:00Z"}}),
                ("update-event", {"id": "a", "changes": {"tittle": "b"}})):
            with self.subTest(word=word, arguments=arguments):
                outcome = self.outcome(word, program=program, **arguments)
                self.assertEqual(list(outcome), ["noRequest"])
                if "2026-01-01T00:00:00Z" in arguments.values():
                    self.assertIn("was expected, not", outcome["noRequest"])
        self.assertFalse((self.place / "started").exists())
        self.assertEqual(self.made("update-event", program=program, id="a", changes={}), {})
        self.assertTrue((self.place / "started").exists())

    def test_a_refusal_has_the_programs_code_and_words(self):
        self.assertEqual(self.outcome("get-event", calendarId="Büro/x", eventId="b"),
                         {"refused": ["CALENDAR_NOT_FOUND", "Büro/x"]})

    def test_the_error_line_is_the_last_one(self):
        program = self.stand_in("""echo 'warning: {' >&2
            echo '{"code":"ACCESS_DENIED","error":"no"}' >&2; exit 1""")
        self.assertEqual(self.outcome("list-calendars", program=program), {"refused": ["ACCESS_DENIED", "no"]})

    def test_a_program_that_cannot_be_started_is_the_languages_own_error(self):
        for program, number in ((self.place / "nowhere", errno.ENOENT), ("nowhere", errno.ENOENT),
                                (self.place, errno.EACCES)):
            self.assertEqual(self.outcome("list-calendars", program=program), {"notStarted": number})

    def test_a_name_is_looked_for_in_the_path(self):
        self.assertUnknown(self.outcome("list-calendars", program="true"), "list-calendars")

    def test_nobody_knows_what_became_of_a_run_that_was_killed(self):
        for word in ("create-event", "update-event", "cancel-event", "list-events"):
            program = self.stand_in("kill -KILL $$")
            self.assertUnknown(self.outcome(word, program=program, **FULL[word][0]), word)

    def test_an_answer_is_one_only_when_the_run_ended_well(self):
        answer = """echo '{"calendars":[]}'"""
        for script in ("exit 0", "echo nonsense", f"{answer} | head -c 8", f"{answer}; exit 1",
                       f"{answer}; kill -KILL $$", "echo 'set-up failed' >&2; exit 70",
                       """echo '{"code":"UNKNOWN"}' >&2; exit 1""", "echo '[]' >&2; exit 1",
                       "echo 7 >&2; exit 1", "printf '\\377' >&2; exit 1"):
            with self.subTest(script=script):
                self.assertUnknown(self.outcome("list-calendars", program=self.stand_in(script)))
        program = self.stand_in("echo 'set-up failed' >&2; exit 70")
        self.assertUnknown(self.outcome("list-calendars", program=program), "70", "set-up failed")

    def out_of_time(self, script):
        """What a stand-in without end comes to, and the process that it tells of: the shortest time in which
        it gets so far is enough."""
        program = self.stand_in(script)
        for timeout in (0.5, 5, 50):
            outcome = self.outcome("list-calendars", program=program, timeout=timeout)
            self.assertUnknown(outcome, "list-calendars", "longer than")
            process = self.place / "process"
            if process.exists():
                return int(process.read_text())
        return self.fail("the stand-in has not come to tell of its process")

    def test_a_run_out_of_its_time_is_killed(self):
        process = self.out_of_time("trap '' TERM; echo $$ >new; mv new process; exec sleep 1000")
        # Not even as one that nobody has waited for.
        with self.assertRaises(ProcessLookupError):
            os.kill(process, 0)

    def test_what_a_killed_run_has_started_is_not_waited_for(self):
        process = self.out_of_time("sleep 1000 & echo $! >new; mv new process; wait")
        os.kill(process, signal.SIGKILL)

    def test_a_run_within_its_time_is_left_alone(self):
        self.assertEqual(self.made("list-calendars", timeout=1000), [])

    def test_a_program_that_does_not_read_its_request_is_heard(self):
        program = self.stand_in("""echo '{"code":"ACCESS_DENIED","error":"no"}' >&2; exit 1""")
        self.assertEqual(
            self.outcome("update-event", program=program, id="a", changes={"notes": "x" * 10_000_000}),
            {"refused": ["ACCESS_DENIED", "no"]})

    def test_large_requests_and_answers_pass(self):
        notes = "ä" * 4_000_000
        self.calendar("work")
        created = self.made("create-event", calendarId="work", title="", start=START, end=END, notes=notes)
        self.assertEqual(self.made("get-event", calendarId="work", eventId=created["id"])["notes"], notes)

    def test_an_answer_has_no_limit(self):
        # Only its end comes back from the caller's process.
        program = self.stand_in(f"""printf '{{"events":[], "attendees":[], "notes":"'
            head -c {LARGE} /dev/zero | tr '\\0' a
            printf '", "event":{{"title":"last"}}}}\\n'""")
        self.assertEqual(self.made("get-event", program=program, calendarId="a", eventId="b"),
                         {"title": "last"})

    def test_many_calls_at_once_do_not_disturb_each_other(self):
        for name in range(60):
            self.calendar(f"c{name}")
        outcomes = self.outcomes(
            [("create-event", {"calendarId": f"c{name}", "title": str(name), "start": START, "end": END})
             for name in range(60)], at_once=True)
        self.assertEqual([outcome["answer"]["calendarId"] for outcome in outcomes],
                         [f"c{name}" for name in range(60)])


class PythonCalls(Calls, QuenbrookTest):
    Caller = PythonCaller


class NodeCalls(Calls, QuenbrookTest):
    Caller = NodeCaller

    def run_script(self, script):
        """What a script prints that imports the client, with few descriptors to be had."""
        node_place(self.place)
        (self.place / "caller.mjs").write_text(script)
        run = subprocess.run([*NodeCaller.interpreter, "caller.mjs"], cwd=self.place, env=self.environment(),
                             capture_output=True, text=True, timeout=PATIENCE, check=True)
        return run.stdout

    def test_want_of_descriptors_is_nodes_own_error(self):
        self.assertEqual(self.run_script("""
            import { closeSync, openSync } from "node:fs";
            import { Quenbrook } from "quenbrook";
            const held = [];
            try {
              for (;;) held.push(openSync("/dev/null"));
            } catch {}
            const error = await new Quenbrook("true").listCalendars().catch((error) => error);
            held.forEach(closeSync);
            console.log(error.code);
            """), "EMFILE\n")

    def test_what_a_killed_run_has_started_does_not_keep_its_caller(self):
        program = self.stand_in("sleep 1000 & echo $! >process; kill -KILL $$")
        try:
            self.assertEqual(self.run_script(f"""
                import {{ Quenbrook }} from "quenbrook";
                console.log((await new Quenbrook("{program}").listCalendars().catch((error) => error)).name);
                """), "OutcomeUnknown\n")
        finally:
            os.kill(int((self.place / "process").read_text()), signal.SIGKILL)


if __name__ == "__main__":
    unittest.main()
