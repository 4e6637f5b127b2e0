"""The program on a desktop: a private session with Evolution Data Server, another client, and the
means to see what became of the calendars."""

import json
import os
import pathlib
import re
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "cli"))

from private_session import PrivateSession
from quenbrook import PATIENCE, QuenbrookTest, component, event

ZONE = "Europe/Berlin"


def text_of(*lines):
    return "".join(line + "\r\n" for line in lines)


def vevent(uid, *content, **options):
    """A VEVENT as one text."""
    return text_of(*event(*content, uid=uid, **options))


def unfolded(text):
    return re.sub(r"\r?\n[ \t]", "", text)


def values(text, name):
    """The values of a property in a text, parameters dropped."""
    return re.findall(rf"^{name}(?:;[^:\r\n]*)?:(.*?)\r?$", unfolded(text), re.M)


def source(name, parent="local-stub", backend="local", group="Calendar", enabled="true", color=None,
           more=""):
    lines = ["[Data Source]", *([f"DisplayName={name}"] if isinstance(name, str) else name),
             f"Enabled={enabled}", f"Parent={parent}", "", f"[{group}]", f"BackendName={backend}"]
    if color:
        lines.append(f"Color={color}")
    return "\n".join(lines) + "\n" + more


def caldav_source(name, port, path, parent="caldav-stub", method="none"):
    return source(name, parent=parent, backend="caldav", more=(
        f"\n[Authentication]\nHost=127.0.0.1\nPort={port}\nMethod={method}\nUser=someone\n"
        "\n[Security]\nMethod=none\n"
        f"\n[WebDAV Backend]\nResourcePath={path}\n"))


class OtherClient:
    """ecal_client.py in a session."""

    def __init__(self, session):
        self.process = subprocess.Popen(
            ["/usr/bin/python3", "-B", str(HERE / "ecal_client.py")], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, text=True, env=session.environment)

    def __getattr__(self, name):
        def call(*arguments, **options):
            names = {"add_source": ["uid", "text"], "add_contact": ["text"],
                     "event": ["calendar", "uid"],
                     "create": ["calendar", "events"], "modify": ["calendar", "events"],
                     "remove": ["calendar", "uid"], "authenticate": ["calendar", "password"], "add_zone": ["calendar", "text"]}
            command = dict(zip(names.get(name, ["calendar"]), arguments), do=name, **options)
            self.process.stdin.write(json.dumps(command) + "\n")
            self.process.stdin.flush()
            answer = json.loads(self.process.stdout.readline())
            if "error" in answer:
                raise RuntimeError(answer["error"])
            return answer["answer"]
        return call

    def close(self):
        if not self.process.stdin.closed:
            self.process.stdin.close()
            self.process.wait(PATIENCE)
            self.process.stdout.close()


class DesktopTest(QuenbrookTest):
    """The tests of a class share a session; each makes the calendars that it needs."""

    options = {}

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.session = PrivateSession(**cls.options)
        cls.addClassCleanup(cls.session.stop)
        cls.prepare()
        cls.other = OtherClient(cls.session)
        cls.addClassCleanup(lambda: cls.other.close())
        cls.number = 0

    @classmethod
    def prepare(cls):
        """Before anything in the session is started."""

    def environment(self, **changes):
        return {name: value
                for name, value in {**self.session.environment, "TZ": ZONE, **changes}.items()
                if value is not None}

    def new_calendar(self, name="Work", hold=True, **options):
        """A local calendar of its own for a test."""
        type(self).number += 1
        uid = f"calendar-{type(self).number}"
        self.other.add_source(uid, source(name, **options))
        if hold:
            self.other.open(uid)
        return uid

    def create(self, calendar, title, start="2026-01-05T09:00:00Z", end="2026-01-05T10:00:00Z",
               **fields):
        return self.answer("create-event", dict(
            calendarId=calendar, title=title, startISO=start, endISO=end, **fields))["id"]

    def update(self, identifier, **patch):
        self.answer("update-event", dict(id=identifier, patch=patch))

    def cancel(self, identifier):
        self.answer("cancel-event", dict(id=identifier))

    def event(self, identifier):
        calendar = identifier.partition(":")[0]
        return self.answer("get-event", dict(calendarId=calendar, eventId=identifier))["event"]

    def calendar_file(self, calendar):
        return self.session.calendars / calendar / "calendar.ics"

    def wait_for(self, condition, what):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                self.fail(f"waited in vain for {what}")
            time.sleep(0.005)


def kill(process):
    os.kill(process, 9)
    deadline = time.monotonic() + PATIENCE
    while pathlib.Path(f"/proc/{process}/exe").exists() and time.monotonic() < deadline:
        time.sleep(0.001)
