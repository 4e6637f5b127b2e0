"""The man page as it is rendered, the pages, the schemas, README and the completions against the
program's own tables of words, keys, codes and files: none may tell of another program than this."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = os.environ["QUENBROOK_PROGRAM"]
DOCS = ROOT / "docs"

SUBCOMMANDS = (ROOT / "src/Subcommands.cpp").read_text()
RECORDS = "\n".join(path.read_text() for path in sorted((ROOT / "src/DTOs").glob("*Records.h")))

WORDS = re.findall(r'^    \{"([a-z-]+)", ', SUBCOMMANDS, re.M)
CODES = re.findall(r'^    "([A-Z_]+)",$', (ROOT / "src/ErrorCodes.cpp").read_text(), re.M)


def keys_of(record):
    """The keys of a record, each with whether it may be left out."""
    head, own = re.search(rf"\nstruct {record}( : \w+)? \{{(.*?)\n\}};", RECORDS, re.S).groups()
    optional = set(re.findall(r"std::optional<.*> (\w+);", own))
    keys = keys_of(head[3:]) if head else {}
    table = re.search(rf"recordFields<{record}> =(.*?);\n", RECORDS, re.S).group(1)
    for name, member in re.findall(rf'field\("(\w+)",\s*&{record}::(\w+)\)', table):
        keys[name] = member in optional
    return keys


def request_of(word):
    answer = re.search(rf'\{{"{word}", (\w+)(?:<(\w+))?', SUBCOMMANDS)
    function, record = answer.groups()
    if record is None:
        body = re.search(rf"void {function}\(.*?\n\}}", SUBCOMMANDS, re.S).group()
        decoded = re.search(r"decodeStdin<(\w+)>", body)
        record = decoded and decoded.group(1)
    return keys_of(record) if record else {}


REQUESTS = {word: request_of(word) for word in WORDS}
OBJECTS = {"patch": keys_of("UpdateEventPatch"), "recurrenceRule": keys_of("RecurrenceRuleDTO"),
           "attendeesV2": keys_of("AttendeeRequestDTO")}


def manual():
    """Each section of the rendered page, its paragraphs in single lines."""
    text = subprocess.run(["mandoc", "-T", "utf8", "-O", "width=78", DOCS / "quenbrook.1"],
                          check=True, text=True, capture_output=True).stdout
    plain = re.sub(".\b", "", text).expandtabs()
    sections = re.split(r"^(?=[A-Z])", plain, flags=re.M)
    return {section.split("\n")[0]: section for section in sections}


def listed(section):
    """The items of a section's lists: what stands at the margin, and the text that is set under it."""
    items = {}
    name = None
    _, *lines = section.split("\n")
    for before, line in zip(["", *lines], lines):
        item = re.match(r" {5}(\S+(?:, \S+)*)(?: {2,}(.*))?$", line)
        if item and not before:
            name = item.group(1)
            items[name] = item.group(2) or ""
        elif name and line.startswith(" " * 8):
            items[name] += " " + line.strip()
    return items


def keys_in(text):
    """The keys that an item begins with, up to its first full stop."""
    keys = re.match(r"(.*?)\.(?: |$)", text.strip()).group(1)
    if keys == "No request":
        return {}
    named = [re.fullmatch(r"(\[?)(\w+)(\]?)", key).groups() for key in keys.split(", ")]
    return {key: (begin, end) == ("[", "]") for begin, key, end in named}


class Tables(unittest.TestCase):
    maxDiff = None

    def test_the_programs_tables_are_understood_here(self):
        self.assertEqual(len(WORDS), 7)
        self.assertEqual(len(CODES), 11)
        self.assertEqual(REQUESTS["cancel-event"], {"id": False, "reason": True})
        self.assertEqual(len(REQUESTS["create-event"]), 12)
        self.assertEqual(len(OBJECTS["patch"]), 12)

    def test_the_man_page_has_every_word_with_its_keys(self):
        items = listed(manual()["DESCRIPTION"])
        self.assertEqual(sorted(items), sorted([*WORDS, *OBJECTS]))
        for name, keys in {**REQUESTS, **OBJECTS}.items():
            self.assertEqual(keys_in(items[name]), keys, name)

    def test_the_man_page_has_every_code(self):
        text = manual()["DIAGNOSTICS"]
        self.assertEqual(sorted(re.findall(r"\b[A-Z]+(?:_[A-Z]+)*\b", text.split("\n", 1)[1]
                                           .replace("The code", ""))), sorted(CODES))

    def test_the_man_page_has_the_folders_that_a_run_makes(self):
        named = set()
        for path in next(iter(listed(manual()["FILES"]))).split(", "):
            with tempfile.TemporaryDirectory() as folder:
                home = pathlib.Path(folder)
                variables = {"HOME": folder}
                place = path.replace("~", folder)
                if path.startswith("$XDG_DATA_HOME"):
                    variables["XDG_DATA_HOME"] = str(home / "data")
                    place = path.replace("$XDG_DATA_HOME", variables["XDG_DATA_HOME"])
                subprocess.run([PROGRAM, "list-calendars"], env=variables, check=True,
                               stdin=subprocess.DEVNULL, capture_output=True)
                self.assertTrue((pathlib.Path(place) / "local/calendar").is_dir(), path)
                named.add(path)
        self.assertEqual(len(named), 2)

    def test_each_word_has_a_page_with_its_keys(self):
        for word, keys in REQUESTS.items():
            page = (DOCS / f"words/{word}.md").read_text()
            request = page[page.index("**Request**"):page.index("**Answer**")]
            for key in [*keys, *(OBJECTS["patch"] if "patch" in keys else ())]:
                self.assertIn(f"`{key}`", request, word)

    def test_the_schemas_of_the_requests_have_the_same_keys(self):
        for name, keys in {**REQUESTS, "recurrence-rule": OBJECTS["recurrenceRule"]}.items():
            if keys:
                schema = json.loads((DOCS / f"schemas/{name}.request.json").read_text())
                self.assertEqual({key: key not in schema["required"]
                                  for key in schema["properties"]}, keys, name)

    def test_the_pages_tell_of_every_code_and_of_no_other(self):
        text = "\n".join(path.read_text() for path in
                         [DOCS / "protocol.md", *(DOCS / "words").glob("*.md")])
        told = re.findall(r"^\| `([A-Z_]+)` \|", text, re.M)
        self.assertEqual(sorted(set(told)), sorted(CODES))

    def test_readme_and_protocol_list_the_words(self):
        for page in (ROOT / "README.md", DOCS / "protocol.md"):
            self.assertEqual(sorted(re.findall(r"^\| `([a-z-]+)` \|", page.read_text(), re.M)),
                             sorted(WORDS), page.name)

    def test_the_completions_have_the_words(self):
        for path in (ROOT / "packaging/completions").iterdir():
            text = path.read_text()
            self.assertEqual(sorted(set(re.findall(r"\b[a-z]+-(?:[a-z]+-)?(?:calendars|events?|status)\b",
                                                   text))), sorted(WORDS), path.name)


if __name__ == "__main__":
    unittest.main()
