"""Reads a thin 64-bit Mach-O image, as the device's loader would."""

import collections
import struct

import fixups

SEGMENT_64, SYMTAB, DYSYMTAB, LOAD_DYLIB, ID_DYLIB, UUID = 0x19, 0x2, 0xB, 0xC, 0xD, 0x1B
CODE_SIGNATURE, VERSION_MIN_IPHONEOS, FUNCTION_STARTS, DATA_IN_CODE = 0x1D, 0x25, 0x26, 0x29
DYLD_INFO_ONLY = 0x80000022

Header = collections.namedtuple("Header", "magic cpu subtype filetype ncmds sizeofcmds flags reserved")
Command = collections.namedtuple("Command", "kind at size")
Segment = collections.namedtuple("Segment", "name address size offset filesize maxprot initprot sections at")
Section = collections.namedtuple("Section", "name segment address size offset align kind")
Symbol = collections.namedtuple("Symbol", "name kind address")
Import = collections.namedtuple("Import", "library symbol")


class Image:
    """`data`: the file's bytes; `commands`, `segments`, `sections`: in the file's order; `libraries`: the install names
    that are loaded, whose first has ordinal 1. Raises struct.error or ValueError where the bytes are no such image."""

    def __init__(self, data):
        self.data = bytes(data)
        self.header = Header(*self.unpack("<8I", 0))
        self.commands, self.segments, self.libraries = [], [], []
        at = struct.calcsize("<8I")
        for _ in range(self.header.ncmds):
            kind, size = self.unpack("<2I", at)
            if size < 8 or size % 8:
                raise ValueError(f"a load command of {size} bytes")
            self.commands.append(Command(kind, at, size))
            if kind == SEGMENT_64:
                self.segments.append(self._segment(at))
            elif kind == LOAD_DYLIB:
                self.libraries.append(self.string(at + self.unpack("<I", at + 8)[0]))
            at += size
        self.sections = [section for segment in self.segments for section in segment.sections]

    def unpack(self, layout, at):
        return struct.unpack_from(layout, self.data, at)

    def string(self, at):
        return self.data[at:self.data.index(b"\0", at)].decode()

    def command(self, kind):
        """The only command of that kind, or None."""
        found = [command for command in self.commands if command.kind == kind]
        return found[0] if len(found) == 1 else None

    def fields(self, kind, layout):
        """What follows the head of the only command of that kind; zeros where there is none."""
        command = self.command(kind)
        return self.unpack(layout, command.at + 8) if command else struct.unpack(layout, bytes(struct.calcsize(layout)))

    def install_name(self):
        command = self.command(ID_DYLIB)
        return self.string(command.at + self.unpack("<I", command.at + 8)[0]) if command else None

    def content(self, section):
        return self.data[section.offset:section.offset + section.size]

    def symbols(self):
        at, count, strings, _ = self.fields(SYMTAB, "<4I")
        entries = [self.unpack("<IBBHQ", at + 16 * index) for index in range(count)]
        return [Symbol(self.string(strings + entry[0]), entry[1], entry[4]) for entry in entries]

    def address_of(self, name):
        """Of a symbol that the image itself has; KeyError where it has not."""
        return {symbol.name: symbol.address for symbol in self.symbols() if symbol.address}[name]

    def linkedit_tables(self):
        """(offset, size) of every table that the load commands point to."""
        symbols, count, strings, size = self.fields(SYMTAB, "<4I")
        dysymtab = self.fields(DYSYMTAB, "<18I")
        info = self.fields(DYLD_INFO_ONLY, "<10I")
        yield from ((symbols, 16 * count), (strings, size), (dysymtab[12], 4 * dysymtab[13]))
        yield from zip(info[::2], info[1::2])
        yield from (self.fields(kind, "<2I") for kind in (FUNCTION_STARTS, DATA_IN_CODE, CODE_SIGNATURE))

    def rebases(self):
        at, size = self.fields(DYLD_INFO_ONLY, "<2I")
        return fixups.rebases(self.data[at:at + size])

    def bindings(self):
        """Of now and later, as fixups has them; those of weak symbols, which the loader looks up in every image, have
        ordinal 0."""
        info = self.fields(DYLD_INFO_ONLY, "<10I")
        for at, size, weak in ((info[2], info[3], False), (info[6], info[7], False), (info[4], info[5], True)):
            for binding in fixups.bindings(self.data[at:at + size]):
                yield binding._replace(ordinal=0) if weak else binding

    def imports(self):
        """What the loader looks up; of library None what it does not look up in one of `libraries`."""
        for binding in self.bindings():
            known = 0 < binding.ordinal <= len(self.libraries)
            yield Import(self.libraries[binding.ordinal - 1] if known else None, binding.symbol)

    def _segment(self, at):
        name, address, size, offset, filesize, maxprot, initprot, count, _ = self.unpack("<16s4Q4I", at + 8)
        sections = []
        for index in range(count):
            fields = self.unpack("<16s16s2Q8I", at + 72 + 80 * index)
            sections.append(Section(text(fields[0]), text(name), *fields[2:6], fields[8] & 0xFF))
        return Segment(text(name), address, size, offset, filesize, maxprot, initprot, sections, at)


def text(padded):
    return padded.rstrip(b"\0").decode()
