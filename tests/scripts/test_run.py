"""./run: when it sets up, and that nothing but the program speaks."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# A Mac's /bin/sh is bash 3.2 in this mode; Debian's is dash.
SHELLS = (["/bin/sh"], ["bash", "--posix"])


class Run(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp()).resolve()
        self.addCleanup(shutil.rmtree, self.root)
        self.write("src/main.cpp", "")
        self.write("stores/vdir/VdirStore.h", "")
        self.write("icalendar/text/ContentLine.h", "")
        self.write("files/Directory.h", "")
        self.write("CMakeLists.txt", "")
        self.program = self.write(
            "build/release/src/quenbrook", '#!/bin/sh\necho "program: $*"; cat\n', 0o755)
        self.built = self.write("build/release/.current", "")
        self.write("scripts/setup.sh", f'echo "$1" >>"{self.root}/set-up"\n')
        for path in self.root.rglob("*"):
            os.utime(path, (1_000_000_000, 1_000_000_000))
        os.utime(self.built, (1_000_000_001, 1_000_000_001))
        shutil.copy(ROOT / "run", self.root / "run")

    def write(self, name, text, mode=0o644):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        path.chmod(mode)
        return path

    def set_ups(self):
        """Runs it in each shell; how often it set up, having answered each time."""
        counts = set()
        for shell in SHELLS:
            (self.root / "set-up").unlink(missing_ok=True)
            run = subprocess.run(
                [*shell, self.root / "run", "list-events", "x y"], input="request",
                capture_output=True, text=True, check=False)
            self.assertEqual((run.stdout, run.stderr, run.returncode),
                             ("program: list-events x y\nrequest", "", 0))
            log = self.root / "set-up"
            counts.add(log.read_text() if log.exists() else "")
        self.assertEqual(len(counts), 1)
        return counts.pop().split()

    def test_starts_what_is_current_straight_away(self):
        self.assertEqual(self.set_ups(), [])

    def test_sets_up_when_a_source_is_newer(self):
        for source in ("src/main.cpp", "stores/vdir/VdirStore.h", "icalendar/text/ContentLine.h", "files/Directory.h",
                       "CMakeLists.txt"):
            with self.subTest(source=source):
                os.utime(self.root / source, (1_000_000_002, 1_000_000_002))
                self.assertEqual(self.set_ups(), ["run"])
                os.utime(self.root / source, (1_000_000_000, 1_000_000_000))

    def test_sets_up_when_a_shared_library_is_gone(self):
        library = self.write("lib/libicuuc.77.dylib", "")
        self.built.write_text(f"{library}\n{library}\n")
        os.utime(self.built, (1_000_000_001, 1_000_000_001))
        self.assertEqual(self.set_ups(), [])
        library.unlink()
        self.assertEqual(self.set_ups(), ["run"])

    def test_sets_up_what_was_not_finished(self):
        self.built.unlink()
        self.assertEqual(self.set_ups(), ["run"])

    def test_starts_the_program_of_the_store_that_is_asked_for(self):
        self.write("build/evolution/src/quenbrook", "#!/bin/sh\necho desktop\n", 0o755)
        for shell in SHELLS:
            run = subprocess.run([*shell, self.root / "run", "w"], input="", capture_output=True, text=True,
                                 env={**os.environ, "QUENBROOK_STORE": "evolution"}, check=False)
            self.assertEqual((run.stdout, run.stderr), ("desktop\n", ""))
        self.assertEqual((self.root / "set-up").read_text(), "run-evolution\n" * len(SHELLS))

    def test_refuses_a_store_that_it_does_not_know(self):
        for shell in SHELLS:
            run = subprocess.run([*shell, self.root / "run", "w"], input="", capture_output=True, text=True,
                                 env={**os.environ, "QUENBROOK_STORE": "folders"}, check=False)
            self.assertEqual((run.stdout, run.stderr, run.returncode), (
                "", "quenbrook: QUENBROOK_STORE is evolution or not set at all\n", 70))

    def test_ends_as_a_failed_set_up_does(self):
        self.built.unlink()
        self.write("scripts/setup.sh", "echo failed >&2; exit 70\n")
        for shell in SHELLS:
            run = subprocess.run([*shell, self.root / "run", "list-calendars"],
                                 capture_output=True, text=True, check=False)
            self.assertEqual((run.stdout, run.stderr, run.returncode), ("", "failed\n", 70))

    def test_finds_its_tree_through_links(self):
        (self.root / "elsewhere").mkdir()
        link = self.root / "elsewhere/quenbrook"
        link.symlink_to("../run")
        run = subprocess.run([link, "w"], input="", capture_output=True, text=True, check=False)
        self.assertEqual(run.stdout, "program: w\n")


if __name__ == "__main__":
    unittest.main()
