"""What the scenarios share: a stand-in of the device, apps on it that have the library loaded, and what they record."""

import json
import os
import pathlib
import plistlib
import re
import select
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["QUILLET_RIG_APP"]
LIBRARY = os.environ["QUILLET_RIG_LIBRARY"]
ANSWERER = os.environ["QUILLET_RIG_ANSWERER"]
SAMPLES = pathlib.Path(os.environ["QUILLET_SAMPLES"])
LONGEST = 60  # seconds that anything may take before it counts as hanging

DOWNLOADER = "com.quillet.downloader"
MUSIC = "com.apple.Music"
ANSWER = "0123456789abcdef"  # MobileGestalt's

CENTER = "center com.quillet.sync"
IDENTIFIER_REPLACED = "hook UIDevice uniqueIdentifier"
TABLE = ["hook SPTransfer connectionDidFinishLoading:",
         "hook DownloadsViewController viewDidLoad",
         "hook ImportViewController viewDidDisappear:",
         "add ImportViewController _handleLaunchMessageNamed:withUserInfo: @@:@@",
         "hook ImportViewController importFiles:",
         "hook TransfersViewCell initWithFrame:reuseIdentifier:",
         "add UITableView setOffset: v@:d",
         "hook UIDevice systemVersion",
         "hook UIAlertView initWithTitle:message:delegate:cancelButtonTitle:otherButtonTitles:"]


class App:
    """A process whose main bundle bears `identifier`. `without` names classes, variables and methods that it lacks
    ("UIView", "UIView.setFrame:"), and variables that are numbers in it ("SPTransfer.theFilename#"); an `old_table` has a setOffset: of its own."""

    def __init__(self, device, identifier, version="7.0", answer=ANSWER, without="", old_table=False,
                 importer=None, teller=None):
        self.teller = teller
        folder = pathlib.Path(tempfile.mkdtemp(suffix=".app", dir=device.root.parent))
        program = folder / folder.stem
        shutil.copy(PROGRAM, program)
        (folder / "Resources").mkdir()
        (folder / "Resources/Info-gnustep.plist").write_text(f'{{ CFBundleIdentifier = "{identifier}"; }}')
        record = folder / "record"  # a pipe, so that nobody has to look whether there is more
        os.mkfifo(record)
        self.record = os.open(record, os.O_RDWR)
        self.unread = b""
        self.errors = folder / "errors"
        environment = {**os.environ, "QUILLET_RIG_LIBRARY": LIBRARY, "QUILLET_RIG_ROOT": str(device.root),
                       "QUILLET_RIG_RECORD": str(record), "QUILLET_RIG_VERSION": version,
                       "QUILLET_RIG_WITHOUT": without + ("" if old_table else " UITableView.setOffset:"),
                       "HOME": str(folder)}
        environment.pop("QUILLET_RIG_ANSWERER", None)
        if answer is not None:
            environment |= {"QUILLET_RIG_ANSWERER": ANSWERER, "QUILLET_RIG_ANSWER": answer}
        if importer is not None:
            environment["QUILLET_RIG_IMPORTER"] = importer
        with open(self.errors, "w") as errors:
            self.process = subprocess.Popen([program], env=environment, stdin=subprocess.PIPE, stderr=errors)
        self.ended = os.pidfd_open(self.process.pid)
        self.loading = self.until("loaded")[:-1]

    def until(self, pattern):
        """The lines recorded up to and with the next that matches as a whole."""
        lines = []
        while not (lines and re.fullmatch(pattern, lines[-1])):
            lines.append(self.next_line(f"{pattern} after {lines}"))
        return lines

    def next_line(self, what):
        while b"\n" not in self.unread:
            ready = select.select([self.record, self.ended], [], [], LONGEST)[0]
            if self.record in ready:
                self.unread += os.read(self.record, 65536)
            elif ready:
                raise AssertionError(f"ended before {what}: {self.errors.read_text(errors='replace')}")
            else:
                raise AssertionError(f"waited in vain for {what}")
        line, self.unread = self.unread.split(b"\n", 1)
        line = line.decode()
        if self.teller:
            self.teller(line)
        return line

    def do(self, *words):
        """Has the app carry out a command; what it recorded meanwhile. None stands for nil."""
        line = "\t".join("-" if word is None else word for word in words)
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()
        return self.until("done")[:-1]

    def end(self):
        """Ends the app, which must not have died before; what it recorded and nobody has asked for."""
        self.process.stdin.close()
        status = self.process.wait(timeout=LONGEST)
        os.set_blocking(self.record, False)
        try:
            self.unread += os.read(self.record, 65536)
        except BlockingIOError:
            pass
        if status != 0:
            raise AssertionError(f"status {status}: {self.errors.read_text(errors='replace')}")
        return self.unread.decode().splitlines()

    def clear_away(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.process.stdin.close()
        os.close(self.record)
        os.close(self.ended)


def text_frame(identifier, text):
    """An ID3v2.3 text frame."""
    body = b"\0" + text.encode("latin-1")
    return identifier.encode() + len(body).to_bytes(4, "big") + b"\0\0" + body


def mp3(*frames):
    """Real audio behind an ID3v2.3 tag of these frames, or behind none."""
    audio = (SAMPLES / "old-label.mp3").read_bytes()[:-128]
    content = b"".join(frames)
    size = bytes(len(content) >> shift & 0x7F for shift in (21, 14, 7, 0))
    return (b"ID3\3\0\0" + size + content if frames else b"") + audio


def tags_of(path):
    """What ffprobe reads."""
    output = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", "-show_format", path], capture_output=True,
                            check=True).stdout
    tags = json.loads(output)["format"].get("tags", {})
    return {key.lower(): value for key, value in tags.items()}


class Device:
    """The folder that a device's absolute paths lie under. Two devices know nothing of each other."""

    def __init__(self, base):
        self.root = base / "device"
        self.downloads = self.root / "var/mobile/Media/Downloads"
        self.downloads.mkdir(parents=True)
        media = self.root / "private/var/mobile/Media"
        self.drop = media / "Quillet/Import"
        self.database = media / "Quillet/QuilletDB.plist"
        self.artwork = media / "Quillet/ArtworkCache"
        self.music = media / "iTunes_Control/Music/M00"
        self.library = self.root / "rig/library.plist"
        self.assets = self.root / "rig/assets"

    def files(self):
        """Every file and empty folder."""
        return sorted(str(path.relative_to(self.root)) for path in self.root.rglob("*")
                      if not path.is_dir() or not any(path.iterdir()))

    def records(self):
        """The import database."""
        return plistlib.loads(self.database.read_bytes())


class Scenario(unittest.TestCase):
    """Each has a device of its own."""

    maxDiff = None

    def setUp(self):
        self.device = self.new_device()

    def new_device(self):
        base = pathlib.Path(tempfile.mkdtemp(prefix="quillet-rig-"))
        self.addCleanup(shutil.rmtree, base)
        return Device(base)

    def app(self, identifier=DOWNLOADER, device=None, **options):
        app = App(device or self.device, identifier, **options)
        self.addCleanup(app.clear_away)
        return app

    def downloader(self, **options):
        return self.app(DOWNLOADER, **options)

    def music_app(self, **options):
        return self.app(MUSIC, **options)

    def assert_ends(self, *apps):
        """All is told: the apps live, and nothing was recorded that no assertion has seen."""
        for app in apps:
            self.assertEqual(app.end(), [])


def main():
    unittest.main(verbosity=2)
