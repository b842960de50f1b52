"""The device's C library, as far as the tag engine calls it, on top of this machine's."""

import errno
import functools
import hashlib
import inspect
import math
import os
import struct
import zlib

MOST = 0xFFFF_FFFF_FFFF_FFFF
# Where the device's number for an error is another.
ERRNO = {errno.EAGAIN: 35, errno.ENOTSUP: 45, errno.ELOOP: 62, errno.ENAMETOOLONG: 63, errno.ENOTEMPTY: 66,
         errno.ENOSYS: 78, errno.EOVERFLOW: 84, errno.EILSEQ: 92, errno.ENODATA: 96}
OPEN_FLAGS = {0x4: os.O_NONBLOCK, 0x100: os.O_NOFOLLOW, 0x200: os.O_CREAT, 0x400: os.O_TRUNC, 0x800: os.O_EXCL,
              0x20000: os.O_NOCTTY, 0x100000: os.O_DIRECTORY, 0x1000000: os.O_CLOEXEC}
Z_OK, Z_DATA_ERROR, Z_BUF_ERROR = 0, -3, -5


def signed(value, bits=32):
    value &= (1 << bits) - 1
    return value - (1 << bits) if value >> (bits - 1) else value


def or_errno(function):
    """The call's -1 and its errno where this machine raises OSError."""

    @functools.wraps(function)
    def call(device, machine, *arguments):
        try:
            return function(device, machine, *arguments)
        except OSError as error:
            machine.write_word(device.errno_cell(machine), ERRNO.get(error.errno, error.errno), "<i")
            return MOST

    return call


class Device:
    """`output` collects what is written to descriptor 1. `used` names the calls that were made."""

    def __init__(self):
        self.output, self.used = bytearray(), set()
        self.digests, self._errno = {}, None

    def data(self, symbol):
        """The bytes of a variable; None for what is none."""
        return {"___stderrp": struct.pack("<Q", 0xF11E), "__ZSt7nothrow": bytes(8), "dyld_stub_binder": bytes(8),
                "___stack_chk_guard": b"guarding"}.get(symbol)

    @functools.lru_cache(None)
    def call(self, symbol):
        """A function of the machine and integers, and how many of these it takes; None where there is none."""
        method = getattr(type(self), "c" + symbol.replace("$", "_"), None)
        if method is None:
            return None
        self.used.add(symbol)
        return functools.partial(method, self), len(inspect.signature(method).parameters) - 2

    def errno_cell(self, machine):
        if self._errno is None:
            self._errno = machine.allocate(8)
        return self._errno

    # Memory and text.

    def c___error(self, machine):
        return self.errno_cell(machine)

    def c__Znwm(self, machine, size):
        return machine.allocate(size)

    c__Znam = c__Znwm

    def c__ZnamRKSt9nothrow_t(self, machine, size, _nothrow):
        return machine.allocate(size)

    def c__ZdlPv(self, machine, _place):
        return None

    c__ZdaPv = c_free = c__ZdlPv

    def c___cxa_guard_acquire(self, machine, guard):
        return 0 if machine.read(guard, 1)[0] else 1

    def c___cxa_guard_release(self, machine, guard):
        machine.write(guard, b"\1")

    def c___cxa_atexit(self, machine):
        return 0

    def c_memcpy(self, machine, target, source, size):
        machine.write(target, machine.read(source, size))
        return target

    c_memmove = c_memcpy

    def c_memset(self, machine, target, value, size):
        machine.write(target, bytes([value & 0xFF]) * size)
        return target

    def c_bzero(self, machine, target, size):
        machine.write(target, bytes(size))

    def c_memcmp(self, machine, left, right, size):
        left, right = machine.read(left, size), machine.read(right, size)
        return (left > right) - (left < right)

    def c_memchr(self, machine, place, value, size):
        at = machine.read(place, size).find(value & 0xFF)
        return 0 if at < 0 else place + at

    def c_strlen(self, machine, place):
        return len(machine.string(place))

    def c_strerror(self, machine, number):
        known = {theirs: ours for ours, theirs in ERRNO.items()}
        return machine.new_string(os.strerror(known.get(number, number)).encode())

    def c_snprintf(self, machine, target, size, pattern):
        """Of whole numbers."""
        pattern = machine.string(pattern)
        text = pattern % tuple(signed(machine.stack_word(index)) for index in range(pattern.count(b"%")))
        machine.write(target, text[:size - 1] + b"\0")
        return len(text)

    def c_getpid(self, machine):
        return os.getpid()

    def c_abort(self, machine):
        raise AssertionError("the engine gave up")

    c___stack_chk_fail = c_abort

    def c_remainder(self, machine):
        machine.set_real(math.remainder(machine.real(0), machine.real(1)))

    # Files.

    @or_errno
    def c_open(self, machine, path, flags):
        native = flags & 3
        for theirs, ours in OPEN_FLAGS.items():
            native |= ours if flags & theirs else 0
        mode = machine.stack_word(0) & 0o7777 if native & os.O_CREAT else 0
        return os.open(machine.string(path), native, mode)

    @or_errno
    def c_close(self, machine, file):
        os.close(signed(file))
        return 0

    @or_errno
    def c_pread(self, machine, file, place, size, offset):
        content = os.pread(signed(file), size, offset)
        machine.write(place, content)
        return len(content)

    @or_errno
    def c_write(self, machine, file, place, size):
        content = machine.read(place, size)
        if file != 1:
            return os.write(signed(file), content)
        self.output += content
        return size

    @or_errno
    def c_pwrite(self, machine, file, place, size, offset):
        return os.pwrite(signed(file), machine.read(place, size), offset)

    def tell_facts(self, machine, place, facts):
        times = [part for nanoseconds in (facts.st_atime_ns, facts.st_mtime_ns, facts.st_ctime_ns, facts.st_ctime_ns)
                 for part in divmod(nanoseconds, 10**9)]
        machine.write(place, struct.pack("<iHHQIIi4x8qqqiIIi2q", signed(facts.st_dev), facts.st_mode & 0xFFFF,
                                         facts.st_nlink & 0xFFFF, facts.st_ino, facts.st_uid, facts.st_gid, 0, *times,
                                         facts.st_size, facts.st_blocks, facts.st_blksize, 0, 0, 0, 0, 0))
        return 0

    @or_errno
    def c_lstat(self, machine, path, place):
        return self.tell_facts(machine, place, os.lstat(machine.string(path)))

    @or_errno
    def c_fstat(self, machine, file, place):
        return self.tell_facts(machine, place, os.fstat(signed(file)))

    @or_errno
    def c_rename(self, machine, source, target):
        os.rename(machine.string(source), machine.string(target))
        return 0

    @or_errno
    def c_unlink(self, machine, path):
        os.unlink(machine.string(path))
        return 0

    @or_errno
    def c_realpath_DARWIN_EXTSN(self, machine, path, _place):
        return machine.new_string(os.path.realpath(machine.string(path), strict=True))

    @or_errno
    def c_fsync(self, machine, file):
        os.fsync(signed(file))
        return 0

    @or_errno
    def c_ftruncate(self, machine, file, size):
        os.ftruncate(signed(file), size)
        return 0

    @or_errno
    def c_fchmod(self, machine, file, mode):
        os.fchmod(signed(file), mode & 0o7777)
        return 0

    @or_errno
    def c_fchown(self, machine, file, user, group):
        os.fchown(signed(file), signed(user), signed(group))
        return 0

    @or_errno
    def c_futimes(self, machine, file, times):
        seconds, micro, later, later_micro = struct.unpack("<qi4xqi4x", machine.read(times, 32))
        os.utime(signed(file), ns=(seconds * 10**9 + micro * 1000, later * 10**9 + later_micro * 1000))
        return 0

    # Digests and compression, by this machine's own libraries.

    def c_CC_MD5_Init(self, machine, context):
        self.digests[context] = hashlib.md5()
        return 1

    def c_CC_MD5_Update(self, machine, context, place, size):
        self.digests[context].update(machine.read(place, size & 0xFFFF_FFFF))
        return 1

    def c_CC_MD5_Final(self, machine, place, context):
        machine.write(place, self.digests.pop(context).digest())
        return 1

    def c_uncompress(self, machine, target, length, source, size):
        room, state = machine.word(length), zlib.decompressobj()
        try:
            content = state.decompress(machine.read(source, size), max(room, 1))[:room]
        except zlib.error:
            return Z_DATA_ERROR
        machine.write(target, content)
        machine.write_word(length, len(content))
        return Z_OK if state.eof else Z_BUF_ERROR if len(content) == room else Z_DATA_ERROR

    def c_compress(self, machine, target, length, source, size):
        content = zlib.compress(machine.read(source, size))
        if len(content) > machine.word(length):
            return Z_BUF_ERROR
        machine.write(target, content)
        machine.write_word(length, len(content))
        return Z_OK
