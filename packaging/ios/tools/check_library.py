"""check_library.py LIBRARY SDK FILTER: fails unless iOS 7 on arm64 takes the library and the filter has its hosts."""

import pathlib
import plistlib
import re
import struct
import sys

import macho
import signature
import stubs

INSTALL_NAME = "/Library/MobileSubstrate/DynamicLibraries/QuilletCompat.dylib"
IDENTIFIER = "com.quillet.compat"
HOSTS = ["com.apple.mobileipod", "com.apple.Music", "com.quillet.downloader"]
SIZE_LIMIT = 400 * 1024
IOS_7_0 = 7 << 16
ANY_VERSION = 1 << 16  # what the linker writes for a stub that tells of none

NEEDED_COMMANDS = {macho.SEGMENT_64, macho.ID_DYLIB, macho.DYLD_INFO_ONLY, macho.SYMTAB, macho.DYSYMTAB, macho.UUID,
                   macho.VERSION_MIN_IPHONEOS, macho.LOAD_DYLIB, macho.CODE_SIGNATURE}
COMMANDS = NEEDED_COMMANDS | {macho.FUNCTION_STARTS, macho.DATA_IN_CODE}
REPEATED_COMMANDS = {macho.SEGMENT_64, macho.LOAD_DYLIB}

# magic, processor, its kind, file type: a 64-bit image for arm64 that is a dynamic library.
HEADER = (0xFEEDFACF, 0x0100000C, 0, 6)
FLAGS = 0x100085  # all symbols defined, input of the loader, two name spaces, passes no library's symbols on

READ, WRITE, EXECUTE = 1, 2, 4
RIGHTS = {"__TEXT": READ | EXECUTE, "__DATA": READ | WRITE, "__LINKEDIT": READ}
PAGE = 0x4000
ZEROFILL, INITIALISERS, LAST_KIND = 0x1, 0x9, 0x10  # later kinds are thread variables and what came after iOS 7
NEWER_SECTIONS = {"__init_offsets", "__objc_methlist", "__chain_starts"}
LOADED_CLASSES = {"__objc_nlclslist", "__objc_nlcatlist"}  # whose +load the runtime calls

CXX_LIBRARY = "/usr/lib/libc++.1.dylib"
CXX_SYMBOL = re.compile(r"__Z(n[wa]m(RKSt9nothrow_t)?|d[la]Pv|St7nothrow)|___cxa_guard_(acquire|release|abort)")


def commands(image):
    kinds = [command.kind for command in image.commands]
    for kind in kinds:
        if kind not in COMMANDS:
            yield f"commands: {kind:#x} is not known to iOS 7, or not wanted"
    for kind in sorted(NEEDED_COMMANDS):
        if kind not in kinds or (kind not in REPEATED_COMMANDS and kinds.count(kind) != 1):
            yield f"commands: {kind:#x} stands {kinds.count(kind)} times"
    if image.header[:4] != HEADER:
        yield "header: no dynamic library for arm64"
    if image.header.flags != FLAGS:
        yield f"header: flags {image.header.flags:#x}"
    if sum(command.size for command in image.commands) != image.header.sizeofcmds:
        yield "header: another size of load commands"
    if image.fields(macho.VERSION_MIN_IPHONEOS, "<I") != (IOS_7_0,):
        yield "commands: is not for iOS 7.0 on"
    if image.install_name() != INSTALL_NAME:
        yield f"commands: is named {image.install_name()}"
    for command in image.commands:
        if command.kind == macho.LOAD_DYLIB and image.unpack("<I", command.at + 20) != (ANY_VERSION,):
            yield f"commands: a library is asked for in version {image.unpack('<I', command.at + 20)[0]:#x}"


def layout(image):
    if [segment.name for segment in image.segments] != list(RIGHTS):
        yield "segments: others"
    address, offset = 0, 0
    for segment in image.segments:
        if {segment.initprot, segment.maxprot} != {RIGHTS.get(segment.name)}:
            yield f"segments: {segment.name} has rights {segment.initprot} of {segment.maxprot}"
        if (segment.address, segment.offset) != (address, offset) or segment.filesize > segment.size:
            yield f"segments: {segment.name} is misplaced"
        address, offset = segment.address + segment.size, segment.offset + segment.filesize
        if segment.name != "__LINKEDIT" and (address % PAGE or offset % PAGE):
            yield f"segments: {segment.name} ends within a page"
        yield from (complaint for section in segment.sections for complaint in placement(segment, section))
    if offset != len(image.data):
        yield "segments: the file does not end with the last"
    for at, size in image.linkedit_tables():
        if size and not image.segments[-1].offset <= at <= at + size <= len(image.data):
            yield f"segments: a table at {at:#x} lies outside __LINKEDIT"


def placement(segment, section):
    start, end = section.address - segment.address, section.address - segment.address + section.size
    name = f"sections: {section.name}"
    if start < 0 or end > segment.size or section.address % (1 << section.align):
        yield f"{name} is misplaced in {segment.name}"
    if section.kind != ZEROFILL and (section.offset != segment.offset + start or end > segment.filesize):
        yield f"{name} has other bytes in the file"
    if section.name in NEWER_SECTIONS or section.kind >= LAST_KIND:
        yield f"{name} is not known to iOS 7"


def initialisers(image):
    sections = [section for section in image.sections if section.kind == INITIALISERS]
    if [section.size for section in sections] != [8]:
        yield f"initialisers: {sum(section.size for section in sections) // 8} instead of one"
        return
    entry = int.from_bytes(image.content(sections[0]), "little")
    code = [section for section in image.sections if section.name == "__text"]
    if entry % 4 or not any(section.address <= entry < section.address + section.size for section in code):
        yield f"initialisers: {entry:#x} is no code"
    moved = {image.segments[word.segment].address + word.offset for word in image.rebases()}
    if sections[0].address not in moved:
        yield "initialisers: the loader does not move the address of the code"
    for section in image.sections:
        if section.name in LOADED_CLASSES:
            yield f"initialisers: {section.name} runs code at load"


def words(image):
    """What the loader changes in the image."""
    end = max(segment.address + segment.size for segment in image.segments)
    for word in [*image.rebases(), *image.bindings()]:
        segment = image.segments[word.segment]
        if not segment.maxprot & WRITE or word.offset > segment.filesize - 8:
            yield f"words: {segment.name} has none to change at {word.offset:#x}"
            return
    for word in image.rebases():
        address, = image.unpack("<Q", image.segments[word.segment].offset + word.offset)
        if address >= end:
            yield f"words: at {word.offset:#x} stands no address of the image"


def exports(image):
    at, size = image.fields(macho.DYLD_INFO_ONLY, "<10I")[8:]
    if any(image.data[at:at + size]):  # a root with no symbol and no children
        yield "exports: the loader finds some"
    for symbol in image.symbols():
        if symbol.kind & 0x01 and symbol.kind & 0x0E:
            yield f"exports: {symbol.name}"


def imports(image, device):
    """`device`: what it has, by library."""
    asked = set(image.imports())
    for library, symbol in sorted(asked, key=str):
        if library is None:
            yield f"imports: {symbol} is looked up in all images"
        elif symbol not in device.get(library, ()):
            yield f"imports: {symbol} is not in {library}"
        elif library == CXX_LIBRARY and not CXX_SYMBOL.fullmatch(symbol):
            yield f"imports: {symbol} of the device's C++ library"
    undefined = {symbol.name for symbol in image.symbols() if symbol.kind & 0x0F == 0x01}
    for symbol in sorted(undefined ^ {symbol for _, symbol in asked}):
        yield f"imports: {symbol} stands in one of two lists"


def hosts(image, filter_list):
    try:
        filter_read = plistlib.loads(filter_list)
    except Exception as error:  # plistlib raises many kinds for what is no property list
        yield f"filter: cannot be read ({error})"
        return
    if filter_read != {"Filter": {"Bundles": HOSTS}}:
        yield f"filter: lets in others than {HOSTS}"
    for host in HOSTS:
        if host.encode() + b"\0" not in image.data:
            yield f"filter: the library does not know {host}"


def complaints(data, device, filter_list):
    """Everything that is wrong with the library's bytes `data`."""
    try:
        image = macho.Image(data)
        for check in (commands, layout, words, initialisers, exports):
            yield from check(image)
        yield from signature.complaints(image, IDENTIFIER)
        yield from imports(image, device)
        yield from hosts(image, filter_list)
    except (ValueError, IndexError, OverflowError, struct.error) as error:
        yield f"image: cannot be read ({error})"
    if len(data) > SIZE_LIMIT:
        yield f"size: {len(data)} bytes"


def main():
    library, sdk, filter_list = map(pathlib.Path, sys.argv[1:])
    try:
        found = list(complaints(library.read_bytes(), stubs.read(sdk), filter_list.read_bytes()))
    except OSError as error:
        found = [f"files: {error}"]
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
