"""Both clients, each copied to where a caller would have it and called from a process of its own."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
CLIENTS = ROOT / "clients"

sys.path.insert(0, str(ROOT / "tests/cli"))

from quenbrook import PATIENCE, PROGRAM

NODE = os.environ["QUENBROOK_NODE"]

# What a request may hold without any effect, the clients do not offer.
WITHOUT_EFFECT = {"create-event": {"attendees", "sendInvitations"},
                  "update-event": {"attendees", "attendeesV2", "sendInvitations"},
                  "cancel-event": {"reason"}}


def python_place(folder):
    """A folder with a copy of the client, and the variables with which Python finds it."""
    folder.mkdir(parents=True, exist_ok=True)
    shutil.copy(CLIENTS / "python/quenbrook.py", folder)
    return {"PYTHONPATH": str(folder), "PYTHONDONTWRITEBYTECODE": "1"}


def node_place(folder):
    """A folder whose scripts may import the client by its name."""
    shutil.copytree(CLIENTS / "node", folder / "node_modules/quenbrook")
    return {}


class Caller:
    """A process in which a client is called."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        place = pathlib.Path(self.folder.name) / "place"
        variables = self.lay_out(place)
        shutil.copy(HERE / self.script, place)
        self.process = subprocess.Popen(
            [*self.interpreter, self.script], cwd=place, env={**os.environ, **variables}, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()
        self.folder.cleanup()

    def call_all(self, calls, environment, program=PROGRAM, timeout=None, at_once=False):
        """What each call came to: a dictionary with one key, which tells the kind."""
        task = {"program": str(program), "timeout": timeout, "atOnce": at_once, "environment": environment,
                "calls": [{"word": word, "arguments": arguments} for word, arguments in calls]}
        watchdog = threading.Timer(PATIENCE, self.process.kill)
        watchdog.start()
        print(json.dumps(task), file=self.process.stdin, flush=True)
        outcomes = self.process.stdout.readline()
        watchdog.cancel()
        return json.loads(outcomes)


class PythonCaller(Caller):
    script = "call.py"
    interpreter = [sys.executable]
    lay_out = staticmethod(python_place)


class NodeCaller(Caller):
    script = "call.mjs"
    # With few descriptors: many calls at once are to get by with them.
    interpreter = ["sh", "-c", 'ulimit -n 128; exec "$0" "$@"', NODE]
    lay_out = staticmethod(node_place)
