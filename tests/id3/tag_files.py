"""Lays ID3 tags by hand, byte by byte, for what no tagger writes."""

import binascii
import dataclasses
import struct
import zlib

# How a text can stand in a frame: by name, the encoding byte and the encoder.
ENCODINGS = {
    "Latin-1": (0, lambda text: text.encode("latin-1")),
    "UTF-16": (1, lambda text: b"\xff\xfe" + text.encode("utf-16-le")),
    "UTF-16, big end first": (1, lambda text: b"\xfe\xff" + text.encode("utf-16-be")),
    "UTF-16BE": (2, lambda text: text.encode("utf-16-be")),
    "UTF-8": (3, lambda text: text.encode()),
}
OF_22 = {"TIT2": "TT2", "TPE1": "TP1", "TALB": "TAL", "TPE2": "TP2", "TCOM": "TCM", "TRCK": "TRK", "TPOS": "TPA",
         "TYER": "TYE", "TCON": "TCO", "COMM": "COM", "APIC": "PIC", "TCOP": "TCR", "TSSE": "TSS"}


def synchsafe(number, length=4):
    return bytes(number >> 7 * place & 0x7F for place in reversed(range(length)))


def unsynchronised(data):
    """FF before 00 or a byte of E0 and more, and at the end, gets a 00 behind it (ID3v2.4.0 structure 6.1)."""
    result = bytearray()
    for place, byte in enumerate(data):
        result.append(byte)
        if byte == 0xFF and (place + 1 == len(data) or data[place + 1] == 0 or data[place + 1] >= 0xE0):
            result.append(0)
    return bytes(result)


@dataclasses.dataclass
class Frame:
    identifier: str
    body: bytes
    flags: int = 0
    size: int = None  # what the header says, where that is not the body's length
    plain: bool = False  # a 2.4 size that is not synchsafe

    def laid(self, version):
        size = len(self.body) if self.size is None else self.size
        if version == 2:
            return self.name(2) + size.to_bytes(3, "big") + self.body
        length = synchsafe(size) if version == 4 and not self.plain else struct.pack(">I", size)
        return self.name(version) + length + struct.pack(">H", self.flags) + self.body

    def name(self, version):
        return (OF_22.get(self.identifier, self.identifier) if version == 2 else self.identifier).encode("latin-1")


def encoded(text, encoding, end=False):
    """The encoded text; with `end` and its terminator."""
    byte, encode = ENCODINGS[encoding]
    return encode(text) + (b"\0\0" if byte in (1, 2) else b"\0") * end


def text(identifier, value, encoding="Latin-1", end=False, **more):
    return Frame(identifier, bytes([ENCODINGS[encoding][0]]) + encoded(value, encoding, end), **more)


def comment(value, description="", encoding="Latin-1", language=b"eng", **more):
    return Frame("COMM", bytes([ENCODINGS[encoding][0]]) + language + encoded(description, encoding, True) +
                 encoded(value, encoding), **more)


def picture(data, kind=3, mime=b"image/png", description="", encoding="Latin-1", version=3, **more):
    """With `version` 2 and a `mime` of three letters, the body of a PIC."""
    return Frame("APIC", bytes([ENCODINGS[encoding][0]]) + mime + b"\0" * (version > 2) + bytes([kind]) +
                 encoded(description, encoding, True) + data, **more)


def compressed(frame, version):
    """With the data length in front, where the version has it (ID3v2.3.0 3.3.1, ID3v2.4.0 structure 4.1.2)."""
    length = struct.pack(">I", len(frame.body)) if version == 3 else synchsafe(len(frame.body))
    return Frame(frame.identifier, length + zlib.compress(frame.body), 0x0080 if version == 3 else 0x0009)


def frame_unsynchronised(frame, data_length=True):
    body = unsynchronised(frame.body)
    return Frame(frame.identifier, (synchsafe(len(frame.body)) if data_length else b"") + body,
                 0x0003 if data_length else 0x0002)


def extended_header(version, frames, padding=0, crc=False):
    """With a CRC of the frames, where asked for (ID3v2.3.0 3.2, ID3v2.4.0 structure 3.2)."""
    data = b"".join(frame.laid(version) for frame in frames)
    if version == 3:
        sum_ = struct.pack(">I", binascii.crc32(data)) if crc else b""
        return struct.pack(">IHI", 6 + len(sum_), 0x8000 if crc else 0, padding) + sum_
    sum_ = b"\5" + synchsafe(binascii.crc32(data + bytes(padding)), 5) if crc else b""
    return synchsafe(6 + len(sum_)) + bytes([1, 0x20 if crc else 0]) + sum_


def tag(version, *frames, flags=0, extended=b"", padding=0, whole_unsynchronised=False, footer=False, size=None):
    content = extended + b"".join(frame.laid(version) for frame in frames) + bytes(padding)
    if whole_unsynchronised:
        content = unsynchronised(content)
    flags |= (0x40 if extended else 0) | (0x80 if whole_unsynchronised else 0) | (0x10 if footer else 0)
    rest = bytes([version, 0, flags]) + synchsafe(len(content) if size is None else size)
    return b"ID3" + rest + content + (b"3DI" + rest if footer else b"")


def v1(title="", artist="", album="", year="", note="", track=None, genre=255, pad=b"\0"):
    def field(value, length):
        return value.encode("latin-1")[:length].ljust(length, pad)
    end = field(note, 30) if track is None else field(note, 28) + bytes([0, track])
    return b"TAG" + field(title, 30) + field(artist, 30) + field(album, 30) + field(year, 4) + end + bytes([genre])


def apev2(**items):
    body = b"".join(struct.pack("<II", len(value), 0) + key.encode() + b"\0" + value
                    for key, value in ((key, value.encode()) for key, value in items.items()))
    ends = [b"APETAGEX" + struct.pack("<IIIIQ", 2000, len(body) + 32, len(items), 0x80000000 | head, 0)
            for head in (0x20000000, 0)]
    return ends[0] + body + ends[1]


def lyrics3(words):
    body = b"LYRICSBEGIN" + b"LYR%05d" % len(words) + words
    return body + b"%06d" % len(body) + b"LYRICS200"
