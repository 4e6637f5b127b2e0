"""The set-up over tools that only pretend to install and to build: what it says, and to whom."""

import os
import pathlib
import pty
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

TOOLS = {
    # One package is missing.
    "dpkg-query": "exit 0",
    "id": "echo 0",
    "apt-get": """case "$*" in
        *update*) echo "Reading package lists..." ;;
        *) echo "0 upgraded, 2 newly installed, 0 to remove and 0 not upgraded."
           echo "Setting up one (1.0) ..." ; sleep 1 ; echo "Setting up two (1.0) ..." ;;
        esac""",
    "cmake": """case "$*" in
        *--preset*) mkdir -p build/release && touch build/release/build.ninja ;;
        *) for number in 1 2 3; do echo "[$number/3] Building"; sleep 0.5; done
           [ ! -e fails ] || { echo "a.cpp:1:2: error: no"; exit 1; } ;;
        esac""",
}


class Progress(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = pathlib.Path(folder.name).resolve() / "tree"
        shutil.copytree(ROOT / "scripts", self.tree / "scripts")
        shutil.copy(ROOT / "CMakePresets.json", self.tree)
        shutil.copy(ROOT / "run", self.tree)
        tools = self.tree / "tools"
        tools.mkdir()
        for name, script in TOOLS.items():
            (tools / name).write_text(f"#!/bin/sh\n{script}\n")
            (tools / name).chmod(0o755)
        self.environment = {"PATH": f"{tools}:/usr/bin:/bin", "HOME": folder.name, "TERM": "xterm"}

    def set_up(self, **options):
        return subprocess.run(["bash", self.tree / "scripts/setup.sh", "run"],
                              stdin=subprocess.DEVNULL, check=False, **options)

    def on_a_terminal(self, **changes):
        """The status, and what a terminal is told on standard error."""
        ours, theirs = pty.openpty()
        with open(ours, "rb", buffering=0) as screen:
            with subprocess.Popen(["bash", self.tree / "scripts/setup.sh", "run"],
                                  env={**self.environment, **changes}, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=theirs) as process:
                os.close(theirs)
                told = b""
                try:
                    while part := screen.read(4096):
                        told += part
                except OSError:
                    pass  # The other end is closed: a terminal tells it so.
                self.assertEqual(process.stdout.read(), b"")
            return process.returncode, told.decode()

    def test_a_terminal_shows_one_line_and_no_trace_of_it(self):
        status, told = self.on_a_terminal()
        self.assertEqual(status, 0, told)
        shown = told.split("\r\x1b[K")
        self.assertIn("quenbrook: installing packages, 1 of 2", shown)
        self.assertIn("quenbrook: building release, 2 of 3", shown)
        self.assertNotIn("\n", told)
        self.assertTrue(told.endswith("\r\x1b[K"), told)

    def test_a_failure_takes_the_place_of_the_line(self):
        (self.tree / "fails").touch()
        status, told = self.on_a_terminal()
        self.assertEqual(status, 70)
        self.assertTrue(told.split("\r\x1b[K")[-2].startswith(
            "quenbrook: set-up failed while building release: a.cpp:1:2: error: no; the log is "), told)
        self.assertEqual(told.count("\n"), 1)

    def test_a_terminal_that_cannot_take_a_line_back_is_told_nothing(self):
        self.assertEqual(self.on_a_terminal(TERM="dumb"), (0, ""))

    def test_a_pipe_is_told_nothing(self):
        run = self.set_up(env=self.environment, capture_output=True)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""))


if __name__ == "__main__":
    unittest.main()
