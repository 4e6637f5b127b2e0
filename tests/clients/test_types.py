"""The types of both clients against docs/schemas, and what the checkers of both languages say of them."""

import collections.abc
import importlib.util
import inspect
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import typing
import unittest
from datetime import datetime

from callers import CLIENTS, ROOT, WITHOUT_EFFECT, node_place, python_place
from quenbrook import SCHEMAS

TSC = os.environ["QUENBROOK_TSC"]


def client():
    found = importlib.util.spec_from_file_location("client", CLIENTS / "python/quenbrook.py")
    sys.modules["client"] = module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


CLIENT = client()

# The type of either client for each schema of an answer.
ANSWERS = {"Calendar": "calendar.json", "Attendee": "attendee.json", "RecurrenceRule": "recurrence-rule.json",
           "Event": "event.json", "ChangeWarning": "warning.json", "Created": "create-event.answer.json",
           "Updated": "update-event.answer.json", "Cancelled": "cancel-event.answer.json"}

CREATE = SCHEMAS["create-event.request.json"]["properties"]
PATCH = SCHEMAS["update-event.request.json"]["properties"]["patch"]["properties"]


# A shape is what a schema and the types of both languages have in common: the name of a simple type, a
# frozenset of words, ("list", shape), or a dictionary of keys with (whether it may be left out, shape).

def shape_of_schema(schema):
    if "$ref" in schema:
        return shape_of_schema(SCHEMAS[schema["$ref"]])
    if "anyOf" in schema and "type" not in schema:
        [shape] = [shape_of_schema(each) for each in schema["anyOf"] if each != {"type": "null"}]
        return shape
    if "const" in schema:
        return frozenset([schema["const"]])
    if "enum" in schema:
        return frozenset(schema["enum"])
    name = schema["type"]
    if isinstance(name, list):
        [name] = set(name) - {"null"}
    if name == "array":
        return ("list", shape_of_schema(schema["items"]))
    if name == "object":
        return {key: (key not in schema["required"], shape_of_schema(value))
                for key, value in schema["properties"].items()}
    return name


def asked(properties, required, left_out):
    """The shape of what a client asks for: dates are the language's own, frequencies are words."""
    shape = {}
    for key, schema in properties.items():
        if key in ("startISO", "endISO"):
            shape[key[:-3]] = (key not in required, "date")
        elif key not in left_out:
            shape[key] = (key not in required, shape_of_schema(schema))
    return shape


def rule_to_set():
    shape = dict(shape_of_schema(SCHEMAS["recurrence-rule.request.json"]))
    shape["frequency"] = shape_of_schema(SCHEMAS["recurrence-rule.json"])["frequency"]
    shape["untilISO"] = (True, "date or string")
    return shape


def requests():
    create = asked(CREATE, SCHEMAS["create-event.request.json"]["required"], WITHOUT_EFFECT["create-event"])
    update = asked(PATCH, [], WITHOUT_EFFECT["update-event"])
    for shape in (create, update):
        shape["recurrenceRule"] = (True, rule_to_set())
    return create, update


def shape_of_hint(hint):
    simple = {str: "string", int: "integer", bool: "boolean", datetime: "date"}
    origin, arguments = typing.get_origin(hint), typing.get_args(hint)
    if hint in simple:
        return simple[hint]
    if origin is typing.Literal:
        return frozenset(arguments)
    if origin in (list, tuple, collections.abc.Sequence):
        return ("list", shape_of_hint(arguments[0]))
    if origin is typing.Union:
        shapes = [shape_of_hint(each) for each in arguments if each is not type(None)]
        if {"string", "date"} == set(map(str, shapes)):
            return "date or string"
        [shape] = set(shapes) if len(shapes) > 1 else shapes
        return shape
    return {key: (key not in hint.__required_keys__, shape_of_hint(value))
            for key, value in typing.get_type_hints(hint).items()}


def camel(name):
    return re.sub("_([a-z0-9])", lambda letter: letter.group(1).upper(), name)


def shape_of_parameters(method):
    hints = typing.get_type_hints(method)
    shape = {}
    for name, parameter in inspect.signature(method).parameters.items():
        if parameter.kind is parameter.KEYWORD_ONLY:
            optional = parameter.default is None
            shape[camel(name)] = (optional, shape_of_hint(hints[name]))
    return shape


def typescript(shape, null=""):
    """A shape as a type of TypeScript; null is what may stand in the place of what is left out."""
    simple = {"string": "string", "integer": "number", "boolean": "boolean", "date": "Date",
              "date or string": "string | Date"}
    if isinstance(shape, str):
        return simple[shape]
    if isinstance(shape, frozenset):
        return " | ".join(json.dumps(word) for word in shape)
    if isinstance(shape, tuple):
        return f"({typescript(shape[1], null)})[]"
    members = (f"{key}{'?' if optional else ''}: {typescript(value, null)}{null if optional else ''}"
               for key, (optional, value) in shape.items())
    return "{ " + "; ".join(members) + " }"


class Python(unittest.TestCase):
    maxDiff = None

    def test_answers_are_those_of_the_schemas(self):
        for name, schema in ANSWERS.items():
            self.assertEqual(shape_of_hint(getattr(CLIENT, name)), shape_of_schema(SCHEMAS[schema]), name)

    def test_requests_are_those_of_the_schemas(self):
        create, update = requests()
        self.assertEqual(shape_of_parameters(CLIENT.Quenbrook.create_event), create)
        self.assertEqual(shape_of_parameters(CLIENT.Quenbrook.update_event), update)

    def test_mypy_finds_nothing_but_the_faults_of_a_caller(self):
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder) / "place"
            python_place(place)
            (place / "caller.py").write_text("""
from datetime import datetime, timezone
from quenbrook import Quenbrook, parse_date
client = Quenbrook(timeout=5)
now = datetime.now(timezone.utc)
for event in client.list_events(now, now, ["a"]):
    print(event["title"].upper(), event.get("location"), parse_date(event["startISO"]).year)
client.create_event(calendar_id="a", title="b", start=now, end=now,
                    recurrence_rule={"frequency": "daily", "interval": 1, "untilISO": now})
client.list_events(now, "2026")
client.update_event("a", tittle="b")
client.list_events(now, now, "a")
print(client.list_calendars()[0]["colour"])
client.create_event(calendar_id="a", title="b", start=now, end=now,
                    recurrence_rule={"frequency": "hourly", "interval": 1})
""")
            check = subprocess.run(
                [sys.executable, "-m", "mypy", "--strict", "--python-version", "3.9", "--cache-dir",
                 os.devnull, "quenbrook.py", "caller.py"],
                cwd=place, capture_output=True, text=True, check=False)
            found = re.findall(r"^([a-z]+.py):([0-9]+): error", check.stdout, re.M)
            faults = {("caller.py", str(line)) for line in (10, 11, 12, 13, 15)}
            self.assertEqual(set(found), faults, check.stdout + check.stderr)


def equalities():
    """A script that compiles when the types are those of the schemas, and tells even a small difference."""
    create, update = requests()
    types = {name: typescript(shape_of_schema(SCHEMAS[schema])) for name, schema in ANSWERS.items()}
    types["ErrorCode"] = typescript(shape_of_schema(SCHEMAS["error.json"])["code"][1])
    types["NewEvent"] = typescript(create, " | null")
    types["Changes"] = typescript(update, " | null")
    script = """import * as Client from "quenbrook";
type Equal<A, B> = (<T>() => T extends A ? 1 : 2) extends <T>() => T extends B ? 1 : 2 ? true : false;
export function same<_ extends true>(): void {}
"""
    for name, expected in types.items():
        script += f"same<Equal<Client.{name}, {expected}>>();\n"
    for before, after in (("color?:", "color:"), ("writable: boolean", "writable: string"),
                          ("name: string; ", "")):
        assert before in types["Calendar"]
        other = types["Calendar"].replace(before, after)
        script += f"// @ts-expect-error\nsame<Equal<Client.Calendar, {other}>>();\n"
    return script


CALLER = """import { Quenbrook, QuenbrookError, OutcomeUnknown } from "quenbrook";
const client = new Quenbrook("quenbrook", { timeout: 5000 });
const now = new Date();
for (const event of await client.listEvents(now, now, ["a"])) event.title.toUpperCase();
const rule = { frequency: "daily", interval: 1, untilISO: now } as const;
await client.createEvent({ calendarId: "a", title: "b", start: now, end: now, recurrenceRule: rule });
new OutcomeUnknown().message;
const error: unknown = undefined;
export const code = error instanceof QuenbrookError && error.code === "ACCESS_DENIED";
// @ts-expect-error
await client.listEvents(now, "2026");
// @ts-expect-error
await client.updateEvent("a", { tittle: "b" });
// @ts-expect-error
(await client.listCalendars())[0]?.colour;
// @ts-expect-error
await client.createEvent({ calendarId: "a", title: "b", start: now });
"""

COPIED = """import { Quenbrook } from "./quenbrook.mjs";
const calendars = await new Quenbrook().listCalendars();
export const names: string[] = calendars.map((calendar) => calendar.name);
// @ts-expect-error
export const none: number[] = calendars.map((calendar) => calendar.name);
"""


class TypeScript(unittest.TestCase):
    def test_the_compiler_finds_nothing_but_the_faults_of_a_caller(self):
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder) / "place"
            node_place(place)
            # One who copies the files has the types beside the client, under the name that goes with it.
            for name, copy in (("quenbrook.mjs", "quenbrook.mjs"), ("quenbrook.d.ts", "quenbrook.d.mts")):
                (place / copy).write_bytes((CLIENTS / "node" / name).read_bytes())
            scripts = {"equalities.mts": equalities(), "caller.mts": CALLER, "copied.mts": COPIED}
            for name, script in scripts.items():
                (place / name).write_text(script)
            check = subprocess.run(
                [TSC, "--strict", "--exactOptionalPropertyTypes", "--skipDefaultLibCheck", "--noEmit",
                 "--target", "es2022", "--module", "node16", "--moduleResolution", "node16", *scripts],
                cwd=place, capture_output=True, text=True, check=False)
            self.assertEqual((check.stdout, check.returncode), ("", 0))


class Packages(unittest.TestCase):
    def test_have_the_programs_version(self):
        [version] = re.findall(r"project\(quenbrook VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
        self.assertEqual(json.loads((CLIENTS / "node/package.json").read_text())["version"], version)
        metadata = (CLIENTS / "python/pyproject.toml").read_text()
        self.assertEqual(re.findall('^version = "(.*)"$', metadata, re.M), [version])


if __name__ == "__main__":
    unittest.main()
