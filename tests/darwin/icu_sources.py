#!/usr/bin/env python3
"""Prints the sources of ICU that objects of the program pull in: icu_sources.py ICU-FOLDER OBJECT…

Which object of ICU defines what, Debian's own archives tell: but for an underscore in front the names are
those of macOS.
"""

import collections
import pathlib
import re
import subprocess
import sys

import macho

LINE = re.compile(r"^.*:(?P<object>[^:]+):[0-9a-f ]* (?P<kind>[A-Za-z]) (?P<name>.*)$", re.MULTILINE)


def archive(name):
    return subprocess.run(["gcc", f"-print-file-name={name}"], capture_output=True, text=True,
                          check=True).stdout.strip()


def listing():
    return subprocess.run(["nm", "-A", "--extern-only", archive("libicuuc.a"), archive("libicui18n.a")],
                          capture_output=True, text=True, check=True).stdout


def closure(wanted):
    """The objects that define these names, and what those want in turn."""
    definers, wants = {}, collections.defaultdict(list)
    for found in LINE.finditer(listing()):
        stem, kind, name = pathlib.Path(found["object"]).stem, found["kind"], found["name"]
        if kind in "Uvw":
            wants[stem].append(name)
        elif kind not in "VW" or name not in definers:
            definers[name] = stem
    objects, names = set(), list(wanted)
    while names:
        stem = definers.get(names.pop())
        if stem and stem not in objects:
            objects.add(stem)
            names += wants[stem]
    return objects


def main(folder, *objects):
    wanted = {name[1:] for each in objects
              for name, defined, _ in macho.MachO(pathlib.Path(each).read_bytes()).symbols() if not defined}
    for stem in sorted(closure(wanted)):
        source, = pathlib.Path(folder).glob(f"*/{stem}.cpp")
        print(source)


if __name__ == "__main__":
    main(*sys.argv[1:])
