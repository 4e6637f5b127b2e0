"""The guide for a Mac, with the program over the stand-in and stand-ins for the tools of macOS."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import over

PROGRAM = os.environ["QUENBROOK_PROGRAM"]
GUIDE = pathlib.Path(__file__).resolve().parent / "mac"

WORLD = """
import json, os
def world(**changes):
    path = os.environ["QUENBROOK_STAND_IN"]
    content = {**json.load(open(path)), **changes}
    json.dump(content, open(path, "w"))
"""

# The first reset is followed by a no, the second one by a yes.
TCCUTIL = WORLD + """
first = os.path.join(os.path.dirname(os.environ["QUENBROOK_STAND_IN"]), "was-asked")
world(status=0, prompt={"granted": os.path.exists(first), "late": True})
open(first, "w")
"""

# Opening the settings stands for the person's choice there, opening an application for starting it.
OPEN = WORLD + """
import subprocess, sys
if sys.argv[1].startswith("x-apple"):
    world(status=4)
elif sys.argv[1] == "-W":
    carries = "NSCalendarsFullAccessUsageDescription" in open(sys.argv[2] + "/Contents/Info.plist").read()
    world(status=3 if carries else 2)
    subprocess.run([sys.argv[2] + "/Contents/MacOS/host"])
    world(status=3)
"""

CODESIGN = """
import sys
if "--display" in sys.argv or "--verify" in sys.argv:
    print("satisfies its Designated Requirement, Info.plist entries=7, flags=0x10000(runtime),",
          "com.apple.security.personal-information.calendars")
"""

TOOLS = {
    "tccutil": TCCUTIL, "open": OPEN, "codesign": CODESIGN,
    "lipo": "print('arm64')", "vtool": "print('    minos 14.0')",
    "launchctl": "print('NSCalendarsFullAccessUsageDescription org.quenbrook.quenbrook')",
    "otool": "print('program:\\n\\t/usr/lib/libSystem.B.dylib (compatibility version 1.0.0)')",
}

# What the person does and says, step by step.
ANSWERS = {"build": [], "prompt": ["", "", ""], "calendars": ["y"], "suite": ["1"],
           "look": ["y", "", "y"], "host": ["y", "", "y"]}


class OnAMac(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp()).resolve()
        self.addCleanup(shutil.rmtree, self.place)
        (self.place / "store").mkdir()
        environment, _ = over.eventkit(self.place / "store")
        self.world = self.place / "store" / "world.json"
        tools = self.place / "tools"
        tools.mkdir()
        for name, body in TOOLS.items():
            (tools / name).write_text(f"#!{sys.executable} -SE\n{body}\n")
            (tools / name).chmod(0o755)
        self.environment = {**os.environ, "HOME": str(self.place), **environment,
                            "PATH": f"{tools}:{os.environ['PATH']}"}

    def guide(self, answers, *steps):
        self.report = self.place / "report"
        return subprocess.run(
            [sys.executable, "-B", GUIDE, "--program", PROGRAM, "--report", self.report,
             "--only", "removes one event once", *steps], input="\n".join(answers) + "\n",
            env=self.environment, capture_output=True, text=True, check=False)

    def test_leads_through_every_step(self):
        result = self.guide([answer for answers in ANSWERS.values() for answer in answers])
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertNotIn("FAILED", result.stdout)
        report = self.report.read_text()
        for text in ("ok     the program carries what macOS asks for",
                     "ok     answered with no: User declined Calendar access.",
                     "ok     asked again: Calendar access not granted (status=2).",
                     "ok     add only: Only write-only Calendar access granted",
                     "ok     list-calendars answers", "#FF4080 Team – Work caldav",
                     "(read-only) Public – Feeds subscription",
                     "ok     the conformance suite", "ok     nothing is left of it",
                     "ok     right after the yes there are calendars",
                     "ok     a host application without the usage text is refused",
                     "seen: {\"code\":\"ACCESS_DENIED\"",
                     "ok     a host application with the usage text gets its answer", "0 faults"):
            self.assertIn(text, report)
        events = json.loads(self.world.read_text())["events"]
        self.assertEqual([event["identifier"] for event in events], ["E1", "E2"])

    def test_takes_a_no_for_a_fault(self):
        result = self.guide(["n"], "calendars")
        self.assertEqual(result.returncode, 1)
        self.assertIn("FAILED Are these all calendars", result.stdout)

    def test_finds_a_grant_that_shows_no_calendar(self):
        world = json.loads(self.world.read_text())
        self.world.write_text(json.dumps({**world, "calendars": []}))
        result = self.guide(ANSWERS["prompt"], "prompt")
        self.assertEqual(result.returncode, 1)
        self.assertIn("FAILED right after the yes there are calendars", result.stdout)

    def test_finds_a_prompt_that_is_not_asked(self):
        (self.place / "tools" / "tccutil").write_text("#!/bin/sh\n")
        result = self.guide(ANSWERS["prompt"], "prompt")
        self.assertEqual(result.returncode, 1)
        self.assertIn("FAILED answered with no", result.stdout)

    def test_finds_what_the_program_does_not_carry(self):
        (self.place / "tools" / "otool").write_text(
            "#!/bin/sh\nprintf '\\t/opt/homebrew/lib/libx.dylib (x)\\n'\n")
        result = self.guide([], "build")
        self.assertEqual(result.returncode, 1)
        self.assertIn("WRONG: it may not load\n/opt/homebrew/lib/libx.dylib", result.stdout)

    def test_knows_its_steps(self):
        result = self.guide([], "bild")
        self.assertEqual(result.returncode, 2)
        self.assertIn("there is no step bild", result.stderr)


if __name__ == "__main__":
    unittest.main()
