"""The reading commands on files that lie, are cut short, change or are no files: no crash, no hang, little memory."""

import json
import os
import pathlib
import resource
import shutil
import socket
import struct
import subprocess
import tempfile
import threading
import unittest
import zlib

from tag_cases import JPEG, PNG
from tag_files import (Frame, comment, compressed, extended_header, frame_unsynchronised, picture, synchsafe, tag, text,
                       v1)

BINARY = os.environ["QUILLET_BINARY"]
SAMPLES = pathlib.Path(os.environ["QUILLET_SAMPLES"])
COMMANDS = (["tag", "show"], ["tag", "frames"], ["info"])
MEMORY = 1 << 30  # bytes of address space
SANITIZED = b"__asan_init" in pathlib.Path(BINARY).read_bytes()  # which asks for terabytes of addresses
LONGEST = 60  # seconds
PROCESSOR = 100 if SANITIZED else 10  # seconds for all files of a run, so that no loop is quadratic in a size


def bounded():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR, PROCESSOR))
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))


class HostileTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-hostile-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.audio = (SAMPLES / "old-label.mp3").read_bytes()[:-128][:6000]
        self.frames = [text("TIT2", "Title", "UTF-16"), comment("Text", "Described"),
                       picture(PNG, description="A cover"), text("TPE1", "Artist")]

    def write(self, contents):
        """A file each, by name."""
        for name, content in contents.items():
            (self.folder / f"{name}.mp3").write_bytes(content)
        return [self.folder / f"{name}.mp3" for name in contents]

    def read(self, paths, commands=COMMANDS):
        """Every command over all files: an answer or a line on standard error for each, and nothing else. By command,
        the answers by path."""
        answers = []
        for command in commands:
            done = subprocess.run([BINARY, "--json", *command, "--jobs", "2", *map(str, paths)],
                                  capture_output=True, timeout=LONGEST, preexec_fn=bounded)
            self.assertIn(done.returncode, (0, 1), (command, done.stderr[-2000:]))
            answer = {one["file"]: one for one in map(json.loads, done.stdout.splitlines())}
            failed = [path for path in map(str, paths) if path not in answer]
            complaints = done.stderr.decode().splitlines()
            self.assertEqual([line.split(": ")[1] for line in complaints], failed)
            self.assertEqual(done.returncode, 1 if failed else 0)
            answers.append(answer)
        return answers

    def test_every_prefix_of_a_tagged_file(self):
        tags = {version: tag(version, *(self.frames if version > 2 else [text("TIT2", "Title", "UTF-16")]), padding=9,
                             footer=version == 4) for version in (2, 3, 4)}
        tags["extended"] = tag(3, *self.frames, extended=extended_header(3, self.frames, crc=True),
                               whole_unsynchronised=True)
        tags["formats"] = tag(4, compressed(self.frames[0], 4), frame_unsynchronised(self.frames[2]), self.frames[1],
                              extended=extended_header(4, self.frames, crc=True))
        contents = {}
        for kind, head in tags.items():
            for length in range(len(head) + 1):
                contents[f"{kind}-{length:04}"] = head[:length]
        whole = tags[3] + self.audio + v1("Title")
        for length in (*range(len(tags[3]), len(tags[3]) + 300), *range(len(whole) - 130, len(whole) + 1)):
            contents[f"whole-{length:04}"] = whole[:length]
        shown = self.read(self.write(contents))[0]
        titles = [shown.get(str(self.folder / f"3-{length:04}.mp3"), {}).get("title") for length in range(len(tags[3]))]
        # The title is there from the byte on that ends it, and before that it is not made up.
        self.assertEqual([title for title in titles if title and not "Title".startswith(title.rstrip("\ufffd"))], [])
        self.assertEqual(set(titles[10 + len(self.frames[0].laid(3)):]), {"Title"})

    def test_every_byte_of_a_tag_changed(self):
        contents = {}
        for version in (2, 3, 4):
            frames = self.frames if version > 2 else [text("TIT2", "Title", "UTF-16")]
            head = tag(version, *frames, extended=extended_header(version, frames) if version > 2 else b"", padding=5)
            for place in range(3, min(len(head), 150)):
                for value in (0, 0x7F, 0x80, 0xFF):
                    changed = head[:place] + bytes([value]) + head[place + 1:]
                    contents[f"{version}-{place}-{value}"] = changed + self.audio[:2000]
        self.read(self.write(contents))

    def test_sizes_of_any_value(self):
        contents = {}
        sizes = {size % (1 << 32) for bit in range(33)
                 for size in ((1 << bit) - 1, 1 << bit, -(1 << bit), 10 - (1 << bit))}
        for size in sorted(sizes):
            plain = struct.pack(">I", size)
            for version in (3, 4):
                head = tag(version, *self.frames)
                contents[f"{version}-tag-{size}"] = head[:6] + plain + head[10:] + self.audio
                contents[f"{version}-frame-{size}"] = head[:14] + plain + head[18:] + self.audio
                contents[f"{version}-last-{size}"] = (head[:-11] + plain + head[-7:])[:len(head)] + self.audio
                extended = plain + bytes([1, 0]) + bytes(4)
                contents[f"{version}-extended-{size}"] = tag(version, *self.frames, extended=extended) + self.audio
                inflated = Frame("APIC", (plain if version == 3 else synchsafe(size)) + zlib.compress(JPEG),
                                 0x0080 if version == 3 else 0x0009)
                contents[f"{version}-inflated-{size}"] = tag(version, inflated, *self.frames) + self.audio
            two = tag(2, text("TIT2", "Title"))
            contents[f"2-frame-{size}"] = two[:13] + plain[1:] + two[16:] + self.audio
        self.read(self.write(contents))

    def test_lies_within_lies(self):
        bomb = zlib.compress(bytes(300_000_000), 9)
        title = text("TIT2", "Title")
        contents = {
            "a bomb": tag(4, Frame("APIC", synchsafe(0xFFFFFFF) + bomb, 9), title) + self.audio,
            "a bomb of 2.3": tag(3, Frame("APIC", struct.pack(">I", 0xFFFFFFFF) + bomb, 0x80), title) + self.audio,
            "a hundred bombs": tag(3, *[Frame("TIT2", b"\xff\xff\xff\xff" + bomb[:len(bomb) // 20], 0x80)] * 100),
            "a stream cut short": tag(3, Frame("TIT2", struct.pack(">I", 500) + zlib.compress(b"\0" * 500)[:-6], 0x80)),
            "a stream that is none": tag(3, Frame("TPE1", struct.pack(">I", 500) + b"no stream", 0x80), title),
            "no room for the data length": tag(4, Frame("TPE1", b"\0\0", 0x000F), title),
            "flags of every kind": tag(4, *[Frame("TIT2", bytes(range(9)), flags) for flags in range(256)]),
            "nothing but flags": tag(3, *[Frame("TIT2", b"", flags) for flags in range(256)]),
            "a picture without terminator": tag(3, Frame("APIC", b"\1image/png" + b"\xff" * 500)),
            "a picture of one byte": tag(3, Frame("APIC", b"\1"), Frame("COMM", b"\1"), Frame("TXXX", b"\1")),
            "an extended header longer than the tag": tag(3, extended=struct.pack(">I", 5000) + bytes(6)) + self.audio,
            "frames of one byte": tag(3, *[Frame("TIT2", b"\0")] * 10000) + self.audio,
            "comments of nothing": tag(4, *[comment("", "")] * 10000) + self.audio,
            "tags in a row": tag(3) * 20000 + self.audio,
            "values in a row": tag(4, text("TIT2", "a\0" * 500_000), text("TCON", "(1)" * 300_000)) + self.audio,
            "genres of all": tag(4, text("TCON", "\0".join(map(str, range(300_000))))) + self.audio,
            "syncs": b"\xff\xfb" * 1_000_000,
            "headers": b"ID3\3\0\0\0\0\0\0" * 100_000,
            "a footer without its tag": self.audio + b"3DI\4\0\x10\0\0\0\x7f",
            "a whole tag compressed": tag(2, title, flags=0x40) + self.audio,
        }
        shown = self.read(self.write(contents))[0]
        for name in ("a bomb", "a bomb of 2.3", "a stream that is none", "no room for the data length"):
            answer = shown[str(self.folder / f"{name}.mp3")]
            self.assertEqual(answer["title"], "Title", name)
            self.assertTrue(answer["warnings"], name)

    @unittest.skipIf(SANITIZED, "needs the limit of memory")
    def test_a_file_that_takes_too_much_memory_fails_alone(self):
        paths = self.write({"values": tag(4, text("TIT2", "a\0" * 20_000_000)), "good": tag(3, *self.frames)})
        shown, = self.read(paths, [["tag", "show"]])
        self.assertEqual([answer["title"] for answer in shown.values()], ["Title"])

    def test_what_is_no_file(self):
        names = ("missing.mp3", "folder", "fifo", "socket", "loop", "gone", "secret")
        paths = {name: self.folder / name for name in names}
        paths["folder"].mkdir()
        os.mkfifo(paths["fifo"])
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(str(paths["socket"]))
        os.symlink("loop", paths["loop"])
        os.symlink("nowhere", paths["gone"])
        paths["secret"].write_bytes(self.audio)
        paths["secret"].chmod(0)
        if os.geteuid() == 0:  # whom nothing is kept from
            paths["secret"].unlink()
        devices = ["/dev/null", "/dev/zero", "/dev/full", "/proc/self/mem"]
        good = self.write({"good": tag(3, *self.frames) + self.audio})
        self.assertEqual([list(answer) for answer in self.read([*paths.values(), *devices, *good])],
                         [[str(good[0])]] * 3)

    def test_a_file_of_4_gigabytes_and_a_tag_of_256_megabytes(self):
        head = tag(3, *self.frames)
        huge = {"3": head[:6] + b"\x7f" * 4 + head[10:], "4": b"ID3\4\0\0" + b"\x7f" * 4 + head[10:],
                "picture": tag(3, picture(PNG, size=0xFFFFFF0), size=0xFFFFFFF), "none": b""}
        paths = self.write(huge)
        for path in paths:
            os.truncate(path, 1 << 32)
        self.read(paths)

    def test_a_file_that_another_shortens_meanwhile(self):
        path, = self.write({"shrinking": tag(3, *self.frames, picture(bytes(300_000), 4)) + self.audio * 20})
        whole, stop = path.read_bytes(), threading.Event()

        def shrink():
            length = 0
            with open(path, "r+b", buffering=0) as file:
                while not stop.is_set():
                    length = (length * 7 + 4099) % len(whole)
                    file.truncate(length)
                    file.seek(0)
                    file.write(whole)
        thread = threading.Thread(target=shrink)
        thread.start()
        try:
            for _ in range(5):
                for command in COMMANDS:
                    done = subprocess.run([BINARY, "--json", *command, "--jobs", "2", *[path] * 200],
                                          capture_output=True, timeout=LONGEST, preexec_fn=bounded)
                    self.assertIn(done.returncode, (0, 1), done.stderr[-2000:])
                    self.assertEqual(len(done.stdout.splitlines()) + len(done.stderr.splitlines()), 200)
        finally:
            stop.set()
            thread.join()


if __name__ == "__main__":
    unittest.main(verbosity=2)
