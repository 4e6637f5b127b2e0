"""Makes the packages, puts them into roots that hold nothing else, and uses them there."""

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

from private_session import PrivateSession

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORDS = re.findall(r'^    \{"([a-z-]+)"', (ROOT / "src/Subcommands.cpp").read_text(), re.M)
VERSION = re.search(r"project\(quenbrook VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)

# Each package, and the name that its program always has.
PROGRAMS = {"quenbrook": "quenbrook-vdir", "quenbrook-evolution": "quenbrook-evolution"}


def make(output):
    """The packages, without the tests that are run while they are made."""
    run = subprocess.run([ROOT / "packaging/build", "--linux", output], check=False, capture_output=True, text=True,
                         env={**os.environ, "DEB_BUILD_OPTIONS": "nocheck"})
    assert run.returncode == 0, run.stderr
    return output


def setUpModule():
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    global PACKAGES
    PACKAGES = make(pathlib.Path(folder.name))


def debian_package(name):
    [path] = PACKAGES.glob(f"{name}_*.deb")
    return path


def archive():
    [path] = PACKAGES.glob("quenbrook-*-linux-*.tar.gz")
    return path


def field(name, package):
    return subprocess.run(["dpkg-deb", "-f", debian_package(package), name], check=True, text=True,
                          capture_output=True).stdout.strip()


class Root:
    """A root with dpkg's database and nothing else."""

    def __init__(self, folder):
        self.path = pathlib.Path(folder)
        (self.path / "var/lib/dpkg/updates").mkdir(parents=True)
        for name in ("lib/dpkg/info", "lib/dpkg/alternatives", "log"):
            (self.path / "var" / name).mkdir()
        for name in ("status", "available"):
            (self.path / "var/lib/dpkg" / name).touch()
        (self.path / "etc/alternatives").mkdir(parents=True)

    def dpkg(self, *arguments):
        # None of the dependencies are there, and no shell.
        return subprocess.run(
            ["dpkg", f"--root={self.path}", f"--log={self.path}/var/log/dpkg.log", "--force-depends", "--force-not-root",
             "--force-script-chrootless", *arguments], check=True, capture_output=True, text=True,
            env={**os.environ, "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}).stdout

    def install(self, *packages):
        self.dpkg("-i", *map(debian_package, packages))

    def found(self, path):
        """What a path leads to there, through alternatives."""
        path = self.path / path.lstrip("/")
        while path.is_symlink():
            path = self.path / os.readlink(path).lstrip("/")
        return path

    def files(self):
        return [path for path in (self.path / "usr").rglob("*") if not path.is_dir() or path.is_symlink()]


class InRoot(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Root(folder.name)

    def run_in(self, program, word):
        with tempfile.TemporaryDirectory() as home:
            return subprocess.run([self.root.found(program), word], env={"HOME": home}, stdin=subprocess.DEVNULL,
                                  capture_output=True, text=True)


class SideBySide(InRoot):
    """Both packages in one root."""

    COMMON = ("usr/bin/quenbrook", "usr/share/man/man1/quenbrook.1.gz",
              "usr/share/bash-completion/completions/quenbrook", "usr/share/fish/vendor_completions.d/quenbrook.fish")

    def assertQuenbrookIs(self, program):
        for path in self.COMMON:
            self.assertTrue((self.root.path / path).is_symlink(), path)
            found = self.root.found(path)
            self.assertTrue(found.is_file(), path)
            self.assertEqual(found.name.split(".")[0], program)

    def test_each_program_has_a_name_of_its_own(self):
        self.root.install(*PROGRAMS)
        answer = self.run_in("usr/bin/quenbrook-vdir", "list-calendars")
        self.assertEqual(answer.returncode, 0, answer.stderr)
        session = PrivateSession(built_in_calendars=True)
        self.addCleanup(session.stop)
        answer = session.run(self.root.found("usr/bin/quenbrook-evolution"), "list-calendars", input=b"",
                             stdout=subprocess.PIPE)
        self.assertEqual(answer.returncode, 0)
        self.assertIn("system-calendar", [each["id"] for each in json.loads(answer.stdout)["calendars"]])

    def test_the_desktops_is_quenbrook_where_both_are_installed(self):
        for order in (list(PROGRAMS), list(reversed(PROGRAMS))):
            with self.subTest(order):
                self.root.install(*order)
                self.assertQuenbrookIs("quenbrook-evolution")
                self.root.dpkg("-r", "quenbrook-evolution")
                self.assertQuenbrookIs("quenbrook-vdir")
                self.root.dpkg("-r", "quenbrook")

    def test_nothing_is_left_of_what_is_removed(self):
        self.root.install(*PROGRAMS)
        self.root.dpkg("-r", *PROGRAMS)
        self.assertEqual(self.root.files(), [])
        self.assertEqual(list((self.root.path / "etc/alternatives").iterdir()), [])


class Package(InRoot):
    def setUp(self):
        super().setUp()
        self.root.install("quenbrook")

    def installed(self, path):
        found = self.root.found(path)
        self.assertTrue(found.is_file(), path)
        return found

    def test_the_program_answers(self):
        run = self.run_in("usr/bin/quenbrook", "list-calendars")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual([calendar["id"] for calendar in json.loads(run.stdout)["calendars"]], ["local/calendar"])

    def test_neither_program_nor_package_carries_what_is_not_used(self):
        self.assertLess(self.installed("usr/bin/quenbrook").stat().st_size, 5_000_000)
        self.assertLess(debian_package("quenbrook").stat().st_size, 2_000_000)

    def test_the_packages_name_their_version_and_what_they_need(self):
        for package in PROGRAMS:
            self.assertEqual(field("Version", package), VERSION)
            self.assertRegex(field("Description", package), r"\A\S.*\n \S")
        self.assertEqual(field("Depends", "quenbrook"), "tzdata")
        needed = field("Depends", "quenbrook-evolution")
        for library in ("libc6", "libdbus-1-3", "evolution-data-server"):
            self.assertIn(f"{library} (>= ", needed)
        self.assertNotIn("libicu", needed)

    def test_the_packages_name_the_sources_of_what_is_linked_in(self):
        for package, others in (("quenbrook", ["glibc"]), ("quenbrook-evolution", [])):
            used = re.findall(r"(\S+) \(= \S+\)", field("Built-Using", package))
            self.assertEqual([re.sub(r"^gcc-\d+", "gcc", source) for source in used],
                             sorted(["abseil", "gcc", "icu", "nlohmann-json3", *others]))
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run(["dpkg-deb", "-x", debian_package(package), folder], check=True)
                notices = pathlib.Path(folder, f"usr/share/doc/{package}/copyright").read_text()
            for source in used:
                self.assertRegex(notices, rf"(?m)^==== {re.escape(source)} \S+ ====$")
            for words in ("Unicode", "Apache", "Niels Lohmann", "Runtime Library Exception"):
                self.assertIn(words, notices)

    def test_lintian_objects_to_nothing(self):
        lint = subprocess.run(
            ["lintian", *(["--allow-root"] if os.geteuid() == 0 else []), "--fail-on", "error,warning",
             *map(debian_package, PROGRAMS)], text=True, capture_output=True, check=False)
        self.assertEqual((lint.returncode, lint.stdout), (0, ""), lint.stderr)

    def test_what_is_installed_is_what_the_package_says(self):
        self.assertEqual(self.root.dpkg("--verify", "quenbrook"), "")

    def test_the_architecture_is_the_compilers(self):
        target = subprocess.run(["c++", "-dumpmachine"], check=True, text=True, capture_output=True).stdout
        self.assertEqual(archive().name.split("-")[-1], f"{target.split('-')[0]}.tar.gz")
        self.assertRegex(debian_package("quenbrook").name, rf"_{field('Architecture', 'quenbrook')}\.deb$")

    def test_the_man_page_is_well_formed_and_there_for_each_name(self):
        for name in ("quenbrook", "quenbrook-vdir"):
            page = self.installed(f"usr/share/man/man1/{name}.1.gz")
            lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page], text=True, capture_output=True,
                                  check=False)
            self.assertEqual(lint.stdout, "")

    def test_the_change_log_is_debians(self):
        log = gzip.decompress(self.installed("usr/share/doc/quenbrook/changelog.gz").read_bytes())
        self.assertRegex(log.decode(), rf"\Aquenbrook \({re.escape(VERSION)}\) ")
        self.installed("usr/share/doc/quenbrook/CHANGELOG.md")

    def test_the_pages_and_schemas_are_there(self):
        for word in WORDS:
            self.installed(f"usr/share/doc/quenbrook/docs/words/{word}.md")
            self.installed(f"usr/share/doc/quenbrook/docs/schemas/{word}.answer.json")

    def test_what_the_pages_link_to_is_there(self):
        for package in PROGRAMS:
            self.root.install(package)
            top = self.root.path / "usr/share/doc" / package
            pages = list(top.rglob("*.md"))
            self.assertGreater(len(pages), len(WORDS))
            for page in pages:
                for link in re.findall(r"\]\(([^)#:]+)[)#]", page.read_text()):
                    self.assertTrue((page.parent / link).exists(), f"{page}: {link}")

    def test_the_clients_are_there_and_work(self):
        clients = self.root.path / "usr/share/doc/quenbrook/clients"
        self.assertEqual(
            sorted(str(path.relative_to(clients)) for path in clients.rglob("*") if path.is_file()),
            ["node/package.json", "node/quenbrook.d.ts", "node/quenbrook.mjs",
             "python/pyproject.toml", "python/quenbrook.py"])
        answer = subprocess.run(
            ["python3", "-B", "-c", "import quenbrook, sys; "
             "print([each['id'] for each in quenbrook.Quenbrook(sys.argv[1]).list_calendars()])",
             self.root.found("usr/bin/quenbrook")],
            check=False, capture_output=True, text=True,
            env={"HOME": str(self.root.path), "PYTHONPATH": clients / "python"})
        self.assertEqual(answer.stdout, "['local/calendar']\n", answer.stderr)

    def test_bash_completes_the_words_of_each_name(self):
        for name in ("quenbrook", "quenbrook-vdir"):
            script = self.installed(f"usr/share/bash-completion/completions/{name}")
            for begun, expected in [("", WORDS), ("get-", ["get-event", "get-attendee-status"]), ("x", [])]:
                completed = subprocess.run(
                    ["bash", "-c", f'. "{script}"; COMP_WORDS=({name} "{begun}"); COMP_CWORD=1; '
                                   f'read -r _ _ function _ < <(complete -p {name}); '
                                   '$function; printf "%s\\n" "${COMPREPLY[@]}"'],
                    check=True, text=True, capture_output=True).stdout.split()
                self.assertEqual(sorted(completed), sorted(expected))

    def test_zsh_knows_the_words_of_each_name(self):
        script = self.installed("usr/share/zsh/vendor-completions/_quenbrook-vdir")
        subprocess.run(["zsh", "-n", script], check=True)
        self.assertEqual(script.read_text().splitlines()[0],
                         "#compdef quenbrook quenbrook-vdir quenbrook-evolution")
        for word in WORDS:
            self.assertRegex(script.read_text(), rf"[( ]{word}[) ]")

    def test_fish_completes_the_words_of_each_name(self):
        for name in ("quenbrook", "quenbrook-vdir"):
            script = self.installed(f"usr/share/fish/vendor_completions.d/{name}.fish")
            completed = subprocess.run(
                ["fish", "--no-config", "-c", f'source "{script}"; complete -C "{name} "'], check=True, text=True,
                capture_output=True, env={"HOME": str(self.root.path), "PATH": "/usr/bin:/bin"})
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
        with tarfile.open(archive()) as content:
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
        self.assertEqual(f"{self.top}.tar.gz", archive().name)
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


if __name__ == "__main__":
    unittest.main()
