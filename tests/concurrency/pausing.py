"""Another program's writes to a calendar at exactly one system call of the program's."""

import os
import pathlib
import select
import subprocess
import tempfile

from processes import QuenbrookTest, calendar_text, event
from quenbrook import PATIENCE, PROGRAM

ONE = event("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SUMMARY:One", uid="one")
THEIRS = event("DTSTART:20260105T100000Z", "DTEND:20260105T110000Z", "SUMMARY:One",
               "LOCATION:Theirs", uid="one")
OTHER = event("DTSTART:20260106T100000Z", "SUMMARY:Other", uid="other")


class PausingTest(QuenbrookTest):
    def setUp(self):
        super().setUp()
        self.path = self.put("work", "one.ics", [ONE])
        self.fifo = self.place / "pause"

    def fresh_fifos(self):
        for end in (".reached", ".go"):
            path = pathlib.Path(f"{self.fifo}{end}")
            path.unlink(missing_ok=True)
            os.mkfifo(path)

    def start(self, word, request, **variables):
        with tempfile.TemporaryFile(dir=self.place) as stdin:
            stdin.write(request)
            stdin.seek(0)
            process = subprocess.Popen(
                [PROGRAM, word], stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                env=self.environment(**self.preloaded(), **variables))
        self.addCleanup(process.kill)
        return process

    def interrupted(self, pause, word, request, *acts, **variables):
        """Runs the program, and acts while it waits before the call `pause`; where that names several
        calls, one act after the other."""
        self.fresh_fifos()
        reached = os.open(f"{self.fifo}.reached", os.O_RDONLY | os.O_NONBLOCK)
        process = self.start(word, request, QUENBROOK_PAUSE_AT=pause,
                             QUENBROOK_PAUSE_FIFO=str(self.fifo), **variables)
        # A program that ends without a pause is not waited for.
        end = os.pidfd_open(process.pid)
        for act in acts:
            ready, _, _ = select.select([reached, end], [], [], PATIENCE)
            self.assertIn(reached, ready, f"the program does not make the call {pause}")
            os.set_blocking(reached, True)
            self.assertEqual((os.read(reached, 1), os.read(reached, 1)), (b"!", b""))
            os.close(reached)
            reached = os.open(f"{self.fifo}.reached", os.O_RDONLY | os.O_NONBLOCK)
            act()
            pathlib.Path(f"{self.fifo}.go").write_bytes(b"")
        out, err = process.communicate()
        os.close(reached)
        os.close(end)
        return process.returncode, out, err

    def calls(self, word, request):
        """The calls of an undisturbed run that hold the lock, as QUENBROOK_PAUSE_AT names them."""
        process = self.start(word, request, QUENBROOK_LIST=str(self.fresh_list()))
        process.communicate()
        self.assertEqual(process.returncode, 0)
        return self.listed_calls("flock", "unlock")

    def fresh_list(self):
        listed = self.place / "calls"
        listed.unlink(missing_ok=True)
        return listed

    def listed_calls(self, first, last):
        calls = (self.place / "calls").read_text().split()
        return calls[calls.index(first):calls.index(last) + 1]

    def by_rename(self, *components):
        def act():
            new = self.path.with_suffix(".new")
            new.write_text(calendar_text(*components), newline="")
            new.rename(self.path)
        return act

    def in_place(self, *components):
        return lambda: self.path.write_text(calendar_text(*components), newline="")
