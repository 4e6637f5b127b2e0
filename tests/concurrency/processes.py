"""Many runs of the program, started with as little in between as can be."""

import json
import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))

from quenbrook import PROGRAM, QuenbrookTest, calendar_text, event

TIMES = dict(startISO="2026-01-05T10:00:00Z", endISO="2026-01-05T11:00:00Z")
YEAR = dict(startISO="2026-01-01T00:00:00Z", endISO="2027-01-01T00:00:00Z")


class Run:
    """A run that has been started. The request must fit into a pipe."""

    def __init__(self, environment, word, request=None):
        stdin, request_end = os.pipe()
        self.answer_end, stdout = os.pipe()
        self.error_end, stderr = os.pipe()
        os.write(request_end, json.dumps(request).encode())
        os.close(request_end)
        self.process = os.posix_spawn(PROGRAM, [PROGRAM, word], environment, file_actions=[
            (os.POSIX_SPAWN_DUP2, stdin, 0), (os.POSIX_SPAWN_DUP2, stdout, 1),
            (os.POSIX_SPAWN_DUP2, stderr, 2)])
        for end in (stdin, stdout, stderr):
            os.close(end)

    def result(self):
        """The exit status and the answer, or the error."""
        out, err = (read_all(end) for end in (self.answer_end, self.error_end))
        status = os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])
        if (status == 0) != (err == b"") or (status == 0) != (out != b""):
            raise AssertionError(f"status {status}, out {out!r}, err {err!r}")
        return status, json.loads(out or err)


def read_all(descriptor):
    with os.fdopen(descriptor, "rb", buffering=0) as stream:
        return stream.readall()


def answer(environment, word, request):
    """The answer of a run that succeeds."""
    status, document = Run(environment, word, request).result()
    if status != 0:
        raise AssertionError(f"{word} {request}: {document}")
    return document
