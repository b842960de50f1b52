"""faults_test.py LIBRARY SDK FILTER PACKAGE VERSION: both as they are, then with one fault that must be named."""

import pathlib
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

LIBRARY, SDK, FILTER, PACKAGE = map(pathlib.Path, sys.argv[1:5])
VERSION = sys.argv[5]
GOOD, DEVICE, HOSTS = LIBRARY.read_bytes(), stubs.read(SDK), FILTER.read_bytes()
IMAGE = macho.Image(GOOD)


def put(layout, at, *values):
    data = bytearray(GOOD)
    struct.pack_into(layout, data, at, *values)
    return bytes(data)


def command(kind, layout, at, *values):
    return put(layout, IMAGE.command(kind).at + at, *values)


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
    ("symbols that merge", put("<I", 24, IMAGE.header.flags | 0x10000), "header", "flags"),
    ("code that can be written", segment(0, "<2I", 56, 7, 7), "segments", "__TEXT has rights 7"),
    ("data that begins late", segment(1, "<Q", 24, IMAGE.segments[1].address + 0x4000), "se", "__DATA is misplaced"),
    ("constants of their own", segment(1, "<16s", 8, b"__DATA_CONST"), "segments", "others"),
    ("a section beside its bytes", section("__const", "<I", 48, 0), "sections", "__const has other bytes"),
    ("a section that is not aligned", section("__cstring", "<I", 52, 13), "sections", "__cstring is misplaced"),
    ("small method lists", section("__cstring", "<16s", 0, b"__objc_methlist"), "sections", "__objc_methlist is not"),
    ("thread variables", section("__bss", "<I", 64, 0x12), "sections", "__bss"),
    ("an initialiser as well", section("__data", "<I", 64, 0x9), "initialisers", "instead of one"),
    ("no initialiser", section("__mod_init_func", "<I", 64, 0), "initialisers", "0 instead of one"),
    ("an initialiser that is data", put("<Q", named("__mod_init_func").offset, 0), "initialisers", "is no code"),
    ("a class with +load", section("__cstring", "<16s", 0, b"__objc_nlclslist"), "initialisers", "__objc_nlclslist"),
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
    ("other requirements", put(">I", DIRECTORY + 24, 1), "the requirements have another hash"),
]

PACKAGE_FAULTS = [
    ("another file", "touch Library/other", "installs: ./Library/other"),
    ("a missing filter", "rm Library/*/*/*.plist", "QuilletCompat.plist is missing"),
    ("another library", "echo >>$(echo Library/*/*/*.dylib)", "QuilletCompat.dylib is"),
    ("a library that anyone writes", "chmod 777 Library/*/*/*.dylib", "QuilletCompat.dylib is"),
    ("a script", "printf '#!/bin/sh\\n' >DEBIAN/postinst; chmod 755 DEBIAN/postinst", "control: holds"),
    ("another version", "sed -i 's/^Version.*/Version: 9/' DEBIAN/control", "Version is 9"),
    ("for any system", "sed -i '/^Depends/d' DEBIAN/control", "Depends is None"),
]


def complaints(data, device=None, hosts=HOSTS):
    return list(check_library.complaints(data, device or DEVICE, hosts))


class Library(unittest.TestCase):
    def test_the_good_one_passes(self):
        self.assertEqual(complaints(GOOD), [])

    def test_each_fault_is_named_and_nothing_else(self):
        for name, data, group, words in FAULTS:
            with self.subTest(name):
                found = complaints(signature.signed(data, "com.quillet.compat"))
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
        data = signature.signed(renamed(b"__ZSt7nothrow\0", b"__ZSt7nothroz\0"), "com.quillet.compat")
        library = check_library.CXX_LIBRARY
        device = DEVICE | {library: DEVICE[library] - {"__ZSt7nothrow"} | {"__ZSt7nothroz"}}
        self.assertEqual(complaints(data, device), ["imports: __ZSt7nothroz of the device's C++ library"])

    def test_the_filter_has_all_hosts_and_no_other(self):
        for hosts in (HOSTS.replace(b"<string>com.apple.Music</string>", b""),
                      HOSTS.replace(b"</array>", b"<string>com.apple.springboard</string></array>")):
            self.assertRegex("\n".join(complaints(GOOD, hosts=hosts)), "^filter: lets in")

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
            return list(check_package.complaints(package, GOOD, HOSTS, VERSION))

    def test_the_good_one_passes(self):
        self.assertEqual(self.complaints_after("true"), [])

    def test_each_fault_is_named(self):
        for name, change, words in PACKAGE_FAULTS:
            with self.subTest(name):
                found = self.complaints_after(change)
                self.assertEqual(len(found), 1, found)
                self.assertIn(words, found[0])

    def test_an_old_package_manager_can_unpack_it(self):
        self.assertRegex(self.complaints_after("true", "-Zxz")[0], "archive: is made of")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
