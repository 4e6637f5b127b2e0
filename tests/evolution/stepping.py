"""Lets a run of the program and the calendar factory go on by turns, so that the factory can be killed
at a known place between two of the run's calls."""

import json
import os
import pathlib
import signal
import subprocess
import time

from desktop import PATIENCE, kill
from quenbrook import PROGRAM

# A process that has not done anything for so long waits for somebody else.
STILL = 0.04


def status(process):
    """State and processor time of a process; None when it has ended."""
    try:
        fields = pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()
    except OSError:
        return None
    return None if fields[0] in "ZX" else (fields[0], fields[11], fields[12])


def switches(process):
    """How often the threads of a process have been given a processor."""
    found = 0
    for file in pathlib.Path(f"/proc/{process}/task").glob("*/status"):
        try:
            found += sum(int(line.split()[1]) for line in file.read_text().splitlines()
                         if "ctxt_switches" in line)
        except OSError:
            continue
    return found


def wait_until_still(process):
    """Until a process waits for something, or has ended."""
    deadline = time.monotonic() + PATIENCE
    since, before = time.monotonic(), None
    while time.monotonic() < deadline:
        now = status(process)
        if now is None:
            return
        now = now, switches(process)
        if now != before or now[0][0] == "R":
            since, before = time.monotonic(), now
        elif time.monotonic() - since > STILL:
            return
        time.sleep(0.002)
    raise AssertionError("the process never waits")


class Step:
    """A run whose calls to a stopped service are answered one by one."""

    def __init__(self, environment, word, request, service):
        self.service = service
        os.kill(service, signal.SIGSTOP)
        self.run = subprocess.Popen(
            [PROGRAM, word], env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE)
        self.run.stdin.write(json.dumps(request).encode())
        self.run.stdin.close()
        wait_until_still(self.run.pid)

    def ended(self):
        return self.run.poll() is not None

    def answer_all(self):
        """Lets the service answer what it has been asked, and nobody hear it."""
        os.kill(self.run.pid, signal.SIGSTOP)
        os.kill(self.service, signal.SIGCONT)
        wait_until_still(self.service)

    def answer(self):
        """Lets the service answer what it has been asked, and the run ask for more."""
        self.answer_all()
        os.kill(self.service, signal.SIGSTOP)
        os.kill(self.run.pid, signal.SIGCONT)
        wait_until_still(self.run.pid)

    def kill_service(self, after_answer):
        """With the run's last call unanswered, or answered and not heard."""
        if after_answer:
            self.answer_all()
        kill(self.service)
        os.kill(self.run.pid, signal.SIGCONT)

    def end(self):
        """Status and both streams."""
        out, err = self.run.stdout.read(), self.run.stderr.read()
        self.run.stdout.close()
        self.run.stderr.close()
        return self.run.wait(PATIENCE), out, err
