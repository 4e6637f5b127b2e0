"""Runs all words while the calendar factory is killed at random or leaves by itself, and compares each
answer with what there is: long.py [RUNS] [SEED]. Ends with status 1 when one was wrong."""

import collections
import json
import random
import subprocess
import sys
import time

from desktop import OtherClient, kill, source, text_of
from private_session import PrivateSession
from quenbrook import PROGRAM, component

JANUARY = {"startISO": "2026-01-01T00:00:00Z", "endISO": "2026-02-01T00:00:00Z"}
TIMES = {"startISO": "2026-01-05T09:00:00Z", "endISO": "2026-01-05T10:00:00Z"}
CALENDARS = ["first", "second"]
BIRTHDAY = "birthdays:zoe-birthday"
# As long as most runs take, and a new factory needs to start.
LONGEST_DELAY = 0.06
# The factory leaves that long after its last client.
IDLE = 10.5
IDLE_RUNS = 0.01


class Desktop:
    """The session, and the titles of the events that there are, by identifier."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.session = PrivateSession(built_in_calendars=True)
        for calendar in CALENDARS:
            self.session.write_source(calendar, source(calendar))
        other = OtherClient(self.session)
        other.add_contact(text_of(*component(
            "VCARD", "VERSION:3.0", "UID:zoe", "FN:Zoe", "N:;Zoe", "BDAY:1980-01-07")))
        other.close()
        self.events = {}
        self.gone = []
        self.answers = collections.Counter()
        self.wrong = []
        self.number = 0

    def kill_factory(self):
        for factory in self.session.processes("evolution-calendar-factory"):
            kill(factory)
            self.answers["kills"] += 1

    def run(self, word, request, disturb=True):
        """Status, answer or code of the error."""
        if disturb and self.random.random() < IDLE_RUNS:
            time.sleep(IDLE + self.random.uniform(-0.2, 0.3))
        with subprocess.Popen([PROGRAM, word], env=self.session.environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdin.write(json.dumps(request).encode())
            process.stdin.close()
            process.stdin = None
            if disturb and self.random.random() < 0.6:
                time.sleep(self.random.uniform(0, LONGEST_DELAY))
                self.kill_factory()
            out, err = process.communicate()
        document = json.loads(out or err)
        return process.returncode, document if process.returncode == 0 else document["code"]

    def listed(self, calendar=None, disturb=True):
        request = {**JANUARY, "calendarIds": [calendar]} if calendar else JANUARY
        status, answer = self.run("list-events", request, disturb)
        return answer if status else {each["id"]: each["title"] for each in answer["events"]}

    def expect(self, what, seen, *allowed):
        self.answers[f"{what}: {seen if isinstance(seen, str) else 'answered'}"] += 1
        if seen not in allowed:
            self.wrong.append(f"{what}: {seen!r} instead of {allowed!r}")

    def settle(self, what, *possible):
        """After a change that failed: which of these states it has left."""
        seen = self.listed(disturb=False)
        seen.pop(BIRTHDAY, None)
        if seen in possible:
            self.events = seen
        else:
            self.wrong.append(f"{what} left {seen!r} instead of {possible!r}")

    def changed(self, what, status, answer, failure, after):
        if status == 0:
            self.expect(what, "done", "done")
            self.events = after
        else:
            self.expect(what, answer, "UNKNOWN", failure)
            self.settle(what, self.events, *([after] if answer == "UNKNOWN" else []))

    def list_calendars(self):
        status, answer = self.run("list-calendars", {})
        if status == 0:
            answer = {each["id"]: each["writable"] for each in answer["calendars"]}
        self.expect("list-calendars", answer, "UNKNOWN", {
            "birthdays": False, "system-calendar": True, "first": True, "second": True})

    def list_events(self):
        calendar = self.random.choice([None, "birthdays", *CALENDARS])
        everything = {**self.events, BIRTHDAY: "Birthday: Zoe"}
        self.expect("list-events", self.listed(calendar), "UNKNOWN", {
            identifier: title for identifier, title in everything.items()
            if calendar in (None, identifier.partition(":")[0])})

    def get_event(self):
        identifier = self.random.choice([BIRTHDAY, *self.events])
        status, answer = self.run("get-event", {
            "calendarId": identifier.partition(":")[0], "eventId": identifier})
        self.expect("get-event", answer if status else [answer["event"]["title"]], "UNKNOWN",
                    [self.events.get(identifier, "Birthday: Zoe")])

    def get_attendee_status(self):
        there = [BIRTHDAY, *self.events]
        identifier = self.random.choice(there + self.gone[-5:])
        status, answer = self.run("get-attendee-status", {"id": identifier})
        self.expect("get-attendee-status", answer if status else "there", "UNKNOWN",
                    "there" if identifier in there else "EVENT_NOT_FOUND")

    def create_event(self):
        self.number += 1
        title, calendar = f"Event {self.number}", self.random.choice(CALENDARS)
        status, answer = self.run("create-event", {"calendarId": calendar, "title": title, **TIMES})
        if status == 0:
            self.expect("create-event", "done", "done")
            self.events[answer["id"]] = title
        else:
            self.expect("create-event", answer, "UNKNOWN", "EVENT_STORE_SAVE_FAILED")
            found = self.listed(disturb=False)
            after = {**self.events, **{
                identifier: each for identifier, each in found.items() if each == title}}
            self.settle("create-event", after if answer == "UNKNOWN" else self.events)

    def update_event(self):
        self.number += 1
        identifier, title = self.random.choice([*self.events]), f"Changed {self.number}"
        status, answer = self.run("update-event", {"id": identifier, "patch": {"title": title}})
        self.changed("update-event", status, answer, "EVENT_STORE_SAVE_FAILED",
                     {**self.events, identifier: title})

    def cancel_event(self):
        identifier = self.random.choice([*self.events])
        after = {each: title for each, title in self.events.items() if each != identifier}
        status, answer = self.run("cancel-event", {"id": identifier})
        self.changed("cancel-event", status, answer, "EVENT_STORE_REMOVE_FAILED", after)
        if identifier not in self.events:
            self.gone.append(identifier)

    def step(self):
        words = [self.list_calendars, self.list_events, self.get_event, self.get_attendee_status,
                 self.create_event]
        if len(self.events) > 3:
            words += [self.update_event, self.cancel_event]
        self.random.choice(words)()


def main(runs="2000", seed="1"):
    desktop = Desktop(int(seed))
    try:
        for number in range(int(runs)):
            desktop.step()
            for wrong in desktop.wrong[desktop.answers["wrong"]:]:
                print(f"run {number}: {wrong}", flush=True)
            desktop.answers["wrong"] = len(desktop.wrong)
    finally:
        desktop.session.stop()
    for answer, count in sorted(desktop.answers.items()):
        print(f"{count:6} {answer}")
    return 1 if desktop.wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
