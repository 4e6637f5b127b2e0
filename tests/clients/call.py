"""Makes calls through the Python client: each line of standard input tells of some, and of the environment
in which they are made, one after the other or all at once; a line of standard output tells what each came to.

A call is {"word": …, "arguments": {…}} under the names of the protocol; {"date": TEXT} is a moment,
{"date": null} is none that a client may take, {"number": null} no number.
"""

import concurrent.futures
import json
import math
import os
import re
import sys
from datetime import datetime

import quenbrook


def revived(value):
    if isinstance(value, dict) and set(value) == {"date"}:
        if value["date"] is None:
            return datetime(2026, 1, 1)
        return datetime.fromisoformat(value["date"].replace("Z", "+00:00"))
    if value == {"number": None}:
        return math.nan
    return value


def snake(name):
    return re.sub("([A-Z])", r"_\1", name).lower()


def outcome(client, call):
    arguments = dict(call["arguments"])
    arguments.update(arguments.pop("changes", {}))
    method = getattr(client, call["word"].replace("-", "_"))
    try:
        return {"answer": method(**{snake(name): value for name, value in arguments.items()})}
    except quenbrook.QuenbrookError as error:
        return {"refused": [error.code, error.message]}
    except quenbrook.OutcomeUnknown as error:
        return {"unknown": str(error)}
    except OSError as error:
        return {"notStarted": error.errno}
    except (TypeError, ValueError) as error:
        return {"noRequest": str(error)}


for line in sys.stdin:
    task = json.loads(line, object_hook=revived)
    os.environ.clear()
    os.environ.update(task["environment"])
    client = quenbrook.Quenbrook(task["program"], timeout=task["timeout"])
    workers = len(task["calls"]) if task["atOnce"] else 1
    with concurrent.futures.ThreadPoolExecutor(workers) as executor:
        outcomes = list(executor.map(lambda call: outcome(client, call), task["calls"]))
    print(json.dumps(outcomes), flush=True)
