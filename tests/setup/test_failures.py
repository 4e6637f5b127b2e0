"""The set-up over tools that only pretend to work, when something goes wrong: it says why in one line, and
can be started again."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# What the scripts call of the system; nothing else is there.
SYSTEM = ("awk", "bash", "cat", "cut", "dirname", "env", "flock", "grep", "ldd", "mkdir", "mv", "paste", "rm", "rmdir",
          "sed", "sh", "sleep", "sort", "touch", "tr", "uname")

# A program that is always the same, built by a tool that must not run twice at a time.
CMAKE = """
case $* in
*--preset*)
    mkdir -p build/release
    echo "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" >build/release/CMakeCache.txt
    touch build/release/build.ninja
    ;;
*)
    mkdir building || { echo "error: two at a time"; exit 1; }
    touch started
    sleep "${SLEEP:-0.2}"
    rmdir building
    mkdir -p build/release/src
    printf '#!/bin/sh\\necho answer\\n' >build/release/src/quenbrook
    chmod +x build/release/src/quenbrook
    ;;
esac
"""

UNRESOLVED = """Err:1 http://mirror.example/debian bookworm InRelease
  Temporary failure resolving 'mirror.example'
W: Failed to fetch http://mirror.example/debian/dists/bookworm/InRelease  Temporary failure resolving 'mirror.example'
W: Some index files failed to download. They have been ignored, or old ones used instead."""


def failing_build(*lines):
    """A CMake that configures, and then says these lines."""
    return {"cmake": "case $* in *--preset*) mkdir -p build/release ;; *) cat <<'END'\n" + "\n".join(lines) +
                     "\nninja: build stopped: subcommand failed.\nEND\nexit 1 ;; esac"}


# The tools that fail, what they say, and what the one line says of it.
FAILURES = {
    "no network, and no lists of packages": (
        {"apt-get": f"""case $* in
            *update*) cat <<'END'\n{UNRESOLVED}\nEND\n;;
            *) echo 'Reading package lists...'; echo 'E: Unable to locate package g++'; exit 100 ;;
            esac"""},
        "installing packages: W: Failed to fetch http://mirror.example/debian/dists/bookworm/InRelease "
        "Temporary failure resolving 'mirror.example'"),
    "no network": (
        {"apt-get": """case $* in
            *install*) echo 'E: Failed to fetch http://a/g++.deb  Could not connect to a:80'
                echo 'E: Unable to fetch some archives, maybe run apt-get update?'; exit 100 ;;
            esac"""},
        "installing packages: E: Failed to fetch http://a/g++.deb Could not connect to a:80"),
    "no space for packages": (
        {"apt-get": """case $* in
            *install*) echo "E: You don't have enough free space in /var/cache/apt/archives/."; exit 100 ;;
            esac"""},
        "installing packages: E: You don't have enough free space in /var/cache/apt/archives/."),
    "no space for the program": (
        failing_build("FAILED: a.o", "a.s: error: cannot write",
                      "a.cpp:1: fatal error: error writing to a.s: No space left on device"),
        "building release: a.cpp:1: fatal error: error writing to a.s: No space left on device"),
    "no rights": (
        {"id": "echo 1000", "sudo": """echo 'sudo: a terminal is required to read the password' >&2
            echo 'sudo: a password is required' >&2; exit 1"""},
        "asking for the rights to install: sudo: a password is required"),
    "no sudo": (
        {"id": "echo 1000"},
        "asking for the rights to install: sudo: command not found"),
    "a compiler that finds several errors": (
        failing_build("[1/2] Building CXX object src/ErrorCodes.cpp.o", "FAILED: a.o", "In file included from a.h:1:",
                      "b.h:2:10: fatal error: c.h: No such file", "d.cpp:3:1: error: later"),
        "building release: b.h:2:10: fatal error: c.h: No such file"),
    "a linker": (
        failing_build("/usr/bin/ld: cannot find -licuuc: No such file or directory",
                      "collect2: error: ld returned 1 exit status"),
        "building release: /usr/bin/ld: cannot find -licuuc: No such file or directory"),
    "a script of the build": (
        failing_build("FAILED: data.o", "/tree/trim.sh: line 25: icupkg: command not found"),
        "building release: icupkg: command not found"),
    "CMake": (
        {"cmake": """printf '%s\\n' 'CMake Error at CMakeLists.txt:45 (find_package):' \\
            '  Could not find a package file.' '' '-- Configuring incomplete, errors occurred!'; exit 1"""},
        "configuring release: CMake Error at CMakeLists.txt:45 (find_package): Could not find a package file."),
}


class SetUp(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.place = pathlib.Path(folder.name).resolve()
        self.tree = self.place / "tree"
        shutil.copytree(ROOT / "scripts", self.tree / "scripts")
        shutil.copy(ROOT / "CMakePresets.json", self.tree)
        shutil.copy(ROOT / "run", self.tree)
        self.tools = self.place / "tools"
        self.tools.mkdir()
        for tool in (*SYSTEM, "chmod"):
            (self.tools / tool).symlink_to(shutil.which(tool))
        # One package is missing.
        for name, script in {"dpkg-query": "exit 0", "id": "echo 0", "apt-get": "exit 0", "cmake": CMAKE}.items():
            self.tool(name, script)
        self.environment = {"PATH": str(self.tools), "HOME": folder.name}

    def tool(self, name, script):
        (self.tools / name).write_text(f"#!{self.tools}/sh\n{script}\n")
        (self.tools / name).chmod(0o755)

    def start(self, *user, **changes):
        return subprocess.Popen([*user, self.tools / "sh", self.tree / "run", "w"], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                env={**self.environment, **changes}, start_new_session=True)

    def run_it(self, *user):
        """What ./run answers, says and ends with."""
        with self.start(*user) as process:
            answer, said = process.communicate()
        return answer, said, process.returncode

    def assertFailed(self, ran, why):
        self.assertEqual(ran, (
            "", f"quenbrook: set-up failed while {why}; the log is {self.tree}/build/setup.log\n", 70))


class Failures(SetUp):
    def test_one_line_tells_what_the_failing_tool_said(self):
        for title, (tools, why) in FAILURES.items():
            with self.subTest(title):
                self.setUp()
                for name, script in tools.items():
                    self.tool(name, script)
                self.assertFailed(self.run_it(), why)

    def test_a_tree_that_cannot_be_written_to(self):
        user = []
        if os.geteuid() == 0:
            user = [shutil.which("setpriv"), "--reuid=65534", "--regid=65534", "--clear-groups"]
        self.place.chmod(0o755)
        self.tree.chmod(0o555)
        self.addCleanup(self.tree.chmod, 0o755)
        self.assertFailed(self.run_it(*user), "making the build folder: Permission denied")

    def test_no_bash(self):
        (self.tools / "bash").unlink()
        self.assertEqual(self.run_it(), ("", "quenbrook: the set-up needs bash, which is not here\n", 70))


class WithoutPackages(SetUp):
    """Where there is neither apt-get nor Homebrew."""

    def setUp(self):
        super().setUp()
        (self.tools / "apt-get").unlink()

    def test_builds_with_what_is_there(self):
        self.assertEqual(self.run_it(), ("answer\n", "", 0))

    def test_names_what_is_needed(self):
        self.tool("cmake", "echo 'CMake Error: no'; exit 1")
        answer, said, status = self.run_it()
        self.assertEqual((answer, said.count("\n"), status), ("", 1, 70))
        self.assertRegex(said, "^quenbrook: set-up failed while looking for what it is built with: neither apt-get "
                               "nor Homebrew is here to install it: ")
        for needed in ("compiler", "CMake", "Ninja", "ICU", "nlohmann-json", "Abseil"):
            self.assertRegex(said, rf"{needed} [^,;]*\d")


class Again(SetUp):
    def test_several_at_once_take_turns(self):
        processes = [self.start() for _ in range(3)]
        for process in processes:
            with process:
                self.assertEqual((*process.communicate(), process.returncode), ("answer\n", "", 0))

    def test_can_be_started_again_after_an_interruption(self):
        for number in (signal.SIGINT, signal.SIGKILL):
            with self.subTest(number), self.start(SLEEP="60") as process:
                while not (self.tree / "started").exists():
                    self.assertIsNone(process.poll())
                    time.sleep(0.01)
                os.killpg(process.pid, number)
                process.communicate()
                self.assertNotEqual(process.returncode, 0)
                (self.tree / "building").rmdir()
                self.assertEqual(self.run_it(), ("answer\n", "", 0))
                shutil.rmtree(self.tree / "build")
                (self.tree / "started").unlink()


if __name__ == "__main__":
    unittest.main()
