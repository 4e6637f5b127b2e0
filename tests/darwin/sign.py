#!/usr/bin/env python3
"""Stands in for codesign: signs a program ad hoc, made after the published structures (cs_blobs.h of
xnu) and never looked at by Apple's tools. Takes the arguments that the project gives codesign:

    codesign --force --sign - --identifier NAME --options runtime --entitlements FILE PROGRAM
"""

import argparse
import hashlib
import pathlib
import plistlib
import struct

import macho

EMBEDDED, CODE_DIRECTORY, REQUIREMENTS, ENTITLEMENTS, DER_ENTITLEMENTS, CMS = (
    0xFADE0CC0, 0xFADE0C02, 0xFADE0C01, 0xFADE7171, 0xFADE7172, 0xFADE0B01)
# The places of a blob in the signature, and of its hash in the code directory.
INFO_SLOT, REQUIREMENTS_SLOT, ENTITLEMENTS_SLOT, DER_SLOT, CMS_SLOT = 1, 2, 5, 7, 0x10000
AD_HOC, RUNTIME, MAIN_BINARY, SHA256 = 0x2, 0x10000, 0x1, 2
PAGE = 4096


def blob(magic, content):
    return struct.pack(">2I", magic, 8 + len(content)) + content


def der(tag, content):
    length = len(content)
    size = bytes([length]) if length < 128 else bytes([0x82]) + length.to_bytes(2, "big")
    return bytes([tag]) + size + content


def der_entitlements(entitlements):
    entries = b"".join(
        der(0x30, der(0x0C, name.encode()) + der(0x01, b"\xff" if value else b"\0"))
        for name, value in sorted(entitlements.items()))
    return der(0x70, der(0x02, b"\1") + der(0xB0, entries))


def hashed(content):
    return hashlib.sha256(content).digest()


def code_directory(content, limit, identifier, slots, program):
    special = [slots.get(number, bytes(32)) for number in range(max(slots), 0, -1)]
    pages = [hashed(content[place:min(place + PAGE, limit)]) for place in range(0, limit, PAGE)]
    name = identifier.encode() + b"\0"
    header = 88
    hashes = 8 + header + len(name) + 32 * len(special)
    _, text_size = program.segments["__TEXT"][2:]
    fields = struct.pack(
        ">7I4BI", 0x20500, AD_HOC | RUNTIME, hashes, 8 + header, len(special), len(pages), limit,
        32, SHA256, 0, PAGE.bit_length() - 1, 0)
    fields += struct.pack(">3IQ3Q2I", 0, 0, 0, 0, 0, text_size, MAIN_BINARY, program.sdk, 0)
    assert len(fields) == header
    return blob(CODE_DIRECTORY, fields + name + b"".join(special + pages))


def superblob(parts):
    place = 12 + 8 * len(parts)
    index = b""
    for slot, part in parts:
        index += struct.pack(">2I", slot, place)
        place += len(part)
    return blob(EMBEDDED, struct.pack(">I", len(parts)) + index + b"".join(part for _, part in parts))


def signature(content, limit, identifier, entitlements):
    program = macho.MachO(content)
    parts = [
        (REQUIREMENTS_SLOT, blob(REQUIREMENTS, struct.pack(">I", 0))),
        (ENTITLEMENTS_SLOT, blob(ENTITLEMENTS, entitlements)),
        (DER_SLOT, blob(DER_ENTITLEMENTS, der_entitlements(plistlib.loads(entitlements)))),
    ]
    slots = {slot: hashed(part) for slot, part in parts}
    if plist := program.section("__TEXT", "__info_plist"):
        slots[INFO_SLOT] = hashed(plist)
    directory = code_directory(content, limit, identifier, slots, program)
    return superblob([(0, directory), *parts, (CMS_SLOT, blob(CMS, b""))])


def signed(content, identifier, entitlements):
    """The program with a signature in the place of the one that the linker made."""
    program = macho.MachO(content)
    limit, _ = program.signature
    # Its size does not depend on what is hashed: the commands that tell it are hashed, too.
    size = -(-len(signature(content, limit, identifier, entitlements)) // 16) * 16
    changed = bytearray(content[:limit])
    struct.pack_into("<I", changed, program.places[macho.SIGNATURE] + 12, size)
    _, _, start, _ = program.segments["__LINKEDIT"]
    length = limit + size - start
    place = program.places["__LINKEDIT"]
    struct.pack_into("<Q", changed, place + 32, -(-length // 0x4000) * 0x4000)
    struct.pack_into("<Q", changed, place + 48, length)
    return bytes(changed) + signature(bytes(changed), limit, identifier, entitlements).ljust(size, b"\0")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--force", action="store_true", required=True)
    parser.add_argument("--sign", choices=["-"], required=True)
    parser.add_argument("--identifier", required=True)
    parser.add_argument("--options", choices=["runtime"], required=True)
    parser.add_argument("--entitlements", type=pathlib.Path, required=True)
    parser.add_argument("program", type=pathlib.Path)
    options = parser.parse_args()
    content = signed(
        options.program.read_bytes(), options.identifier, options.entitlements.read_bytes())
    options.program.write_bytes(content)


if __name__ == "__main__":
    main()
