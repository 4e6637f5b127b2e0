"""One run of the suite: the program, the calendar it may use, what was made there, what was seen."""

import collections
import datetime
import hashlib
import json
import os
import subprocess
import uuid

import schemas

# Far more than any run needs: a hang is to fail, not to wait.
PATIENCE = 120

# A store may look no further than four years at once.
YEARS_AT_ONCE = 3
FIRST_YEAR, LAST_YEAR = 1990, 2050

# What the suite makes has its place in the past, where no alarm goes off any more. Twenty past is
# midnight in no zone, so that it is clear which days an all-day event has.
START = datetime.datetime(2020, 1, 6, 10, 20, tzinfo=datetime.timezone.utc)
AROUND = datetime.timedelta(days=500)


def utc(moment):
    """A date as answers have it."""
    return moment.astimezone(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.000Z")


def line(document):
    """A document as the program writes it: compact, sorted keys, escaped solidus, one line feed."""
    text = json.dumps(document, sort_keys=True, ensure_ascii=False, separators=(",", ":"))
    return (text.replace("/", "\\/") + "\n").encode()


def error(code, message):
    return line({"code": code, "error": message})


def document(text):
    try:
        return json.loads(text)
    except ValueError as fault:
        raise AssertionError(f"no JSON: {text[:2000]!r}") from fault


class Result:
    def __init__(self, process):
        self.out = process.stdout
        self.err = process.stderr
        self.status = process.returncode

    def __repr__(self):
        return "status %s, out %r, err %r" % (self.status, self.out[:2000], self.err[:2000])


class Session:
    def __init__(self, program, calendar, is_disposable=False):
        self.program = os.path.abspath(program)
        self.calendar = calendar
        self.is_disposable = is_disposable
        self.tag = "quenbrook-conformance-" + uuid.uuid4().hex[:12]
        self.runs = 0
        self.made = []
        self.seen = {}

    # Running the program.

    def run(self, *arguments, request=b"", **options):
        """One run, whose output must be such as is documented."""
        result = self.invoke(*arguments, request=request, **options)
        if result.out:
            schemas.validate(f"{arguments[0]}.answer.json", document(result.out))
        if result.err:
            schemas.validate("error.json", document(result.err))
        return result

    def invoke(self, *arguments, request=b"", **options):
        if isinstance(request, (dict, list)):
            request = json.dumps(request)
        if isinstance(request, str):
            request = request.encode()
        if "stdin" not in options:
            options["input"] = request
        self.runs += 1
        return Result(subprocess.run(
            [self.program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            timeout=PATIENCE, check=False, **options))

    def answer(self, word, request=b""):
        """The answer of a run that succeeds: one line in the program's own form."""
        result = self.run(word, request=request)
        assert (result.status, result.err) == (0, b""), result
        answer = document(result.out)
        assert result.out == line(answer), f"not the form of an answer: {result}"
        return answer

    def events(self, start, end, **request):
        return self.answer(
            "list-events", {"startISO": utc(start), "endISO": utc(end), **request})["events"]

    def calendars(self):
        return self.answer("list-calendars")["calendars"]

    # What the suite makes.

    def create(self, **fields):
        """Creates an event that says whose it is, and remembers it."""
        request = self.request(**fields)
        answer = self.answer("create-event", request)
        self.made.append(answer["id"])
        return answer

    def request(self, **fields):
        request = {"calendarId": self.calendar, "title": f"{self.tag} event",
                   "startISO": utc(START), "endISO": utc(START + datetime.timedelta(hours=1)),
                   **fields}
        texts = [request.get(key) or "" for key in ("title", "location", "notes")]
        assert any(self.tag in text for text in texts), "an event without the tag of the suite"
        return request

    def is_ours(self, event):
        return event["id"] in self.made or any(
            self.tag in event.get(key, "") for key in ("title", "location", "notes"))

    def get(self, identifier):
        return self.answer(
            "get-event", {"calendarId": self.calendar, "eventId": identifier})["event"]

    def exists(self, identifier):
        result = self.invoke(
            "get-event", request={"calendarId": self.calendar, "eventId": identifier})
        return result.err != error("EVENT_NOT_FOUND", identifier)

    def remove(self, identifier):
        """Removes an event of ours with all its occurrences, however the store counts them and
        whatever the program says of it."""
        for attempt in range(60):
            if not self.exists(identifier):
                return
            if attempt in (8, 40):
                self.invoke("update-event",
                            request={"id": identifier, "patch": {"clearRecurrenceRules": True}})
            self.invoke("cancel-event", request={"id": identifier})

    def clear_up(self):
        """Removes all that the suite made and tells what it could not remove."""
        for identifier in self.made:
            self.remove(identifier)
        left = self.tagged()
        for identifier in left:
            self.remove(identifier)
        if left:
            left = self.tagged()
        return [f"{event['startISO']} {event['title']!r}" for event in left.values()]

    def tagged(self):
        """What says that it is ours; the first occurrence of a series lies here, too."""
        return {event["id"]: event for event in self.events(
            START - AROUND, START + AROUND, calendarIds=[self.calendar])
            if self.tag in json.dumps(event)}

    # What it must not touch.

    def others(self):
        """Every event that is not ours, as a count of digests: nobody's calendar is kept."""
        digests = collections.Counter()
        for start, end in spans():
            for event in self.events(start, end):
                if not self.is_ours(event):
                    content = hashlib.sha256(line(event)).hexdigest()[:32]
                    digests[(event["startISO"], content)] += 1
        return digests

    # Where stores lawfully differ.

    def saw(self, what, how):
        self.seen[what] = how if self.seen.get(what, how) == how else f"{self.seen[what]}; {how}"


def spans():
    """The years whose events are watched, in pieces that every store finds whole."""
    def first_of(year):
        return datetime.datetime(year, 1, 1, tzinfo=datetime.timezone.utc)
    return [(first_of(year), first_of(year + YEARS_AT_ONCE))
            for year in range(FIRST_YEAR, LAST_YEAR, YEARS_AT_ONCE)]
