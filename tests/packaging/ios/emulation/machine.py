"""An arm64 processor (the Unicorn engine) with one Mach-O image in its memory, loaded as the device's loader loads it."""

import struct

import fixups
import macho
import unicorn
from unicorn import arm64_const as arm64

PAGE = 0x4000
IMAGE = 0x1_0000_0000  # not where it was linked, so that a word that should have been rebased is found out
CALLS, DATA, HEAP, STACK_END = 0x2_0000_0000, 0x2_1000_0000, 0x3_0000_0000, 0x4_0000_0000
HEAP_SIZE = 0x1000_0000
STACK_SIZE = 512 * 1024  # a queue's thread has no more
RETURN = bytes.fromhex("c0035fd6")
INTEGER_ARGUMENTS = [getattr(arm64, f"UC_ARM64_REG_X{number}") for number in range(8)]

REAL_ARGUMENTS = [arm64.UC_ARM64_REG_D0, arm64.UC_ARM64_REG_D1]


def whole_pages(size):
    return -(-size // PAGE) * PAGE


class Machine:
    """`image`: a macho.Image. `calls` answers, for a symbol's name, a function of this machine and integer arguments, whose
    result is the call's, and how many of those it takes; None for what it does not have. `data` answers a variable's
    bytes, or None."""

    def __init__(self, image, calls, data):
        self.image, self.calls = image, calls
        self.engine = unicorn.Uc(unicorn.UC_ARCH_ARM64, unicorn.UC_MODE_ARM)
        self.slots, self.variables, self.failure = [], {}, None
        self.heap = HEAP
        self.engine.mem_map(HEAP, HEAP_SIZE)
        self.engine.mem_map(STACK_END - STACK_SIZE, STACK_SIZE)
        self.engine.mem_map(CALLS, 16 * PAGE)
        self.engine.mem_map(DATA, PAGE)
        self._allow_floating_point()
        self._map_segments()
        self._bind(data)
        self.engine.hook_add(unicorn.UC_HOOK_CODE, self._called, begin=CALLS, end=CALLS + 16 * PAGE)

    def _allow_floating_point(self):
        enabled = self.engine.reg_read(arm64.UC_ARM64_REG_CPACR_EL1) | 3 << 20
        self.engine.reg_write(arm64.UC_ARM64_REG_CPACR_EL1, enabled)

    def _map_segments(self):
        for segment in self.image.segments:
            begin, content = IMAGE + segment.address, self.image.data[segment.offset:][:segment.filesize]
            # Mapped writable until its words are in order; see _protect.
            self.engine.mem_map(begin, whole_pages(segment.size))
            self.engine.mem_write(begin, content)

    def _protect(self):
        for segment in self.image.segments:
            self.engine.mem_protect(IMAGE + segment.address, whole_pages(segment.size), segment.initprot)

    def _bind(self, data):
        rebase_at, rebase_size, bind_at, bind_size, weak_at, weak_size, lazy_at, lazy_size, _, _ = self.image.fields(
            macho.DYLD_INFO_ONLY, "<10I")
        for word in fixups.rebases(self.image.data[rebase_at:rebase_at + rebase_size]):
            place = IMAGE + self.image.segments[word.segment].address + word.offset
            self.write_word(place, self.word(place) + IMAGE)
        # What the loader would look up when it is first called is looked up now.
        for at, size in ((bind_at, bind_size), (lazy_at, lazy_size), (weak_at, weak_size)):
            for binding in fixups.bindings(self.image.data[at:at + size]):
                place = IMAGE + self.image.segments[binding.segment].address + binding.offset
                self.write_word(place, self._address_of(binding.symbol, data) + binding.addend)
        self._protect()

    def _address_of(self, symbol, data):
        if symbol in self.variables:
            return self.variables[symbol]
        content = data(symbol)
        if content is not None:
            self.variables[symbol] = DATA + 64 * len(self.variables)
            self.engine.mem_write(self.variables[symbol], content)
            return self.variables[symbol]
        self.slots.append(symbol)
        self.variables[symbol] = CALLS + 16 * len(self.slots)
        self.engine.mem_write(self.variables[symbol], RETURN)
        return self.variables[symbol]

    def _called(self, engine, address, _size, _user):
        if address == CALLS:
            return engine.emu_stop()
        symbol = self.slots[(address - CALLS) // 16 - 1]
        try:
            found = self.calls(symbol)
            if found is None:
                raise NotImplementedError(f"{symbol} is called, which this device does not have")
            function, count = found
            result = function(self, *(engine.reg_read(register) for register in INTEGER_ARGUMENTS[:count]))
            if result is not None:
                engine.reg_write(arm64.UC_ARM64_REG_X0, result & 0xFFFF_FFFF_FFFF_FFFF)
        except Exception as failure:  # the engine would drop it
            self.failure = failure
            engine.emu_stop()

    def run(self, symbol, *arguments):
        """Calls one of the image's functions and answers what it returns in the first register."""
        self.engine.reg_write(arm64.UC_ARM64_REG_SP, STACK_END - 64)
        self.engine.reg_write(arm64.UC_ARM64_REG_LR, CALLS)
        for register, argument in zip(INTEGER_ARGUMENTS, arguments):
            self.engine.reg_write(register, argument)
        self.engine.emu_start(IMAGE + self.image.address_of(symbol), CALLS + PAGE * 16)
        if self.failure:
            raise self.failure
        return self.engine.reg_read(arm64.UC_ARM64_REG_X0)

    def allocate(self, size):
        """Zeroed memory, at 16 bytes; never taken back."""
        place = self.heap
        self.heap += -(-max(size, 1) // 16) * 16
        if self.heap > HEAP + HEAP_SIZE:
            raise MemoryError("the image's heap is full")
        return place

    def new_string(self, text):
        place = self.allocate(len(text) + 1)
        self.engine.mem_write(place, text + b"\0")
        return place

    def read(self, place, size):
        return bytes(self.engine.mem_read(place, size)) if size else b""

    def write(self, place, content):
        if content:
            self.engine.mem_write(place, bytes(content))

    def string(self, place):
        text = b""
        while b"\0" not in text:
            text += self.read(place + len(text), min(64, PAGE - (place + len(text)) % PAGE))
        return text[:text.index(b"\0")]

    def word(self, place, layout="<Q"):
        return struct.unpack(layout, self.read(place, struct.calcsize(layout)))[0]

    def write_word(self, place, value, layout="<Q"):
        self.write(place, struct.pack(layout, value))

    def real(self, index):
        """A floating-point argument."""
        return struct.unpack("<d", struct.pack("<Q", self.engine.reg_read(REAL_ARGUMENTS[index])))[0]

    def set_real(self, value):
        self.engine.reg_write(REAL_ARGUMENTS[0], struct.unpack("<Q", struct.pack("<d", value))[0])

    def stack_word(self, index):
        """A variable argument: on this platform all of them are on the stack, a word each."""
        return self.word(self.engine.reg_read(arm64.UC_ARM64_REG_SP) + 8 * index)
