"""What the scripts share that change tags with the real command: files whose audio is known, and how it is checked
that it is all there."""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from harness import RootTest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "id3"))
import oracles  # noqa: E402
from tag_cases import JPEG, PNG  # noqa: E402
from tag_files import Frame, comment, picture, tag, text, v1  # noqa: E402

NOBODY = 65534


def synchsafe(four):
    return four[0] << 21 | four[1] << 14 | four[2] << 7 | four[3]


def tag_length(content):
    return 10 + synchsafe(content[6:10]) + 10 * bool(content[5] & 0x10) if content[:3] == b"ID3" else 0


def audio_of(content):
    """What lies behind the v2 tag and before the v1 record."""
    return content[tag_length(content):len(content) - 128 * (content[-128:-125] == b"TAG")]


def raw_frames(content):
    """The frames of a 2.3 or 2.4 tag without extended header, as they stand."""
    at, found = 10, []
    while at < tag_length(content) and content[at]:
        plain = int.from_bytes(content[at + 4:at + 8], "big")
        size = plain if content[3] == 3 else synchsafe(content[at + 4:at + 8])
        found.append(content[at:at + 10 + size])
        at += 10 + size
    return found


class EditTest(RootTest):
    """The audio is made once; each test writes tags of its own around it."""

    @classmethod
    def setUpClass(cls):
        made = pathlib.Path(tempfile.mkdtemp(prefix="quillet-edit-"))
        cls.addClassCleanup(shutil.rmtree, made)
        for command in (["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=frequency=440:duration=3", "tone.wav"],
                        ["lame", "--quiet", "-t", "-b", "64", "tone.wav", "tone.mp3"]):
            subprocess.run(command, cwd=made, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.PIPE)
        cls.audio = (made / "tone.mp3").read_bytes()

    def setUp(self):
        super().setUp()
        (self.files / "cover.png").write_bytes(PNG)
        (self.files / "other.jpg").write_bytes(JPEG)
        self.tagged = tag(3, text("TIT2", "Old"), text("TPE1", "Singer"), text("TYER", "1998"), text("TRCK", "3/12"),
                          comment("words"), comment("machine's", "iTunNORM"), picture(JPEG, 3, b"image/jpeg"),
                          picture(PNG, 8, description="the singer"), Frame("PRIV", b"me\0\x01\xff\xfe"), padding=600)
        self.record = v1("Old", "Singer", "", "1998", "words", track=3, genre=17)

    def tearDown(self):
        self.assertFalse(self.root.exists(), "no library is made")
        self.assertEqual([path.name for path in self.files.rglob("*.temp*")], [], "no working file is left")

    def put(self, name, front=b"", end=b"", audio=None):
        path = self.files / name
        path.write_bytes(front + (self.audio if audio is None else audio) + end)
        return path

    def tag_on(self, *arguments, status=0, **options):
        return self.run_quillet("tag", *arguments, status=status, cwd=self.files, **options)

    def json_on(self, *arguments, status=0):
        return [json.loads(line) for line in self.tag_on(*arguments, "--json", status=status).splitlines()]

    def show(self, name):
        return self.json_on("show", name)[0]

    def assert_audio(self, path, audio=None):
        self.assertEqual(audio_of(path.read_bytes()), self.audio if audio is None else audio)

    def assert_says(self, path, **values):
        """By our own reading, and by every other program that can tell."""
        shown = self.show(path.name)
        for key, value in values.items():
            self.assertEqual(shown[key], value, key)
        for program, answer in oracles.ask_all(path).items():
            self.assertIsInstance(answer, dict, (program, answer))
            # eyeD3 knows no year of 2.2.
            unknown = {"year"} if program == "eyeD3" and path.read_bytes()[3] == 2 else set()
            for key in values.keys() & answer.keys() - unknown:
                self.assertEqual(answer[key], values[key] or None, (program, key))
