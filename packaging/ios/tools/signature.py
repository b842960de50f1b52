"""The code signature that a kernel of iOS 7 reads: ad hoc, by SHA-1, over pages of 4096 bytes.

signature.py IMAGE IDENTIFIER signs an image, in place of the signature that the linker left room for."""

import hashlib
import pathlib
import struct
import sys

import macho

PAGE = 4096
SUPERBLOB, DIRECTORY, REQUIREMENTS, CMS = 0xFADE0CC0, 0xFADE0C02, 0xFADE0C01, 0xFADE0B01
DIRECTORY_HEAD = ">9I4BI"
AD_HOC, SHA1 = 2, 1
NO_REQUIREMENTS = struct.pack(">3I", REQUIREMENTS, 12, 0)
NO_CMS = struct.pack(">2I", CMS, 8)
# The directory's hashes before the pages': of the requirements, and of an Info.plist that there is not.
SPECIAL = hashlib.sha1(NO_REQUIREMENTS).digest() + bytes(20)


def page_hashes(code):
    return b"".join(hashlib.sha1(code[at:at + PAGE]).digest() for at in range(0, len(code), PAGE))


def superblob(code, identifier):
    name = identifier.encode() + b"\0"
    name_at = struct.calcsize(DIRECTORY_HEAD)
    hashes_at = name_at + len(name) + len(SPECIAL)
    hashes = page_hashes(code)
    directory = struct.pack(DIRECTORY_HEAD, DIRECTORY, hashes_at + len(hashes), 0x20001, AD_HOC, hashes_at, name_at,
                            len(SPECIAL) // 20, len(hashes) // 20, len(code), 20, SHA1, 0, PAGE.bit_length() - 1, 0)
    parts = ((0, directory + name + SPECIAL + hashes), (2, NO_REQUIREMENTS), (0x10000, NO_CMS))
    index, content, at = b"", b"", 12 + 8 * len(parts)
    for slot, part in parts:
        index += struct.pack(">2I", slot, at + len(content))
        content += part
    return struct.pack(">3I", SUPERBLOB, at + len(content), len(parts)) + index + content


def padded(blob):
    return blob + bytes(-len(blob) % 16)


def signed(data, identifier):
    image = macho.Image(data)
    limit, _ = image.fields(macho.CODE_SIGNATURE, "<2I")
    if limit == 0:
        raise ValueError("the linker left no room for a signature")
    size = len(padded(superblob(image.data[:limit], identifier)))
    # The sizes stand in the first page, so they come before its hash.
    code = bytearray(image.data[:limit])
    struct.pack_into("<I", code, image.command(macho.CODE_SIGNATURE).at + 12, size)
    linkedit = image.segments[-1]
    filesize = limit + size - linkedit.offset
    struct.pack_into("<Q", code, linkedit.at + 32, (filesize + 0x3FFF) & ~0x3FFF)
    struct.pack_into("<Q", code, linkedit.at + 48, filesize)
    return bytes(code) + padded(superblob(code, identifier))


def complaints(image, identifier):
    """What a kernel would refuse; where it would not, that the signature is another than signed() makes."""
    limit, size = image.fields(macho.CODE_SIGNATURE, "<2I")
    blob = image.data[limit:limit + size]
    try:
        magic, _, count = struct.unpack_from(">3I", blob)
        slots = dict(struct.unpack_from(">2I", blob, 12 + 8 * index) for index in range(count))
        directory = blob[slots[0]:]
        head = struct.unpack_from(DIRECTORY_HEAD, directory)
    except (struct.error, KeyError):
        yield "signature: there is none"
        return
    hashes_at, special, pages = head[4], head[6], head[7]
    if magic != SUPERBLOB or head[0] != DIRECTORY or head[9:11] != (20, SHA1):
        yield "signature: no directory of SHA-1 hashes"
    elif head[8] != limit or pages != (limit + PAGE - 1) // PAGE:
        yield "signature: does not cover all that stands before it"
    elif directory[hashes_at - 20 * special:hashes_at] != SPECIAL:
        yield "signature: the requirements have another hash"
    else:
        hashes = page_hashes(image.data[:limit])
        others = [page for page in range(pages)
                  if directory[hashes_at + 20 * page:hashes_at + 20 * page + 20] != hashes[20 * page:20 * page + 20]]
        yield from (f"signature: page {page} has another hash" for page in others)
        if not others and blob != padded(superblob(image.data[:limit], identifier)):
            yield "signature: not as it is made here"


def main():
    path, identifier = pathlib.Path(sys.argv[1]), sys.argv[2]
    path.write_bytes(signed(path.read_bytes(), identifier))


if __name__ == "__main__":
    main()
