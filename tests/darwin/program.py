#!/usr/bin/env python3
"""Looks at a linked macOS program for what would fail on a Mac: program.py PROGRAM

Prints what it finds, a line for each fault.
"""

import pathlib
import plistlib
import struct
import sys

import macho
import public
import sign

CALENDARS = "com.apple.security.personal-information.calendars"
USAGE_TEXT = "NSCalendarsFullAccessUsageDescription"
IDENTIFIER = "org.quenbrook.quenbrook"
# With ICU's whole data it would be thirty.
MOST_MEGABYTES = 3


def known_selectors():
    lines = (public.HERE / "sdk" / "selectors.txt").read_text().splitlines()
    return {line.split()[1] for line in lines if not line.startswith("#")}


def layout_faults(program):
    wanted = macho.NO_UNDEFINED | macho.POSITION_INDEPENDENT
    if (program.processor, program.kind, program.flags & wanted) != (macho.ARM64, macho.EXECUTABLE, wanted):
        yield "it is no position-independent program for arm64 without undefined symbols"
    if program.minimum != (macho.MACOS, "14.0"):
        yield f"it does not run from macOS 14.0 on: {program.minimum}"
    if len(program.content) > MOST_MEGABYTES * 2 ** 20:
        yield f"it has {len(program.content)} bytes"


def outside_faults(program):
    libraries = public.public()
    for name, library in sorted(program.imports().items()):
        if name not in libraries.get(library, ()):
            yield f"{name} is not known to be public in {library}"
    for library in program.dylibs:
        if library not in libraries:
            yield f"{library} is not on every Mac"
    for selector in sorted(program.selectors() - known_selectors()):
        yield f"the selector {selector} is not known"
    if not program.selectors():
        yield "it tells no selectors"


def plist_faults(program):
    content = program.section("__TEXT", "__info_plist")
    plist = plistlib.loads(content) if content else {}
    if not plist.get(USAGE_TEXT):
        yield f"its Info.plist has no {USAGE_TEXT}"
    if plist.get("CFBundleIdentifier") != IDENTIFIER:
        yield "its Info.plist has another identifier"


class Signature:
    """The parts of the signature that a program carries."""

    def __init__(self, program):
        offset, size = program.signature
        self.data = program.content[offset:offset + size]
        magic, _, count = struct.unpack_from(">3I", self.data)
        if magic != sign.EMBEDDED:
            raise ValueError("no signature")
        self.blobs = {}
        for place in range(12, 12 + 8 * count, 8):
            slot, start = struct.unpack_from(">2I", self.data, place)
            length, = struct.unpack_from(">I", self.data, start + 4)
            self.blobs[slot] = self.data[start:start + length]
        directory = self.blobs[0]
        (_, self.flags, hashes, name, special, pages, self.limit) = struct.unpack_from(
            ">7I", directory, 8)
        self.identifier = macho.text(directory[name:])
        self.page = 1 << directory[39]
        self.hashes = {number: directory[hashes + 32 * number:hashes + 32 * (number + 1)]
                       for number in range(-special, pages)}

    def entitlements(self):
        blob = self.blobs.get(sign.ENTITLEMENTS_SLOT, b"")[8:]
        return plistlib.loads(blob) if blob else {}


def signature_faults(program):
    signature = Signature(program)
    if signature.identifier != IDENTIFIER:
        yield f"it is signed as {signature.identifier}"
    if signature.flags != sign.AD_HOC | sign.RUNTIME:
        yield f"it is not signed ad hoc for the hardened runtime: {signature.flags:#x}"
    if signature.entitlements() != {CALENDARS: True}:
        yield f"it has the entitlements {signature.entitlements()}"
    if signature.blobs.get(sign.DER_SLOT, b"")[8:] != sign.der_entitlements(signature.entitlements()):
        yield "its entitlements differ between their two forms"
    bound = {sign.INFO_SLOT: program.section("__TEXT", "__info_plist"),
             **{slot: signature.blobs.get(slot) for slot in
                (sign.REQUIREMENTS_SLOT, sign.ENTITLEMENTS_SLOT, sign.DER_SLOT)}}
    for slot, content in bound.items():
        if not content or signature.hashes.get(-slot) != sign.hashed(content):
            yield f"the signature does not bind its part {slot}"
    pages = range(0, signature.limit, signature.page)
    if signature.limit != program.signature[0] or any(
            signature.hashes.get(number) != sign.hashed(
                program.content[start:min(start + signature.page, signature.limit)])
            for number, start in enumerate(pages)):
        yield "the signature does not fit the program"


def faults(content):
    program = macho.MachO(content)
    return [fault for part in (layout_faults, outside_faults, plist_faults, signature_faults)
            for fault in part(program)]


if __name__ == "__main__":
    found = faults(pathlib.Path(sys.argv[1]).read_bytes())
    print("\n".join(found), end="\n" if found else "")
    sys.exit(bool(found))
