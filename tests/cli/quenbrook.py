"""Runs the built program over a store that the test lays out, and looks at all that comes back."""

import functools
import json
import os
import pathlib
import shutil
import stat
import subprocess
import tempfile
import unittest

from jsonschema import Draft202012Validator, RefResolver

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = pathlib.Path(
    os.environ.get("QUENBROOK_PROGRAM", ROOT / "build" / "release" / "src" / "quenbrook"))

# Far more than any run needs, the slowest sanitizer included: a hang is to fail, not to wait.
PATIENCE = 120


SCHEMAS = {path.name: json.loads(path.read_text())
           for path in (ROOT / "docs" / "schemas").glob("*.json")}

# A validator takes its time: of a longer list it sees the beginning, of lists in it a tenth of that, and
# what it has found valid in a list it does not see again.
VALIDATED = 1000
FOUND_VALID = set()


@functools.cache
def validator(name):
    schema = SCHEMAS[name]
    return Draft202012Validator(schema, resolver=RefResolver("", schema, store=SCHEMAS))


def validate(name, document):
    """A document of the program against its schema."""
    new = {}
    if isinstance(document, dict):
        document = dict(document)
        for key, value in document.items():
            if isinstance(value, list):
                members = {hash((name, key, json.dumps(each))): each for each in value[:VALIDATED]}
                new |= {seen: each for seen, each in members.items() if seen not in FOUND_VALID}
                document[key] = [each for seen, each in members.items() if seen in new]
    validator(name).validate(beginnings(document))
    FOUND_VALID.update(new)


def beginnings(value, length=VALIDATED):
    if isinstance(value, dict):
        return {key: beginnings(each, length) for key, each in value.items()}
    if isinstance(value, list):
        return [beginnings(each, VALIDATED // 10) for each in value[:length]]
    return value


class Result:
    def __init__(self, process):
        self.out = process.stdout
        self.err = process.stderr
        self.status = process.returncode

    def __repr__(self):
        return f"status {self.status}, out {self.out[:2000]!r}, err {self.err[:2000]!r}"


def line(document):
    """A document as the program writes it: compact, sorted keys, escaped solidus, one line feed."""
    text = json.dumps(document, sort_keys=True, ensure_ascii=False, separators=(",", ":"))
    return (text.replace("/", "\\/") + "\n").encode()


def error(code, message):
    return line({"code": code, "error": message})


def escape(text):
    """A text as the value of an iCalendar property."""
    for character in "\\;,":
        text = text.replace(character, "\\" + character)
    return text.replace("\n", "\\n")


def component(name, *content):
    """A component of content lines and of other components."""
    lines = [f"BEGIN:{name}"]
    for part in content:
        lines.extend([part] if isinstance(part, str) else part)
    lines.append(f"END:{name}")
    return lines


def event(*content, uid="event"):
    return component("VEVENT", f"UID:{uid}", "DTSTAMP:20251201T120000Z", *content)


def calendar_text(*components, end="\r\n"):
    lines = component("VCALENDAR", "VERSION:2.0", "PRODID:-//Tests//EN", *components)
    return "".join(text + end for text in lines)


class QuenbrookTest(unittest.TestCase):
    """Each test has a home and a store of its own; `store` exists, empty, from the start."""

    maxDiff = None
    # Where that is; None: where the system has temporary files.
    where = None

    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="quenbrook-", dir=self.where))
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.home = self.place / "home"
        self.data = self.place / "data"
        self.store = self.data / "quenbrook" / "calendars"
        self.home.mkdir()
        self.store.mkdir(parents=True)

    def environment(self, **changes):
        kept = ("PATH", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "LLVM_PROFILE_FILE")
        values = {name: os.environ[name] for name in kept if name in os.environ}
        values.update(HOME=str(self.home), XDG_DATA_HOME=str(self.data))
        values.update(changes)
        return {name: value for name, value in values.items() if value is not None}

    @staticmethod
    def preloaded():
        """What has the program load the library of the file calls first. Its path may have blanks, where
        LD_PRELOAD ends a name."""
        folder, name = os.path.split(os.environ["QUENBROOK_FILE_CALLS"])
        return {"LD_PRELOAD": name, "LD_LIBRARY_PATH": folder}

    def run_program(self, *arguments, request=b"", env=None, **options):
        if isinstance(request, (dict, list)):
            request = json.dumps(request).encode()
        elif isinstance(request, str):
            request = request.encode()
        if "stdin" not in options:
            options["input"] = request
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        program = pathlib.Path(options.pop("program", PROGRAM))
        result = Result(subprocess.run(
            [program, *arguments], env=self.environment(**(env or {})),
            timeout=PATIENCE, check=False, **options))
        # A test may put another program in its place, which speaks as it likes.
        if program.name != PROGRAM.name:
            return result
        if result.out:
            validate(f"{arguments[0]}.answer.json", json.loads(result.out))
        if result.err:
            validate("error.json", json.loads(result.err))
        return result

    def run_as_another_user(self, word, env=None, **options):
        """As one whom permissions bind and whom no user database knows: root gives its rights up,
        anybody else is bound already."""
        if os.geteuid() != 0:
            return self.run_program(word, env=env, **options)
        copy = self.place / PROGRAM.name
        shutil.copy(PROGRAM, copy)
        os.chmod(copy, 0o755)
        # Others may not look into the folder of the build, and a program over libc++ takes this from there.
        for library in (PROGRAM.parents[1] / "tests" / "libcxx").glob("*.so"):
            shutil.copy(library, self.place)
            env = {**(env or {}), "LD_LIBRARY_PATH": str(self.place)}
        for folder in (self.place, self.data, self.store.parent, self.store):
            if folder.exists() and stat.S_IMODE(folder.stat().st_mode) != 0:
                os.chmod(folder, 0o755)
        return self.run_program(word, env=env, program=copy, user=54321, group=54321,
                                extra_groups=[], **options)

    # What a run is expected to say.

    def answer(self, word, request=b"", **options):
        """The answer of a run that succeeds: checked to be one line in the program's own form."""
        result = self.run_program(word, request=request, **options)
        self.assertEqual((result.status, result.err), (0, b""), result)
        document = json.loads(result.out)
        self.assertEqual(result.out, line(document))
        return document

    def assertError(self, result, code, message, status=1):
        self.assertEqual(
            (result.out, result.err, result.status), (b"", error(code, message), status))

    def assertInvalidJSON(self, result, *mentioned):
        """A request that cannot be read: one error line whose sentence names what is asked for."""
        self.assertEqual((result.out, result.status), (b"", 1), result)
        document = json.loads(result.err)
        self.assertEqual(result.err, line(document))
        self.assertEqual(sorted(document), ["code", "error"])
        self.assertEqual(document["code"], "INVALID_JSON")
        for text in mentioned:
            self.assertIn(text, document["error"])

    # What stands in the store.

    def account(self, folder, displayname=None, type=None):
        return self.folder(folder, displayname=displayname, type=type)

    def calendar(self, folder, displayname=None, color=None):
        return self.folder(folder, displayname=displayname, color=color)

    def folder(self, folder, **files):
        path = self.store / folder
        path.mkdir(parents=True, exist_ok=True)
        for name, content in files.items():
            if content is not None:
                write(path / name, content)
        return path

    def put(self, calendar, file, content):
        """Writes a file of a calendar that may not exist yet; a list is the file's components."""
        path = self.store / calendar
        path.mkdir(parents=True, exist_ok=True)
        if isinstance(content, list):
            content = calendar_text(*content)
        write(path / file, content)
        return path / file

    # What the store is asked.

    def events(self, start, end, env=None, **request):
        return self.answer(
            "list-events", {"startISO": start, "endISO": end, **request}, env=env)["events"]

    def year(self, number=2026, env=None, **request):
        return self.events(
            f"{number}-01-01T00:00:00Z", f"{number + 1}-01-01T00:00:00Z", env=env, **request)

    def starts(self, events):
        return [event["startISO"].replace(":00.000Z", "Z") for event in events]

    def titles(self, events):
        return [event["title"] for event in events]


def write(path, content):
    path.write_bytes(content.encode() if isinstance(content, str) else content)
