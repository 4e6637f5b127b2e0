"""The linked macOS program, and programs with faults that nothing else on Linux would find.

QUENBROOK_DARWIN is the folder in which link.sh has worked. A fault is planted by linking once more.
"""

import os
import pathlib
import shlex
import subprocess
import tempfile
import unittest

import macho
import program

FOLDER = pathlib.Path(os.environ["QUENBROOK_DARWIN"])
BUILD = FOLDER / "release"
CALENDARS = "personal-information.calendars"


def link_command():
    """How the program is linked and signed: the words of the two commands, run in the build's folder."""
    commands = subprocess.run(["ninja", "-C", BUILD, "-t", "commands", "src/quenbrook"], text=True,
                              capture_output=True, check=True).stdout.splitlines()
    _, link, sign = commands[-1].split(" && ", 2)
    return shlex.split(link), shlex.split(sign.partition(" && ")[2])


class LinkedProgram(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.link, self.sign = link_command()

    def run_tool(self, *command):
        return subprocess.run(command, cwd=BUILD, text=True, capture_output=True, check=False, env={
            **os.environ, "PATH": f"{FOLDER / 'tools'}:{os.environ['PATH']}"})

    def program(self, link=None, sign=None, **replaced):
        """The program, linked and signed by these commands with some files of theirs replaced."""
        made = self.place / "quenbrook"
        words = [replaced.get(pathlib.Path(word).name.partition(".")[0], word)
                 for word in link or self.link]
        words[words.index("-o") + 1] = made
        run = self.run_tool(*words)
        self.assertEqual(run.returncode, 0, run.stderr)
        run = self.run_tool(*(sign or self.sign)[:-1], made)
        self.assertEqual(run.returncode, 0, run.stderr)
        return made.read_bytes()

    def copy(self, path, old, new):
        """A copy of a file of the build with something replaced in it."""
        content = path.read_bytes()
        self.assertIn(old, content)
        changed = self.place / path.name
        changed.write_bytes(content.replace(old, new))
        return changed

    def without(self, words, *removed):
        place = next(number for number in range(len(words))
                     if words[number:number + len(removed)] == list(removed))
        return words[:place] + words[place + len(removed):]

    def assertFaults(self, content, *beginnings):
        found = program.faults(content)
        self.assertEqual(len(found), len(beginnings), found)
        for fault, beginning in zip(found, beginnings):
            self.assertTrue(fault.startswith(beginning), found)

    def test_has_no_fault(self):
        self.assertFaults((FOLDER / "quenbrook").read_bytes())
        self.assertFaults(self.program())

    def test_loads_nothing_but_these_libraries(self):
        loaded = macho.MachO((FOLDER / "quenbrook").read_bytes()).dylibs
        self.assertEqual(sorted(pathlib.Path(name).name for name in loaded), [
            "CoreGraphics", "EventKit", "Foundation", "libSystem.B.dylib", "libc++.1.dylib",
            "libobjc.A.dylib"])

    def test_finds_an_info_plist_that_is_not_embedded(self):
        plist = str(BUILD / "Info.plist")
        words = ("-sectcreate", "__TEXT", "__info_plist", plist)
        flags = [flag for word in words for flag in ("-Xlinker", word)]
        self.assertFaults(self.program(self.without(self.link, *flags)), "its Info.plist has no NSCal",
                          "its Info.plist has another identifier", "the signature does not bind its part 1")

    def test_finds_a_framework_that_is_not_named(self):
        for framework in ("Foundation", "EventKit", "CoreGraphics"):
            words = self.without(self.link, "-framework", framework)
            words[words.index("-o") + 1] = self.place / "quenbrook"
            run = self.run_tool(*words)
            self.assertNotEqual(run.returncode, 0)
            self.assertIn("undefined symbol", run.stderr)

    def test_finds_a_misspelt_entitlement(self):
        entitlements = self.copy(BUILD / "quenbrook.entitlements", CALENDARS.encode(),
                                 b"personal-information.calendar")
        sign = [entitlements if word.endswith(".entitlements") else word for word in self.sign]
        self.assertFaults(self.program(sign=sign), "it has the entitlements")

    def test_finds_another_deployment_target(self):
        link = [word.replace("=14.0", "=13.0") for word in self.link]
        self.assertFaults(self.program(link), "it does not run from macOS 14.0 on: (1, '13.0')")

    def test_finds_a_misspelt_selector(self):
        store, = BUILD.glob("stores/eventkit/CMakeFiles/*/EventKitStore.mm.o")
        archive = self.place / "libquenbrook_eventkit.a"
        self.run_tool(FOLDER / "tools" / "ar", "cr", archive,
                      self.copy(store, b"calendarsForEntityType:", b"calendarsForEntityTipe:"))
        self.assertFaults(self.program(libquenbrook_eventkit=archive),
                          "the selector calendarsForEntityTipe: is not known")

    def test_finds_a_symbol_that_is_not_public(self):
        source = self.place / "private.cpp"
        source.write_text('extern "C" int responsibility_spawnattrs_setdisclaim(void*, int);\n'
                          "int (*planted)(void*, int) = responsibility_spawnattrs_setdisclaim;\n")
        planted = self.place / "private.o"
        run = self.run_tool(FOLDER / "tools" / "c++", "-mmacosx-version-min=14.0", "-arch", "arm64",
                            "-c", source, "-o", planted)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertFaults(self.program([*self.link, planted]),
                          "_responsibility_spawnattrs_setdisclaim is not known to be public")

    def test_finds_a_change_after_the_signature(self):
        content = bytearray((FOLDER / "quenbrook").read_bytes())
        content[len(content) // 2] ^= 1
        self.assertFaults(bytes(content), "the signature does not fit the program")

    def test_finds_the_signature_of_the_linker(self):
        sign = ["true", "program"]
        self.assertIn("it is signed as quenbrook", program.faults(self.program(sign=sign)))


if __name__ == "__main__":
    unittest.main()
