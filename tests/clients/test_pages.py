"""The examples of the pages: those for Python, Node and the shell as they are written, and every command of
the protocol's pages through both clients."""

import datetime
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from callers import NODE, NodeCaller, PythonCaller, ROOT, node_place, python_place
from quenbrook import PATIENCE, PROGRAM, QuenbrookTest, event

sys.path.insert(0, str(ROOT / "tests/docs"))

from test_examples import DOCS, PAGES, UUID, examples

BLOCK = re.compile(r"^```([a-z]+)\n(.*?)^```$", re.M | re.S)


def blocks(language):
    """The examples of the callers' page in one language."""
    return [text for name, text in BLOCK.findall((DOCS / "callers.md").read_text()) if name == language]


class Callers(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.bin = self.place / "bin"
        self.bin.mkdir()
        (self.bin / "quenbrook").symlink_to(PROGRAM)
        tomorrow = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=1)
        self.calendar("work")
        self.put("work", "one.ics", [event(f"DTSTART:{tomorrow:%Y%m%dT%H%M%SZ}", "SUMMARY:Review/Żur")])
        self.start = f"{tomorrow:%Y-%m-%dT%H:%M:%S}"

    def run_script(self, place, *command, **variables):
        environment = {**self.environment(), "PATH": f"{self.bin}:/usr/bin:/bin", **variables}
        run = subprocess.run(command, cwd=place, env=environment, capture_output=True, text=True,
                             timeout=PATIENCE, check=False)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return run.stdout

    def deny(self):
        shutil.rmtree(self.store)
        self.store.touch()

    def files(self):
        return sorted(path.name for path in (self.store / "work").iterdir())

    def run_python(self, script):
        place = self.place / "python"
        variables = python_place(place)
        (place / "caller.py").write_text(script)
        return self.run_script(place, sys.executable, "caller.py", **variables)

    def run_node(self, script):
        place = self.place / "node"
        node_place(place)
        (place / "caller.mjs").write_text(script)
        return self.run_script(place, NODE, "caller.mjs")

    def run_shell(self):
        [script] = blocks("sh")
        return self.run_script(self.place, "sh", "-e", "-c", script)

    def test_the_lines_for_python(self):
        self.assertEqual(self.run_python("\n".join(blocks("python"))),
                         f"{self.start.replace('T', ' ')}+00:00 Review/Żur\n")
        self.assertEqual(self.files(), ["one.ics"])

    def test_the_lines_for_node(self):
        self.assertEqual(self.run_node("\n".join(blocks("js"))), f"{self.start}.000Z Review/Żur\n")
        self.assertEqual(self.files(), ["one.ics"])

    def test_the_lines_for_the_shell(self):
        self.assertEqual(self.run_shell(), f"{self.start}.000Z  Review/Żur\n")

    def test_the_lines_for_the_shell_with_the_other_date(self):
        date = self.bin / "date"
        date.write_text(f"""#!{sys.executable}
# Knows -v as BSD's date does, and no -d.
import datetime, re, sys
universal, option, days, form = sys.argv[1:]
if (universal, option) != ("-u", "-v"):
    sys.exit("date: illegal option")
days = re.fullmatch("[+]([0-9]+)d", days).group(1)
moment = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=int(days))
print(moment.strftime(form.removeprefix("+")))
""")
        date.chmod(0o755)
        self.assertEqual(self.run_shell(), f"{self.start}.000Z  Review/Żur\n")

    def test_the_lines_tell_of_a_refusal(self):
        self.deny()
        told = "the calendars cannot be read: ACCESS_DENIED\n"
        self.assertEqual(self.run_python(blocks("python")[0]), told)
        self.assertEqual(self.run_node(blocks("js")[0]), told)
        self.assertEqual(self.run_shell(), told)

    def look(self):
        """What the page's function says of this store, when an event is known that has been there before."""
        return json.loads(self.run_python("\n".join(blocks("python")) + """
import json
known = {"work:event": "work"}
try:
    events, gone = look(client, known, now, now + timedelta(days=7))
    answer = [[event["id"] for event in events], gone]
except QuenbrookError as error:
    answer = error.code
print(json.dumps(answer))
""").splitlines()[-1])

    def test_only_an_event_that_is_gone_is_taken_for_deleted(self):
        self.calendar("other")
        self.assertEqual(self.look(), [["work:event"], []])
        content = (self.store / "work/one.ics").read_text()
        (self.store / "work/one.ics").write_text(re.sub("DTSTART:....", "DTSTART:2001", content))
        self.assertEqual(self.look(), [[], []])
        (self.store / "work/one.ics").unlink()
        self.assertEqual(self.look(), [[], ["work:event"]])
        shutil.rmtree(self.store / "work")
        self.assertEqual(self.look(), [[], []])

    def test_every_language_has_its_lines(self):
        page = (DOCS / "callers.md").read_text()
        self.assertEqual([name for name, _ in BLOCK.findall(page)],
                         ["python", "python", "js", "js", "sh", "python"])
        self.assertEqual(page.count("```"), 12)


# The words, and what of an answer a client hands out.
HANDED_OUT = {"list-calendars": "calendars", "list-events": "events", "get-event": "event",
              "get-attendee-status": "attendees"}


def arguments_of(request):
    """A request as the arguments of a client."""
    arguments = {}
    for key, value in request.items():
        if key in ("startISO", "endISO"):
            arguments[key[:-3]] = {"date": value}
        else:
            arguments["changes" if key == "patch" else key] = arguments_of(value) if key == "patch" else value
    return arguments


def calls(page):
    """The commands of a page as calls, each with what it is to come to. What a client cannot even say (a word
    that is none, a key that is missing, a date that is no moment) is left to the command."""
    for command, expected in examples(page):
        request, word = re.fullmatch(r"(?:echo '(.*)' \| )?(?:quenbrook|\./run) ([a-z-]+)(?: </dev/null)?",
                                     command).groups()
        expected = json.loads(expected)
        code, error = expected.get("code"), expected.get("error", "")
        if code in ("UNKNOWN_SUBCOMMAND", "INVALID_DATE") or "is missing" in error:
            continue
        if code:
            outcome = {"refused": [code, error]}
        else:
            outcome = {"answer": expected[HANDED_OUT[word]] if word in HANDED_OUT else expected}
        yield word, arguments_of(json.loads(request or "{}")), outcome


class Examples:
    """Of either client."""

    def test_the_examples_of_the_pages_come_to_the_same(self):
        made = 0
        caller = self.Caller()
        self.addCleanup(caller.close)
        for page in [*PAGES, ROOT / "README.md"]:
            with tempfile.TemporaryDirectory() as folder:
                store = pathlib.Path(folder) / "data/quenbrook/calendars"
                if page.name != "README.md":
                    shutil.copytree(DOCS / "example-store", store)
                environment = {"HOME": folder, "TZ": "UTC", "XDG_DATA_HOME": f"{folder}/data",
                               "PATH": os.environ["PATH"]}
                for word, arguments, expected in calls(page):
                    [outcome] = caller.call_all([(word, arguments)], environment)
                    # A new event's identifier is random.
                    self.assertEqual(UUID.sub("UUID", json.dumps(outcome, sort_keys=True)),
                                     UUID.sub("UUID", json.dumps(expected, sort_keys=True)), page.name)
                    made += 1
        self.assertGreaterEqual(made, 18)


class PythonExamples(Examples, unittest.TestCase):
    Caller = PythonCaller


class NodeExamples(Examples, unittest.TestCase):
    Caller = NodeCaller


if __name__ == "__main__":
    unittest.main()
