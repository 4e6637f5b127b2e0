"""Runs every example of the protocol pages, as it is written there, and compares what it prints.

Each page starts with a fresh copy of docs/example-store. A UUID in an expected line may stand for
another one (a new event's identifier is random), but for the same one throughout a page.
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))

from jsonschema import Draft202012Validator
from quenbrook import PROGRAM, SCHEMAS, validate

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
README = DOCS.parent / "README.md"
PAGES = [DOCS / "protocol.md", *sorted((DOCS / "words").glob("*.md"))]
WORDS = ["list-calendars", "list-events", "create-event", "update-event", "cancel-event",
         "get-event", "get-attendee-status"]
UUID = re.compile(r"[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}")


def examples(page):
    """The commands of a page, each with the line that it prints."""
    lines = page.read_text().splitlines()
    return [(line[len("    $ "):], lines[at + 1].strip())
            for at, line in enumerate(lines) if line.startswith("    $ ")]


class Examples(unittest.TestCase):
    def run_page(self, page, store=DOCS / "example-store"):
        with tempfile.TemporaryDirectory() as folder:
            home = pathlib.Path(folder)
            if store:
                shutil.copytree(store, home / "data/quenbrook/calendars")
            (home / "bin").mkdir()
            (home / "bin/quenbrook").symlink_to(PROGRAM)
            (home / "run").symlink_to(PROGRAM)
            environment = {"PATH": f"{home}/bin:/usr/bin:/bin", "HOME": folder, "TZ": "UTC",
                           "XDG_DATA_HOME": f"{home}/data"}
            identifiers = {}
            for command, expected in examples(page):
                for written, actual in identifiers.items():
                    command = command.replace(written, actual)
                run = subprocess.run(["sh", "-c", command], env=environment, cwd=home,
                                     capture_output=True)
                printed = (run.stdout + run.stderr).decode()
                self.assertEqual(run.returncode, 0 if run.stdout else 1, command)
                for written, actual in zip(UUID.findall(expected), UUID.findall(printed)):
                    identifiers.setdefault(written, actual)
                for written, actual in identifiers.items():
                    expected = expected.replace(written, actual)
                self.assertEqual(printed, expected + "\n", command)
                self.check_schemas(command, printed, failed=bool(run.stderr))

    def check_schemas(self, command, printed, failed):
        word = re.search(r"(?:quenbrook|\./run) ([a-z-]+)", command).group(1)
        validate("error.json" if failed else f"{word}.answer.json", json.loads(printed))
        request = re.match(r"echo '(.*)' \|", command)
        if request and not failed:
            validate(f"{word}.request.json", json.loads(request.group(1)))

    def test_every_page_has_examples_and_they_hold(self):
        for page in PAGES:
            with self.subTest(page=page.name):
                self.assertGreater(len(examples(page)), 0)
                self.run_page(page)

    def test_the_readme_holds_on_a_first_run(self):
        self.assertEqual(len(examples(README)), 1)
        self.run_page(README, store=None)

    def test_every_word_has_a_page_and_schemas(self):
        self.assertEqual(sorted(page.stem for page in PAGES[1:]), sorted(WORDS))
        for word in WORDS:
            self.assertIn(f"{word}.answer.json", SCHEMAS)
            if word != "list-calendars":
                self.assertIn(f"{word}.request.json", SCHEMAS)

    def test_schemas_are_schemas(self):
        for name, schema in SCHEMAS.items():
            with self.subTest(schema=name):
                Draft202012Validator.check_schema(schema)
                self.assertEqual(schema["$id"], name)


if __name__ == "__main__":
    unittest.main()
