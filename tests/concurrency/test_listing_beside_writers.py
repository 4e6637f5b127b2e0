"""While others update and rename files, none is missing from a listing, and none is doubled: on file
systems, too, where a renamed entry moves behind a listing that is under way."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import threading
import unittest

from processes import YEAR, QuenbrookTest, Run, calendar_text, event
from quenbrook import PROGRAM

COUNT = 1_500
LISTINGS = 30

# In memory, where Linux has that: there entries move.
MEMORY = pathlib.Path("/dev/shm")


class ListingBesideWriters(QuenbrookTest):
    def folder(self):
        return MEMORY if MEMORY.is_dir() else None

    def setUp(self):
        super().setUp()
        place = tempfile.mkdtemp(dir=self.folder())
        self.addCleanup(shutil.rmtree, place)
        self.data = pathlib.Path(place)
        self.work = self.data / "quenbrook" / "calendars" / "work"
        self.work.mkdir(parents=True)
        for number in range(COUNT):
            (self.work / f"{number:04}.ics").write_text(self.text(number), newline="")
        self.is_over = threading.Event()

    def environment(self, **changes):
        return super().environment(**{"XDG_DATA_HOME": str(self.data), **changes})

    def text(self, number):
        return calendar_text(event("DTSTART:20260105T100000Z", f"SUMMARY:{number}",
                                   uid=f"{number:04}"))

    def update(self, first):
        number = first
        while not self.is_over.is_set():
            number = (number + 37) % COUNT
            subprocess.run([PROGRAM, "update-event"], env=self.environment(), check=True,
                           stdout=subprocess.DEVNULL, input=json.dumps(
                               {"id": f"work:{number:04}", "patch": {"location": "x"}}).encode())

    def replace(self, _):
        """As vdirsyncer and most editors do."""
        number = 0
        while not self.is_over.is_set():
            number = (number + 41) % COUNT
            (self.work / ".new").write_text(self.text(number), newline="")
            (self.work / ".new").rename(self.work / f"{number:04}.ics")

    def move(self, number):
        """To another name, and back."""
        here, there = (self.work / f"{number:04}.ics", self.work / "elsewhere.ics")
        while not self.is_over.is_set():
            here.rename(there)
            there.rename(here)

    def listed_beside(self, *writers):
        threads = [threading.Thread(target=write, args=(number,))
                   for number, write in enumerate(writers)]
        for thread in threads:
            thread.start()
        try:
            for _ in range(LISTINGS):
                status, answer = Run(self.environment(), "list-events", YEAR).result()
                if status == 0:
                    yield [each["id"] for each in answer["events"]]
                else:
                    self.assertEqual(answer["code"], "UNKNOWN")
                    yield None
        finally:
            self.is_over.set()
            for thread in threads:
                thread.join()

    def assert_all_listed(self, *writers, least=LISTINGS):
        expected = [f"work:{number:04}" for number in range(COUNT)]
        told = [listed for listed in self.listed_beside(*writers) if listed is not None]
        self.assertGreaterEqual(len(told), least)
        for listed in told:
            self.assertEqual(listed, expected)

    def test_while_two_writers_update(self):
        self.assert_all_listed(self.update, self.update)

    def test_while_another_program_replaces(self):
        self.assert_all_listed(self.replace)

    def test_while_another_program_moves_one_all_the_time(self):
        """Where it never comes to rest there may be no answer, but never a wrong one."""
        self.assert_all_listed(self.move, least=0)


def mount_btrfs(folder):
    """Whether root may, and the system knows it."""
    image = folder / "image"
    with open(image, "wb") as file:
        file.truncate(200 << 20)
    (folder / "mounted").mkdir()
    return all(subprocess.run(command, capture_output=True, check=False).returncode == 0
               for command in (["/sbin/mkfs.btrfs", "-q", image],
                               ["mount", "-o", "loop", image, folder / "mounted"]))


class ListingOnBtrfs(ListingBesideWriters):
    """There an entry that is moved is always behind the listing. Where nothing may be mounted this is
    one more run in memory."""

    def folder(self):
        place = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, place)
        if not mount_btrfs(place):
            return super().folder()
        self.addCleanup(subprocess.run, ["umount", place / "mounted"], check=True)
        return place / "mounted"


if __name__ == "__main__":
    unittest.main()
