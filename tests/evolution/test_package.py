"""Makes the Debian package of the program over Evolution Data Server and installs it into an empty
root."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from private_session import PrivateSession
from quenbrook import PROGRAM, ROOT


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        work = pathlib.Path(folder.name)
        build = work / "build"
        # The package as it is configured, with the program that is there.
        cls.run_tool("cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                     "-DQUENBROOK_STORE=evolution",
                     "-DCMAKE_INSTALL_DOCDIR=share/doc/quenbrook-evolution")
        shutil.copy(PROGRAM, build / "src" / "quenbrook")
        cls.run_tool(ROOT / "packaging" / "build", build, work, "quenbrook-evolution")
        [cls.package] = work.glob("*.deb")
        cls.root = work / "root"
        admin = cls.root / "var/lib/dpkg"
        (admin / "updates").mkdir(parents=True)
        (admin / "info").mkdir()
        for name in ("status", "available"):
            (admin / name).touch()
        cls.run_tool("dpkg", f"--root={cls.root}", "--force-depends", "-i", cls.package)

    @staticmethod
    def run_tool(*command):
        run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if run.returncode != 0:
            raise AssertionError(f"{command}: {run.stdout.decode()}")

    def field(self, name):
        return subprocess.run(["dpkg-deb", "-f", self.package, name], check=True, text=True,
                              stdout=subprocess.PIPE).stdout.strip()

    def test_takes_the_place_of_the_other_package(self):
        self.assertEqual(self.field("Package"), "quenbrook-evolution")
        for name in ("Provides", "Conflicts", "Replaces"):
            self.assertEqual(self.field(name), "quenbrook")

    def test_names_what_it_needs(self):
        needed = {each.split()[0] for each in self.field("Depends").split(", ")}
        self.assertLessEqual({"evolution-data-server", "tzdata", "libdbus-1-3", "libc6"}, needed)

    def test_the_program_answers(self):
        session = PrivateSession(built_in_calendars=True)
        self.addCleanup(session.stop)
        run = session.run(self.root / "usr/bin/quenbrook", "list-calendars", input=b"",
                          stdout=subprocess.PIPE)
        self.assertEqual(run.returncode, 0)
        self.assertIn("system-calendar",
                      [each["id"] for each in json.loads(run.stdout)["calendars"]])

    def test_brings_the_page_that_tells_about_it(self):
        self.assertTrue(list((self.root / "usr/share/doc").glob("*/docs/evolution.md")))


if __name__ == "__main__":
    unittest.main()
