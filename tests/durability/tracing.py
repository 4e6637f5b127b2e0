"""The system calls of one run of the program: looked at, or made to fail, through strace."""

import collections
import json
import re
import time

# number: how many calls of this name the run had made, this one included: strace counts so.
# place: the path of the first file that the call names or has open; "" when there is none.
Call = collections.namedtuple("Call", "name number text place result")

LINE = re.compile(
    r"(?:\d+ +)?(?P<name>[a-z_0-9]+)(?P<rest>\(.*) = (?P<result>-?\d+|0x[0-9a-f]+|\?)")
PLACE = re.compile(r"\b\d+<(?P<path>[^>]*)>")


def calls_of(trace):
    """The calls from the reading of the request on: what comes before is the loader's."""
    counts = collections.Counter()
    calls = []
    for line in trace.splitlines():
        match = LINE.match(line)
        if not match:
            continue
        counts[match["name"]] += 1
        if not calls and not (match["name"] == "read" and match["rest"].startswith("(0<")):
            continue
        place = PLACE.search(match["rest"])
        calls.append(Call(match["name"], counts[match["name"]], line.strip(),
                          place["path"] if place else "", match["result"]))
    return calls


def run_under_strace(test, arguments, word, request, **options):
    """The request comes from a file: how a pipe is read differs from run to run."""
    path = test.place / "request.json"
    # How often a directory is listed that was changed just now depends on the time.
    time.sleep(0.03)
    path.write_bytes(request if isinstance(request, bytes) else json.dumps(request).encode())
    with path.open("rb") as stdin:
        return test.run_program("-f", "-qq", *arguments, test.program, word, program="strace",
                                stdin=stdin, **options)


def traced(test, word, request, variables=(), **options):
    """Runs the program, with these variables in its environment; its result and its calls."""
    trace = test.place / "trace"
    settings = [argument for variable in variables for argument in ("-E", variable)]
    result = run_under_strace(
        test, ["-y", "-s", "64", "-o", trace, *settings], word, request, **options)
    return result, calls_of(trace.read_text(errors="replace"))


def tampered(test, word, request, call, how, times=1, **options):
    """Runs the program with one of its calls, or that one and its next repetitions, tampered with:
    `how` is strace's, as "error=EIO" or "signal=SIGKILL"."""
    when = f"{call.number}..{call.number + times - 1}"
    # Faster, but no signal is ever sent with it.
    filtered = [] if how.startswith("signal=") else ["--seccomp-bpf"]
    return run_under_strace(
        test, [*filtered, "-o", "/dev/null", "-e", f"trace={call.name}", "-e",
               f"inject={call.name}:{how}:when={when}"], word, request, **options)
