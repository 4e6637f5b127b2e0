"""scripts/setup.sh as a Mac runs it: its tools are stand-ins that say what they were asked."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# What a Mac has as well; anything else that is called fails.
TOOLS = ("awk", "bash", "cat", "cut", "dirname", "grep", "mkdir", "mv", "paste", "perl", "sed", "touch", "tr", "id",
         "rm")

BREW = """
case $*,$1 in
--prefix,*) echo "$ROOT/brew" ;;
*,--prefix)
    shift
    for formula; do
        case $formula in
        icu4c) echo "$ROOT/brew/opt/icu4c@77" ;;
        *) echo "$ROOT/brew/opt/$formula" ;;
        esac
    done
    ;;
*,install) [ ! -e "$ROOT/no-network" ] || { echo "Error: Failed to download resource" >&2; exit 1; } ;;
*) exit 1 ;;
esac
"""

CMAKE = """
case $1 in
--fresh)
    mkdir -p "$ROOT/build/$3"
    touch "$ROOT/build/$3/build.ninja"
    echo "CMAKE_HOME_DIRECTORY:INTERNAL=$ROOT" >"$ROOT/build/$3/CMakeCache.txt"
    echo "prefix $CMAKE_PREFIX_PATH" >>"$ROOT/calls"
    ;;
--build)
    mkdir -p "$2/src"
    echo >"$2/src/quenbrook"
    chmod +x "$2/src/quenbrook"
    ;;
esac
"""

OTOOL = """
printf '%s:\\n' "$2"
printf '\\t%s (compatibility version 1.0.0, current version 1.0.0)\\n' \\
    /opt/homebrew/opt/icu4c@77/lib/libicuuc.77.dylib \\
    /System/Library/Frameworks/EventKit.framework/Versions/A/EventKit /usr/lib/libSystem.B.dylib
"""

INSTALLED = ("cmake", "ninja", "icu4c@77", "nlohmann-json")


class SetUpOnAMac(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp()).resolve()
        self.addCleanup(shutil.rmtree, self.root)
        self.tools = self.root / "tools"
        for folder in ("tools", "scripts", "brew/opt"):
            (self.root / folder).mkdir(parents=True)
        for name in ("setup.sh", "packages.txt"):
            shutil.copy(ROOT / "scripts" / name, self.root / "scripts" / name)
        (self.root / "CMakePresets.json").touch()
        os.utime(self.root / "CMakePresets.json", (1_000_000_000, 1_000_000_000))
        for tool in (*TOOLS, "chmod"):
            (self.tools / tool).symlink_to(shutil.which(tool))
        for tool, body in (("uname", "echo Darwin"), ("xcode-select", ""), ("brew", BREW), ("cmake", CMAKE),
                           ("otool", OTOOL)):
            path = self.tools / tool
            path.write_text(f'#!/bin/sh\necho "{tool} $*" >>"$ROOT/calls"\n{body}\n')
            path.chmod(0o755)
        self.install(*INSTALLED)

    def install(self, *formulae):
        for formula in formulae:
            (self.root / "brew/opt" / formula).mkdir()

    def set_up(self, command="run"):
        """What the tools were asked; the script is run as near to bash 3.2 as a newer one comes."""
        (self.root / "calls").unlink(missing_ok=True)
        self.result = subprocess.run(
            ["bash", "--posix", self.root / "scripts/setup.sh", command],
            env={"PATH": str(self.tools), "ROOT": str(self.root), "BASH_COMPAT": "3.2"},
            stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        return (self.root / "calls").read_text().splitlines()

    def assertSucceeded(self):
        log = (self.root / "build/setup.log").read_text()
        self.assertEqual((self.result.returncode, self.result.stdout, self.result.stderr),
                         (0, "", ""), log)

    def installs(self, calls):
        return [call for call in calls if call.startswith("brew install")]

    def test_installs_nothing_that_is_there_under_the_name_of_a_version(self):
        calls = self.set_up()
        self.assertSucceeded()
        self.assertEqual(self.installs(calls), [])

    def test_installs_what_is_missing_at_once(self):
        (self.root / "brew/opt/icu4c@77").rmdir()
        (self.root / "brew/opt/ninja").rmdir()
        calls = self.set_up()
        self.assertSucceeded()
        self.assertEqual(self.installs(calls), ["brew install ninja icu4c"])

    def test_wants_what_only_the_tests_need_for_the_tests_only(self):
        calls = self.set_up("test")
        self.assertSucceeded()
        self.assertEqual(self.installs(calls), ["brew install abseil googletest"])

    def test_looks_for_icu_where_homebrew_keeps_it(self):
        self.assertIn(f"prefix {self.root}/brew/opt/icu4c@77:{self.root}/brew", self.set_up())

    def test_remembers_the_libraries_that_an_upgrade_may_take_away(self):
        self.set_up()
        self.assertEqual((self.root / "build/release/.current").read_text(),
                         "/opt/homebrew/opt/icu4c@77/lib/libicuuc.77.dylib\n")

    def test_builds_again_without_configuring(self):
        self.assertIn("cmake --fresh --preset release", self.set_up())
        again = self.set_up()
        self.assertNotIn("cmake --fresh --preset release", again)
        self.assertIn(f"cmake --build {self.root}/build/release --target quenbrook", again)

    def test_names_what_comes_first(self):
        (self.tools / "brew").unlink()
        self.set_up()
        self.assertEqual(
            (self.result.returncode, self.result.stderr),
            (70, "quenbrook: set-up failed while looking for Homebrew, which comes first "
             f"(https://brew.sh); the log is {self.root}/build/setup.log\n"))
        (self.tools / "xcode-select").write_text('#!/bin/sh\necho asked >>"$ROOT/calls"\nexit 2\n')
        self.set_up()
        self.assertEqual(
            (self.result.returncode, self.result.stderr),
            (70, "quenbrook: set-up failed while looking for the Command Line Tools, which come first "
             f"(xcode-select --install); the log is {self.root}/build/setup.log\n"))

    def test_tells_a_failure_in_one_line(self):
        (self.root / "brew/opt/ninja").rmdir()
        (self.root / "no-network").touch()
        self.set_up()
        self.assertEqual((self.result.returncode, self.result.stdout, self.result.stderr), (
            70, "", "quenbrook: set-up failed while installing formulae: Error: Failed to download resource; "
            f"the log is {self.root}/build/setup.log\n"))


if __name__ == "__main__":
    unittest.main()
