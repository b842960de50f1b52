"""faults_test.py LIBRARY SDK FILTER PACKAGE SCRIPT VERSION: all as they are, then with one fault each, which
must be named."""

import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "packaging/ios/tools"))
import check_library
import check_package
import macho
import signature
import stubs

LIBRARY, SDK, FILTER, PACKAGE, SCRIPT = map(pathlib.Path, sys.argv[1:6])
VERSION = sys.argv[6]
GOOD, DEVICE, HOSTS, CONFIGURE = LIBRARY.read_bytes(), stubs.read(SDK), FILTER.read_bytes(), SCRIPT.read_bytes()
IMAGE = macho.Image(GOOD)


def put(layout, at, *values):
    data = bytearray(GOOD)
    struct.pack_into(layout, data, at, *values)
    return bytes(data)


def command(kind, layout, at, *values):
    return put(layout, IMAGE.command(kind).at + at, *values)


def library(name, layout, at, *values):
    commands = [command for command in IMAGE.commands if command.kind == macho.LOAD_DYLIB]
    return put(layout, commands[IMAGE.libraries.index(name)].at + at, *values)


def segment(number, layout, at, *values):
    return put(layout, IMAGE.segments[number].at + at, *values)


def section(name, layout, at, *values):
    owner = next(each for each in IMAGE.segments if name in [section.name for section in each.sections])
    index = [section.name for section in owner.sections].index(name)
    return put(layout, owner.at + 72 + 80 * index + at, *values)


def named(name):
    return next(section for section in IMAGE.sections if section.name == name)


def renamed(old, new):
    assert len(old) == len(new) and old in GOOD
    return GOOD.replace(old, new)


SYMBOLS = IMAGE.fields(macho.SYMTAB, "<4I")[0]
MEMCPY = GOOD.index(b"_memcpy\0")
CODE = named("__text").offset
ENTRY = named("__mod_init_func").offset
REBASES = IMAGE.fields(macho.DYLD_INFO_ONLY, "<I")[0]
BINDINGS = IMAGE.fields(macho.DYLD_INFO_ONLY, "<3I")[2]
SET_SEGMENT = REBASES + GOOD[REBASES:].index(b"\x21")
BIND_SEGMENT = BINDINGS + GOOD[BINDINGS:].index(b"\x71")
MANY = b"\xff\xff\xff\xff\xff\x1f"  # 2^40 and more
LIMIT = IMAGE.fields(macho.CODE_SIGNATURE, "<2I")[0]
DIRECTORY = LIMIT + struct.unpack_from(">I", GOOD, LIMIT + 16)[0]

# Each is signed anew; every complaint is of the group, and one has the words.
FAULTS = [
    ("a newer command", command(macho.FUNCTION_STARTS, "<I", 0, 0x80000034), "commands", "0x80000034 is not known"),
    ("a weak library", command(macho.FUNCTION_STARTS, "<I", 0, 0x80000018), "commands", "0x80000018 is not known"),
    ("no identity", command(macho.UUID, "<I", 0, macho.DATA_IN_CODE), "commands", "0x1b stands 0 times"),
    ("for iOS 8", command(macho.VERSION_MIN_IPHONEOS, "<I", 8, 8 << 16), "commands", "not for iOS 7.0 on"),
    ("another name", renamed(b"ies/QuilletCompat.dylib\0", b"ies/QuilletCompat.so\0\0\0\0"), "commands", "is named"),
    ("for another processor", put("<I", 4, 12), "header", "no dynamic library for arm64"),
    ("one name space", put("<I", 24, IMAGE.header.flags | 0x100), "header", "flags"),
    ("symbols that merge", put("<I", 24, IMAGE.header.flags | 0x10000), "header", "flags"),
    ("another size of commands", put("<I", 20, IMAGE.header.sizeofcmds + 8), "header", "another size of load commands"),
    ("a later library", library("/usr/lib/libz.1.dylib", "<I", 20, 9 << 16), "commands", "asked for in version 0x9"),
    ("code that can be written", segment(0, "<2I", 56, 7, 7), "segments", "__TEXT has rights 7"),
    ("code that cannot be run", segment(0, "<I", 60, 1), "segments", "__TEXT has rights 1 of 5"),
    ("data that can only be read", segment(1, "<I", 60, 1), "segments", "__DATA has rights 1 of 3"),
    ("data beyond all files", segment(1, "<Q", 40, 1 << 63), ("se", "image"), "__DATA is misplaced"),
    ("a part of a page", segment(1, "<Q", 48, IMAGE.segments[1].filesize - 8), "se", "__DATA ends within a page"),
    ("a table in the code", command(macho.FUNCTION_STARTS, "<2I", 8, CODE, 8), "segments", "lies outside __LINKEDIT"),
    ("data that begins late", segment(1, "<Q", 24, IMAGE.segments[1].address + 0x4000), ("se", "in"), "__DATA is mis"),
    ("constants of their own", segment(1, "<16s", 8, b"__DATA_CONST"), "segments", "others"),
    ("a section beside its bytes", section("__const", "<I", 48, 0), "sections", "__const has other bytes"),
    ("a section that is not aligned", section("__cstring", "<I", 52, 13), "sections", "__cstring is misplaced"),
    ("small method lists", section("__cstring", "<16s", 0, b"__objc_methlist"), "sections", "__objc_methlist is not"),
    ("thread variables", section("__bss", "<I", 64, 0x12), "sections", "__bss"),
    ("an initialiser as well", section("__data", "<I", 64, 0x9), "initialisers", "instead of one"),
    ("no initialiser", section("__mod_init_func", "<I", 64, 0), "initialisers", "0 instead of one"),
    ("an initialiser that is data", put("<Q", named("__mod_init_func").offset, 0), "initialisers", "is no code"),
    ("an initialiser within an instruction", put("<B", ENTRY, GOOD[ENTRY] ^ 1), "initialisers", "is no code"),
    ("no section of code", section("__text", "<16s", 0, b"__tezt"), "initialisers", "is no code"),
    ("nothing moved", command(macho.DYLD_INFO_ONLY, "<I", 12, 0), "initialisers", "does not move the address"),
    ("an end of moving", put("<B", REBASES, 0), "initialisers", "does not move the address"),
    ("moving by a newer rule", put("<B", REBASES, 0xF0), "image", "rebase opcode 0xf0"),
    ("moving without end", put("<7s", REBASES, b"\x60" + MANY), "image", "words to mend"),
    ("binding without end", put("<8s", BINDINGS, b"\xc0" + MANY + b"\0"), "image", "words to mend"),
    ("binding by a newer rule", put("<B", BINDINGS, 0xD0), "image", "bind opcode 0xd0"),
    ("a number without end", put("<12s", REBASES, b"\x60" + b"\xff" * 11), "image", "more than 64 bits"),
    ("moved code", put("<B", SET_SEGMENT, 0x20), ("words", "initialisers"), "__TEXT has none to change"),
    ("bound code", put("<B", BIND_SEGMENT, 0x70), "words", "__TEXT has none to change"),
    ("a moved number", put("<Q", named("__la_symbol_ptr").offset, 1 << 40), "words", "no address of the image"),
    ("a class with +load", section("__cstring", "<16s", 0, b"__objc_nlclslist"), "initialisers", "__objc_nlclslist"),
    ("an export that is looked up", command(macho.DYLD_INFO_ONLY, "<2I", 40, REBASES, 16), "exports", "finds some"),
    ("an export", put("<B", SYMBOLS + 4, 0x0F), ("exports", "imports"), "exports: "),
    ("an import of nothing", renamed(b"_memcpy\0", b"_memcpz\0"), "imports", "_memcpz is not in /usr/lib/libSystem"),
    ("a wide import", put("<B", MEMCPY - 2, 0x3E), "imports", "is looked up in all images"),
    ("an import of another library", renamed(b"libz.1.d", b"libx.1.d"), "imports", "_compress is not in /usr/lib/libx"),
    ("an unknown host", renamed(b"com.apple.Music\0", b"com.apple.Moves\0"), "filter", "does not know com.apple.Music"),
]

UNSIGNED_FAULTS = [
    ("changed code", put("<B", CODE, 0xFF ^ GOOD[CODE]), f"page {CODE // 4096} has another"),
    ("changed tables", put("<B", LIMIT - 1, 0xFF ^ GOOD[LIMIT - 1]), f"page {(LIMIT - 1) // 4096} has another"),
    ("no signature", put(">I", LIMIT + 8, 0), "there is none"),
    ("by SHA-256", put(">2B", DIRECTORY + 36, 32, 2), "no directory of SHA-1"),
    ("covers less", put(">I", DIRECTORY + 32, LIMIT - 4096), "does not cover"),
    ("more at the end", GOOD + b"\0", "the file does not end with the last"),
    ("another version", put(">I", DIRECTORY + 8, 0), "not as it is made"),
    ("not ad hoc", put(">I", DIRECTORY + 12, 0), "not as it is made"),
    ("pages of a byte", put("<B", DIRECTORY + 39, 0), "not as it is made"),
    ("a name elsewhere", put(">I", DIRECTORY + 20, 0x7F7F7F7F), "not as it is made"),
    ("no length", put(">I", LIMIT + 4, 0), "not as it is made"),
    ("other requirements", put(">I", DIRECTORY + 24, 1), "the requirements have another hash"),
]

PACKAGE_FAULTS = [
    ("another file", "touch Library/other", "installs: ./Library/other"),
    ("a missing filter", "rm Library/*/*/*.plist", "QuilletCompat.plist is missing"),
    ("another library", "echo >>$(echo Library/*/*/*.dylib)", "QuilletCompat.dylib is"),
    ("a library that anyone writes", "chmod 777 Library/*/*/*.dylib", "QuilletCompat.dylib is"),
    ("another script", "cp DEBIAN/postinst DEBIAN/prerm", "control: holds"),
    ("a script that does more", "echo 'killall Music' >>DEBIAN/postinst", "control: holds"),
    ("another version", "sed -i 's/^Version.*/Version: 9/' DEBIAN/control", "Version is 9"),
    ("for any system", "sed -i '/^Depends/d' DEBIAN/control", "Depends is None"),
    ("of nobody", "sed -i '/^Author/d' DEBIAN/control", "Author is missing"),
    ("in another's place", "echo 'Conflicts: other' >>DEBIAN/control", "Conflicts is not wanted"),
    ("that stays", "echo 'Essential: yes' >>DEBIAN/control", "Essential is not wanted"),
    ("a pipe", "cd Library/*/*; rm *.plist; mkfifo -m 644 QuilletCompat.plist", "QuilletCompat.plist is"),
    ("a link to a file", "ln -sf /etc/passwd Library/*/*/*.plist", "QuilletCompat.plist is"),
]

# What dpkg-deb would not make: done to the package's parts, with the members of data.tar or control.tar unpacked in d.
OWN = "--owner=root:0 --group=root:0"
FILTER_NAME = "./Library/MobileSubstrate/DynamicLibraries/QuilletCompat.plist"
ARCHIVE_FAULTS = [
    ("another's files", "data", "tar --owner=other:0 --group=root:0 -cf data.tar -C d .", "installs: ./Library is"),
    ("a file twice", "data", f"tar {OWN} -rf data.tar -C d {FILTER_NAME}", "QuilletCompat.plist is"),
    ("a link for a folder", "data", f"mv d/Library d/L; ln -s L d/Library; tar {OWN} -cf data.tar -C d .",
     "installs: ./Library is"),
    ("no control file", "control", f"rm d/control; tar {OWN} -cf control.tar -C d .",
     "control: holds ['.', './postinst']"),
    ("a script that others write", "control", f"chmod 775 d/postinst; tar {OWN} -cf control.tar -C d .",
     "control: holds"),
    ("no fields", "control", f"echo x >d/control; tar {OWN} -cf control.tar -C d .", "control: Package is None"),
    ("an empty line", "control", f"echo >>d/control; tar {OWN} -cf control.tar -C d .", "control:  is not wanted"),
    ("no text", "control", f"printf '\\377' >d/control; tar {OWN} -cf control.tar -C d .", "archive: cannot be read"),
    ("two names", "control", f"echo Name: x >>d/control; tar {OWN} -cf control.tar -C d .", "a field stands twice"),
    ("no archive", "data", "echo x >data.tar", "archive: cannot be read"),
]


def complaints(data, device=None, hosts=HOSTS):
    return list(check_library.complaints(data, device or DEVICE, hosts))


class Library(unittest.TestCase):
    def test_the_good_one_passes(self):
        self.assertEqual(complaints(GOOD), [])

    def test_each_fault_is_named_and_nothing_else(self):
        for name, data, group, words in FAULTS:
            with self.subTest(name):
                found = complaints(signature.signed(data, check_library.IDENTIFIER))
                self.assertTrue(any(words in line for line in found), found)
                self.assertTrue(all(line.startswith(group) for line in found), found)

    def test_each_fault_of_the_signature_is_named(self):
        for name, data, words in UNSIGNED_FAULTS:
            with self.subTest(name):
                found = complaints(data)
                self.assertEqual(len(found), 1, found)
                self.assertIn(words, found[0])

    def test_the_device_has_what_is_asked(self):
        system = "/usr/lib/libSystem.B.dylib"
        without = DEVICE | {system: DEVICE[system] - {"_memcpy"}}
        self.assertEqual(complaints(GOOD, without), [f"imports: _memcpy is not in {system}"])

    def test_nothing_of_the_devices_cxx_library_is_asked_for(self):
        data = signature.signed(renamed(b"__ZSt7nothrow\0", b"__ZSt7nothroz\0"), check_library.IDENTIFIER)
        library = check_library.CXX_LIBRARY
        device = DEVICE | {library: DEVICE[library] - {"__ZSt7nothrow"} | {"__ZSt7nothroz"}}
        self.assertEqual(complaints(data, device), ["imports: __ZSt7nothroz of the device's C++ library"])

    def test_the_filter_has_all_hosts_and_no_other(self):
        for hosts in (HOSTS.replace(b"<string>com.apple.Music</string>", b""),
                      HOSTS.replace(b"</array>", b"<string>com.apple.springboard</string></array>"),
                      HOSTS.replace(b"</array>", b"</array><key>Mode</key><string>Any</string>"),
                      HOSTS.replace(b"</array>", b"<integer>7</integer></array>"),
                      *(b"<plist>" + text + b"</plist>" for text in (
                          b"<dict/>", b"<array/>", b"<dict><key>Filter</key><string>Bundles</string></dict>",
                          b"<dict><key>Filter</key><dict><key>Bundles</key><integer>7</integer></dict></dict>"))):
            self.assertRegex("\n".join(complaints(GOOD, hosts=hosts)), "^filter: lets in others")
        self.assertRegex("\n".join(complaints(GOOD, hosts=b"<plist><dict>")), "^filter: cannot be read")

    def test_what_is_cut_or_too_large_is_refused(self):
        for length in range(0, len(GOOD), 4093):
            self.assertTrue(complaints(GOOD[:length]), length)
        length = check_library.SIZE_LIMIT + 1
        self.assertIn(f"size: {length} bytes", complaints(GOOD.ljust(length)))


class Package(unittest.TestCase):
    def complaints_after(self, change, *options):
        with tempfile.TemporaryDirectory() as folder:
            stage, package = f"{folder}/stage", f"{folder}/quillet.deb"
            subprocess.run(["dpkg-deb", "-R", PACKAGE, stage], check=True)
            subprocess.run(change, shell=True, cwd=stage, check=True)
            options = options or ("-Zgzip", "--uniform-compression")
            subprocess.run(["dpkg-deb", *options, "--root-owner-group", "-b", stage, package], check=True,
                           stdout=subprocess.DEVNULL)
            return list(check_package.complaints(package, GOOD, HOSTS, CONFIGURE, VERSION))

    def test_the_good_one_passes(self):
        self.assertEqual(self.complaints_after("true"), [])

    def test_each_fault_is_named(self):
        for name, change, words in PACKAGE_FAULTS:
            with self.subTest(name):
                found = self.complaints_after(change)
                self.assertEqual(len(found), 1, found)
                self.assertIn(words, found[0])

    def test_each_fault_of_its_archives_is_named(self):
        for name, part, change, words in ARCHIVE_FAULTS:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                unpack = f"ar x {PACKAGE.resolve()}; gunzip {part}.tar.gz; mkdir d; tar -xpf {part}.tar -C d"
                pack = f"gzip {part}.tar; ar rc quillet.deb debian-binary control.tar.gz data.tar.gz"
                subprocess.run(["sh", "-ec", f"{unpack}\n{change}\n{pack}"], cwd=folder, check=True)
                found = list(check_package.complaints(f"{folder}/quillet.deb", GOOD, HOSTS, CONFIGURE, VERSION))
                self.assertTrue(any(words in line for line in found), found)

    def test_what_is_cut_is_refused(self):
        content = PACKAGE.read_bytes()
        for length in (0, 4, 70, 200, 5000, len(content) - 4096):
            with tempfile.NamedTemporaryFile(suffix=".deb") as package:
                package.write(content[:length])
                package.flush()
                found = list(check_package.complaints(package.name, GOOD, HOSTS, CONFIGURE, VERSION))
                self.assertRegex("\n".join(found), "archive: cannot be read", length)

    def test_its_script_speaks_at_an_installation_and_changes_nothing(self):
        for call in ("configure", "configure 0.1", "abort-upgrade 0.2", "triggered x", ""):
            with self.subTest(call), tempfile.NamedTemporaryFile("r") as calls:
                traced = ["strace", "-f", "-o", calls.name, "-e", "trace=%file,%process,kill", "sh"]
                done = subprocess.run([*traced, SCRIPT, *call.split()], capture_output=True, text=True, check=True)
                self.assertEqual((done.stdout.count("\n"), done.stderr), (call.startswith("configure"), ""))
                names = re.findall(r"O_WRONLY|O_RDWR|O_CREAT|(?<=\d )\w+(?=\()", calls.read())
                allowed = {"execve", "access", "openat", "newfstatat", "readlink", "getcwd", "exit_group"}
                self.assertLessEqual(set(names), allowed)

    def test_an_old_package_manager_can_unpack_it(self):
        self.assertRegex(self.complaints_after("true", "-Zxz")[0], "archive: is made of")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
