"""Reads Mach-O objects and programs of one 64-bit processor, after <mach-o/loader.h> and <mach-o/nlist.h>."""

import struct

EXECUTABLE = 2
NO_UNDEFINED, POSITION_INDEPENDENT = 0x1, 0x200000
MACOS = 1
ARM64 = 0x0100000C

SEGMENT, SYMTAB, SIGNATURE, BUILD_VERSION = 0x19, 2, 0x1D, 0x32
# Loaded, loaded where it is there, exported again.
DYLIBS = 0xC, 0x80000018, 0x8000001F

STAB, TYPE, UNDEFINED, EXTERNAL = 0xE0, 0x0E, 0, 0x01


def text(data):
    return data.split(b"\0", 1)[0].decode()


class MachO:
    """The parts of a file that the tests ask for."""

    def __init__(self, content):
        self.content = content
        magic, self.processor, _, self.kind, count, _, self.flags, _ = struct.unpack_from(
            "<8I", content)
        if magic != 0xFEEDFACF:
            raise ValueError("no 64-bit Mach-O file")
        # (segment, section): where it begins in the file, and its length.
        self.sections = {}
        # Address and size in memory, place and size in the file.
        self.segments = {}
        self.dylibs = []
        # Where the command of a segment, or of some other kind, stands.
        self.places = {}
        self.minimum = self.sdk = self.signature = self.symtab = None
        place = 32
        for _ in range(count):
            command, size = struct.unpack_from("<2I", content, place)
            self.places[command] = place
            self.read(command, content[place:place + size], place)
            place += size

    def read(self, command, data, where):
        if command == SEGMENT:
            name = text(data[8:24])
            self.places[name] = where
            self.segments[name] = struct.unpack_from("<4Q", data, 24)
            for place in range(72, len(data), 80):
                _, size, offset = struct.unpack_from("<2QI", data, place + 32)
                section = text(data[place + 16:place + 32]), text(data[place:place + 16])
                self.sections[section] = offset, size
        elif command in DYLIBS:
            self.dylibs.append(text(data[struct.unpack_from("<I", data, 8)[0]:]))
        elif command == BUILD_VERSION:
            platform, minimum, self.sdk = struct.unpack_from("<3I", data, 8)
            self.minimum = platform, f"{minimum >> 16}.{minimum >> 8 & 255}"
        elif command == SIGNATURE:
            self.signature = struct.unpack_from("<2I", data, 8)
        elif command == SYMTAB:
            self.symtab = struct.unpack_from("<4I", data, 8)

    def section(self, segment, name):
        """Its bytes; none when there is no such section."""
        offset, size = self.sections.get((segment, name), (0, 0))
        return self.content[offset:offset + size]

    def symbols(self):
        """The external ones: (name, whether it is defined here, n_desc)."""
        offset, count, strings, _ = self.symtab or (0, 0, 0, 0)
        for place in range(offset, offset + 16 * count, 16):
            name, kind, _, description, _ = struct.unpack_from("<IBBHQ", self.content, place)
            if kind & EXTERNAL and not kind & STAB:
                start = strings + name
                yield (self.content[start:self.content.index(b"\0", start)].decode(),
                       kind & TYPE != UNDEFINED, description)

    def imports(self):
        """Of a program: each outside symbol with the library that it is bound to."""
        return {name: self.dylibs[(description >> 8) - 1]
                for name, defined, description in self.symbols() if not defined}

    def selectors(self):
        return {name.decode() for name in self.section("__TEXT", "__objc_methname").split(b"\0") if name}
