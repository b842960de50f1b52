"""What the loader does to an image's words before it runs: the opcode streams of LC_DYLD_INFO_ONLY."""

import collections

Binding = collections.namedtuple("Binding", "segment offset ordinal symbol addend")
Rebase = collections.namedtuple("Rebase", "segment offset")
WORD = 8  # bytes
ADDRESSES = (1 << 64) - 1  # beyond these they begin anew: so a stream steps back
MOST_WORDS = 1 << 16  # of one stream; more than a library of half a megabyte has


class _Opcodes:
    def __init__(self, data):
        self.data, self.at, self.words = data, 0, 0

    def __iter__(self):
        """(opcode, immediate) pairs; what follows one is taken by the methods below."""
        while self.at < len(self.data):
            byte = self.data[self.at]
            self.at += 1
            yield byte & 0xF0, byte & 0x0F

    def uleb(self):
        value, shift = 0, 0
        while True:
            byte = self.data[self.at]
            self.at += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if value >> 64 or shift > 70:
                raise ValueError("a number of more than 64 bits")
            if byte < 0x80:
                return value

    def sleb(self):
        begin, value = self.at, self.uleb()
        sign = 1 << (7 * (self.at - begin) - 1)
        return value - 2 * sign if value & sign else value

    def string(self):
        end = self.data.index(b"\0", self.at)
        text, self.at = self.data[self.at:end].decode(), end + 1
        return text

    def words_of(self, count):
        """A range of `count`; ValueError where the stream tells of more words than an image can have."""
        self.words += count
        if self.words > MOST_WORDS:
            raise ValueError(f"more than {MOST_WORDS} words to mend")
        return range(count)


def rebases(data):
    """The words that hold an address inside of the image."""
    opcodes, segment, offset = _Opcodes(data), 0, 0
    for opcode, immediate in opcodes:
        count, step = 0, 0
        if opcode == 0x20:
            segment, offset = immediate, opcodes.uleb()
        elif opcode == 0x30:
            offset = (offset + opcodes.uleb()) & ADDRESSES
        elif opcode == 0x40:
            offset += immediate * WORD
        elif opcode == 0x50:
            count = immediate
        elif opcode == 0x60:
            count = opcodes.uleb()
        elif opcode == 0x70:
            count, step = 1, opcodes.uleb()
        elif opcode == 0x80:
            count, step = opcodes.uleb(), opcodes.uleb()
        elif opcode == 0x00:
            return
        elif opcode != 0x10:
            raise ValueError(f"rebase opcode {opcode:#x}")
        for _ in opcodes.words_of(count):
            yield Rebase(segment, offset)
            offset = (offset + WORD + step) & ADDRESSES


def bindings(data):
    """The words that are to hold the address of another library's symbol. An ordinal counts the loaded libraries from
    1; 0 and below are the image itself, the program and the like."""
    opcodes, segment, offset, ordinal, symbol, addend = _Opcodes(data), 0, 0, 0, "", 0
    for opcode, immediate in opcodes:
        count, step = 0, 0
        if opcode == 0x10:
            ordinal = immediate
        elif opcode == 0x20:
            ordinal = opcodes.uleb()
        elif opcode == 0x30:
            ordinal = immediate - 16 if immediate else 0
        elif opcode == 0x40:
            symbol = opcodes.string()
        elif opcode == 0x60:
            addend = opcodes.sleb()
        elif opcode == 0x70:
            segment, offset = immediate, opcodes.uleb()
        elif opcode == 0x80:
            offset = (offset + opcodes.uleb()) & ADDRESSES
        elif opcode == 0x90:
            count = 1
        elif opcode == 0xA0:
            count, step = 1, opcodes.uleb()
        elif opcode == 0xB0:
            count, step = 1, immediate * WORD
        elif opcode == 0xC0:
            count, step = opcodes.uleb(), opcodes.uleb()
        elif opcode not in (0x00, 0x50):
            raise ValueError(f"bind opcode {opcode:#x}")
        for _ in opcodes.words_of(count):
            yield Binding(segment, offset, ordinal, symbol, addend)
            offset = (offset + WORD + step) & ADDRESSES
