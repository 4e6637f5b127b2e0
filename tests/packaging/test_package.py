"""Makes the Debian package of the release build, installs it into an empty root and uses it there."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["QUENBROOK_BUILD"])
WORDS = re.findall(r'^    \{"([a-z-]+)"', (ROOT / "src/Subcommands.cpp").read_text(), re.M)


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        work = pathlib.Path(cls.folder.name)
        cls.root = work / "root"
        admin = cls.root / "var/lib/dpkg"
        (admin / "updates").mkdir(parents=True)
        (admin / "info").mkdir()
        for name in ("status", "available"):
            (admin / name).touch()
        subprocess.run(["cmake", "--build", str(BUILD), "--target", "quenbrook"], check=True,
                       capture_output=True)
        subprocess.run(["cpack", "--config", str(BUILD / "CPackConfig.cmake"), "-B", str(work)],
                       check=True, capture_output=True)
        [cls.package] = work.glob("*.deb")
        # The empty root has no packages at all, so none of the dependencies either.
        subprocess.run(["dpkg", f"--root={cls.root}", "--force-depends", "-i", str(cls.package)],
                       check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def installed(self, path):
        self.assertTrue((self.root / path).is_file(), path)
        return self.root / path

    def test_the_program_answers(self):
        with tempfile.TemporaryDirectory() as home:
            run = subprocess.run([self.installed("usr/bin/quenbrook"), "list-calendars"],
                                 env={"HOME": home}, stdin=subprocess.DEVNULL, capture_output=True)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual([calendar["id"] for calendar in json.loads(run.stdout)["calendars"]],
                         ["local/calendar"])

    def test_neither_program_nor_package_carries_what_is_not_used(self):
        self.assertLess(self.installed("usr/bin/quenbrook").stat().st_size, 5_000_000)
        self.assertLess(self.package.stat().st_size, 2_000_000)

    def test_the_package_names_its_version_and_what_it_needs(self):
        fields = subprocess.run(["dpkg-deb", "-f", str(self.package)], check=True, text=True,
                                capture_output=True).stdout
        version = re.search(r"project\(quenbrook VERSION ([0-9.]+)",
                            (ROOT / "CMakeLists.txt").read_text()).group(1)
        self.assertIn(f"\nVersion: {version}\n", f"\n{fields}")
        self.assertIn("\nDepends: tzdata\n", fields)

    def test_the_man_page_is_well_formed_and_names_every_word(self):
        [page] = (self.root / "usr/share/man/man1").glob("quenbrook.1*")
        lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(page)], text=True,
                              capture_output=True)
        self.assertEqual(lint.stdout, "")
        text = subprocess.run(["mandoc", "-T", "utf8", str(page)], check=True, text=True,
                              capture_output=True).stdout
        plain = re.sub(".\b", "", text)
        for word in WORDS:
            self.assertIn(word, plain)

    def test_the_pages_and_schemas_are_there(self):
        for word in WORDS:
            self.installed(f"usr/share/doc/quenbrook/docs/words/{word}.md")
            self.installed(f"usr/share/doc/quenbrook/docs/schemas/{word}.answer.json")

    def test_bash_completes_the_words(self):
        script = self.installed("usr/share/bash-completion/completions/quenbrook")
        for begun, expected in [("", WORDS), ("get-", ["get-event", "get-attendee-status"]),
                                ("x", [])]:
            completed = subprocess.run(
                ["bash", "-c", f'. "{script}"; COMP_WORDS=(quenbrook "{begun}"); COMP_CWORD=1; '
                               '_quenbrook; printf "%s\\n" "${COMPREPLY[@]}"'],
                check=True, text=True, capture_output=True).stdout.split()
            self.assertEqual(sorted(completed), sorted(expected))

    def test_zsh_and_fish_know_the_words(self):
        zsh = self.installed("usr/share/zsh/site-functions/_quenbrook")
        fish = self.installed("usr/share/fish/vendor_completions.d/quenbrook.fish")
        subprocess.run(["zsh", "-n", str(zsh)], check=True)
        for word in WORDS:
            self.assertRegex(zsh.read_text(), rf"[( ]{word}[) ]")
        completed = subprocess.run(
            ["fish", "--no-config", "-c", f'source "{fish}"; complete -C "quenbrook "'], check=True,
            text=True, capture_output=True, env={"HOME": self.folder.name, "PATH": "/usr/bin:/bin"})
        self.assertEqual(sorted(completed.stdout.split()), sorted(WORDS))


if __name__ == "__main__":
    unittest.main()
