#!/usr/bin/env python3
"""What is public in the libraries of macOS that the program is linked with (sdk/public.txt), and stubs of
those libraries, as Apple's SDK has them for a linker: public.py TOOLS-FOLDER
"""

import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent

FRAMEWORKS = "/System/Library/Frameworks"
# The name under which a program loads it.
LIBRARIES = {
    "CoreGraphics": f"{FRAMEWORKS}/CoreGraphics.framework/Versions/A/CoreGraphics",
    "EventKit": f"{FRAMEWORKS}/EventKit.framework/Versions/A/EventKit",
    "Foundation": f"{FRAMEWORKS}/Foundation.framework/Versions/C/Foundation",
    "libSystem.B": "/usr/lib/libSystem.B.dylib",
    "libc++.1": "/usr/lib/libc++.1.dylib",
    "libobjc.A": "/usr/lib/libobjc.A.dylib",
}
# What a library exports again, so that a program need not name it.
EXPORTED_AGAIN = {"Foundation": "libobjc.A"}


def listed():
    """The symbols of sdk/public.txt, by library."""
    symbols = {}
    for line in (HERE / "sdk" / "public.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            library, symbol, _ = line.split(maxsplit=2)
            symbols.setdefault(library, set()).add(symbol)
    return symbols


def libcxx():
    """What Debian's libc++ and libc++abi export, in macOS' spelling."""
    symbols = set()
    for name in ("libc++.so.1", "libc++abi.so.1"):
        library = subprocess.run(["gcc", f"-print-file-name={name}"], capture_output=True, text=True,
                                 check=True).stdout.strip()
        listing = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", library],
                                 capture_output=True, text=True, check=True).stdout
        symbols |= {"_" + line.split()[0].partition("@")[0] for line in listing.splitlines()}
    return symbols


def public():
    """The symbols that a program may take, by the name under which it loads their library."""
    symbols = {**listed(), "libc++.1": libcxx()}
    return {LIBRARIES[library]: names for library, names in symbols.items()}


def stub(library, symbols):
    again = EXPORTED_AGAIN.get(library)
    reexported = f"""reexported-libraries:
  - targets: [ arm64-macos ]
    libraries: [ '{LIBRARIES[again]}' ]
""" if again else ""
    return f"""--- !tapi-tbd
tbd-version: 4
targets: [ arm64-macos ]
install-name: '{LIBRARIES[library]}'
{reexported}exports:
  - targets: [ arm64-macos ]
    symbols: [ {", ".join(f"'{symbol}'" for symbol in sorted(symbols))} ]
...
"""


def write_stubs(tools):
    stubs = tools / "stubs"
    for library, install_name in LIBRARIES.items():
        symbols = public()[install_name]
        if library == "libSystem.B":
            text = (tools / "lib/libc/darwin/libSystem.13.tbd").read_text()
        else:
            text = stub(library, symbols)
        place = stubs / install_name[1:]
        if place.suffix == ".dylib":
            names = place.with_suffix(".tbd"), place.parent / f"{library.partition('.')[0]}.tbd"
        else:
            names = place.with_suffix(".tbd"), place.parents[2] / f"{library}.tbd"
        for name in names:
            name.parent.mkdir(parents=True, exist_ok=True)
            name.write_text(text)


if __name__ == "__main__":
    write_stubs(pathlib.Path(sys.argv[1]))
