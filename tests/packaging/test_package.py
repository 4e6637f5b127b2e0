"""Makes the packages of the release build, puts them into roots that hold nothing else, and uses
them there."""

import gzip
import json
import os
import pathlib
import re
import shutil
import subprocess
import tarfile
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["QUENBROOK_BUILD"])
WORDS = re.findall(r'^    \{"([a-z-]+)"', (ROOT / "src/Subcommands.cpp").read_text(), re.M)


def packages(build, output, root=ROOT, **variables):
    """The Debian package and the archive of a build."""
    subprocess.run([root / "packaging/build", build, output], check=True, capture_output=True,
                   env={**os.environ, **variables})
    [package] = output.glob("quenbrook_*.deb")
    [archive] = output.glob("quenbrook-*.tar.gz")
    return package, archive


def build(folder):
    subprocess.run(["cmake", "--build", folder, "--target", "quenbrook"], check=True,
                   capture_output=True)


def copy_and_build(root):
    """A release build of a copy of the sources, as scripts/setup.sh makes it."""
    root.mkdir()
    for part in ("CMakeLists.txt", "CMakePresets.json", "CHANGELOG.md", "README.md"):
        shutil.copy(ROOT / part, root)
    for part in ("src", "platform", "packaging", "docs"):
        shutil.copytree(ROOT / part, root / part, copy_function=shutil.copy)
    subprocess.run(["cmake", "--preset", "release"], cwd=root, check=True, capture_output=True)
    build(root / "build/release")
    return root / "build/release"


def setUpModule():
    build(BUILD)


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
        cls.package, cls.archive = packages(BUILD, work / "packages")
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
        self.assertRegex(fields, r"\nDescription: \S.*\n \S")
        sums = subprocess.run(["dpkg-deb", "--ctrl-tarfile", str(self.package)], check=True,
                              capture_output=True).stdout
        self.assertIn(b"usr/bin/quenbrook\n", sums)
        self.assertEqual(subprocess.run(
            ["dpkg", f"--root={self.root}", "--verify", "quenbrook"], check=True,
            capture_output=True).stdout, b"")

    def test_the_man_page_is_well_formed(self):
        [page] = (self.root / "usr/share/man/man1").glob("quenbrook.1*")
        lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(page)], text=True,
                              capture_output=True)
        self.assertEqual(lint.stdout, "")

    def test_the_notices_of_all_that_is_linked_in_are_there(self):
        notices = self.installed("usr/share/doc/quenbrook/copyright").read_text()
        for source in ("icu", "abseil", "nlohmann-json3", "glibc", r"gcc-\d+"):
            self.assertRegex(notices, rf"(?m)^==== {source} \S+ ====$")
        for words in ("Unicode", "Apache", "Niels Lohmann", "GNU Lesser", "Runtime Library Exception"):
            self.assertIn(words, notices)

    def test_the_change_log_is_debians(self):
        log = gzip.decompress(self.installed("usr/share/doc/quenbrook/changelog.gz").read_bytes())
        version = subprocess.run(["dpkg-deb", "-f", str(self.package), "Version"], check=True,
                                 text=True, capture_output=True).stdout.strip()
        self.assertRegex(log.decode(), rf"\Aquenbrook \({re.escape(version)}\) unstable; urgency=medium"
                                       r"\n\n(  (\* |  )\S.{0,75}\n)+\n -- .+ <.+>  \w{3}, .+\n\Z")

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


START = "DTSTART;TZID=Europe/Berlin:20260705T120000"
ZONE = ["BEGIN:VTIMEZONE", "TZID:Europe/Berlin", "BEGIN:STANDARD", "DTSTART:19700101T000000",
        "TZOFFSETFROM:+0530", "TZOFFSETTO:+0530", "END:STANDARD", "END:VTIMEZONE"]


class BareRoot(unittest.TestCase):
    """The archive on a machine that has not even a C library. The definition of the zone in the file
    differs from the system's, so that the answer tells which of them was taken."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.work = pathlib.Path(cls.folder.name)
        _, archive = packages(BUILD, cls.work / "packages")
        with tarfile.open(archive) as content:
            cls.top = os.path.commonpath(content.getnames())
            content.extractall(cls.work / "root")
        cls.root = cls.work / "root"
        cls.root.chmod(0o755)
        cls.store = cls.root / "calendars/quenbrook/calendars/work"
        cls.store.mkdir(parents=True)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def put(self, *zone):
        (self.store / "a.ics").write_text("".join(line + "\r\n" for line in [
            "BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//Tests//EN", *zone, "BEGIN:VEVENT", "UID:a",
            "DTSTAMP:20260101T000000Z", START, "SUMMARY:Zoned", "END:VEVENT", "END:VCALENDAR"]))

    def run_inside(self, word, request):
        inside = [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]
        run = subprocess.run(
            [*inside, "chroot", self.root, f"/{self.top}/bin/quenbrook", word],
            input=json.dumps(request).encode(), capture_output=True,
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "XDG_DATA_HOME": "/calendars",
                 "TZ": "America/New_York"})
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        return json.loads(run.stdout)

    def start(self):
        [event] = self.run_inside("list-events", {
            "startISO": "2026-07-01T00:00:00Z", "endISO": "2026-08-01T00:00:00Z"})["events"]
        return event["startISO"]

    def lay_zones(self):
        for name in ("Europe/Berlin", "America/New_York"):
            path = self.root / "usr/share/zoneinfo" / name
            path.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(f"/usr/share/zoneinfo/{name}", path)
        self.addCleanup(shutil.rmtree, self.root / "usr")

    def test_the_archive_holds_one_folder(self):
        self.assertRegex(self.top, r"^quenbrook-[0-9.]+-linux-\w+$")
        for path in ("bin/quenbrook", "share/man/man1/quenbrook.1.gz",
                     "share/doc/quenbrook/copyright"):
            self.assertTrue((self.root / self.top / path).is_file(), path)

    def test_zones_are_the_systems_where_it_has_them(self):
        self.lay_zones()
        self.put(*ZONE)
        self.assertEqual(self.start(), "2026-07-05T10:00:00.000Z")

    def test_zones_are_the_files_own_where_the_system_has_none(self):
        self.put(*ZONE)
        self.assertEqual(self.start(), "2026-07-05T06:30:00.000Z")

    def test_a_zone_that_nobody_defines_is_the_machines_which_is_utc_without_zone_data(self):
        self.put()
        self.assertEqual(self.start(), "2026-07-05T12:00:00.000Z")

    def test_a_new_event_is_read_back_with_and_without_zone_data(self):
        for lay in (lambda: None, self.lay_zones):
            lay()
            made = self.run_inside("create-event", {
                "calendarId": "work", "title": "New", "startISO": "2026-11-05T10:00:00Z",
                "endISO": "2026-11-05T11:00:00Z"})
            event = self.run_inside("get-event", {"calendarId": "work", "eventId": made["id"]})
            self.assertEqual(event["event"]["startISO"], "2026-11-05T10:00:00.000Z")


class Reproducibility(unittest.TestCase):
    def test_the_same_sources_make_the_same_packages_wherever_they_are_built(self):
        with tempfile.TemporaryDirectory() as folder:
            work = pathlib.Path(folder)
            root = work / "elsewhere"
            moment = {"SOURCE_DATE_EPOCH": "1700000000"}
            here = packages(BUILD, work / "here", **moment)
            there = packages(copy_and_build(root), work / "there", root, **moment)
            for one, other in zip(here, there):
                self.assertEqual(one.name, other.name)
                self.assertEqual(one.read_bytes(), other.read_bytes(), one.name)


if __name__ == "__main__":
    unittest.main()
