"""What the end-to-end tests share: a root of their own, the command, and real audio files."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

BINARY = os.environ["QUILLET_BINARY"]
SAMPLES = pathlib.Path(os.environ["QUILLET_SAMPLES"])
MEDIA = "private/var/mobile/Media/"
LONGEST = 60  # seconds that anything may take before it counts as hanging


def wait_until(condition, what):
    """Looks again and again: for states of the file system that no process tells of."""
    end = time.monotonic() + LONGEST
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain: {what}")
        os.sched_yield()


class Watch:
    """A running `quillet watch --json`."""

    def __init__(self, root, *options):
        self.process = subprocess.Popen([BINARY, "--root", root, "--json", "watch", *options], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, errors="surrogateescape")
        self.notes = []
        self.read_note_until("watching")

    def read_note_until(self, word):
        for line in self.process.stderr:
            self.notes.append(line.strip())
            if word in line:
                return line
        raise AssertionError(f"watch ended: {self.notes}")

    def events(self, count):
        """The next `count` outcomes."""
        return [json.loads(self.process.stdout.readline()) for _ in range(count)]

    def stop(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        output, errors = self.process.communicate(timeout=LONGEST)
        self.notes += errors.splitlines()
        return self.process.returncode

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate()


class RootTest(unittest.TestCase):
    """Each test has a root and a folder for its files."""

    def setUp(self):
        self.base = pathlib.Path(tempfile.mkdtemp(prefix="quillet-e2e-"))
        self.addCleanup(shutil.rmtree, self.base, ignore_errors=True)
        self.use_root(self.base / "root")
        self.files = self.base / "files"
        self.files.mkdir()

    def use_root(self, root):
        self.root = root
        self.quillet_folder = root / MEDIA / "Quillet"
        self.drop = self.quillet_folder / "Import"
        self.rejected = self.quillet_folder / "Rejected"
        self.media = root / MEDIA / "iTunes_Control/Music/M00"
        self.database = self.quillet_folder / "QuilletDB.plist"
        self.library = root / MEDIA / "iTunes_Control/iTunes/MediaLibrary.sqlitedb"

    def run_quillet(self, *arguments, status=0, **options):
        done = subprocess.run([BINARY, "--root", self.root, *map(os.fsencode, arguments)], capture_output=True,
                              text=True, errors="surrogateescape", timeout=LONGEST * 2, **options)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        self.errors = done.stderr
        return done.stdout

    def run_json(self, *arguments, status=0):
        return [json.loads(line) for line in self.run_quillet("--json", *arguments, status=status).splitlines()]

    def tracks(self):
        return self.run_json("library", "list")

    def watch(self, *options):
        watch = Watch(self.root, *options)
        self.addCleanup(watch.__exit__)
        return watch

    def sample(self, name, new_name=None, number=None):
        """A copy of a sample in the test's folder; with `number`, one that differs from every other."""
        path = os.path.join(os.fsencode(self.files), os.fsencode(new_name or name))
        with open(path, "wb") as copy:
            copy.write((SAMPLES / name).read_bytes())
            if number is not None:
                copy.write(b"\0" * 8 + str(number).encode())
        return os.fsdecode(path)

    def drop_file(self, path):
        """Moves a file into the drop folder as a finished download arrives."""
        self.drop.mkdir(parents=True, exist_ok=True)
        os.rename(path, os.path.join(os.fsencode(self.drop), os.path.basename(os.fsencode(path))))

    def assert_whole(self, count):
        """Every track has its file, every file its track, each once."""
        paths = [track["assetPath"] for track in self.tracks()]
        self.assertEqual(len(paths), count)
        self.assertEqual(sorted(paths), sorted(str(path) for path in self.media.iterdir()))


def main():
    unittest.main(verbosity=2)
