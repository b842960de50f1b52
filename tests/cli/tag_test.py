"""`info` and `tag`, run as a user runs them, on files that other programs have written."""

import fcntl
import hashlib
import json
import os
import pathlib
import pty
import re
import shutil
import signal
import struct
import subprocess
import tempfile
import termios

import harness
from harness import BINARY, RootTest

AUDIO_KEYS = ["mpegVersion", "layer", "bitRate", "frequency", "channels", "channelMode", "seconds", "durationMs",
              "durationFrom", "frameCount", "hash"]
SHOW_KEYS = ["file", "title", "artist", "album", "albumArtist", "track", "trackCount", "disc", "discCount", "year",
             "genres", "comment", "composer", "encodedBy", "pictures", *AUDIO_KEYS, "v1", "v2", "warnings"]


class TagTest(RootTest):
    """The files are made once, in a folder that every test has a copy of."""

    @classmethod
    def setUpClass(cls):
        cls.made = pathlib.Path(tempfile.mkdtemp(prefix="quillet-tags-"))
        cls.addClassCleanup(shutil.rmtree, cls.made)
        cls.make("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=frequency=440:duration=3", "-ac", "2", "tone.wav")
        for colour, name in (("red", "red.png"), ("blue", "blue.jpg")):
            cls.make("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"color=c={colour}:s=64x64", "-frames:v", "1", name)
        cls.make("lame", "--quiet", "-b", "128", "-t", "tone.wav", "plain.mp3")
        cls.make("lame", "--quiet", "-V2", "-m", "m", "--add-id3v2", "--tt", "Títle", "--ta", "Artist",
                 "--tl", "Album", "--ty", "2009", "--tn", "3/12", "--tg", "Rock", "--tc", "a note",
                 "--ti", "blue.jpg", "tone.wav", "lame.mp3")
        for name in ("eyed3.mp3", "v1.mp3", "odd.mp3", "steering.mp3"):
            shutil.copy(cls.made / "plain.mp3", cls.made / name)
        cls.make("eyeD3", "-Q", "--to-v2.4", "--encoding", "utf16", "-t", "アニメ", "-a", "Å", "-b", "Various",
                 "-n", "1", "-N", "9", "-d", "1", "-D", "2", "--recording-date", "2001-04-05", "-G", "Rock",
                 "--composer", "C", "--add-image", "red.png:FRONT_COVER:front", "--add-image", "blue.jpg:BACK_COVER",
                 "eyed3.mp3")
        cls.make("eyeD3", "-Q", "-1", "-t", "Old", "-a", "Singer", "-n", "7", "-Y", "1999", "-G", "Jazz", "v1.mp3")
        (cls.made / "note.txt").write_text("an attached note")
        cls.make("eyeD3", "-Q", "--to-v2.4", "--user-text-frame", "key:value", "--url-frame", "WCOM:http\\://a.b",
                 "--user-url-frame", "page:http\\://c.d", "--unique-file-id", "http\\://owner:a-file-of-mine",
                 "--add-popularity", "me@home:196:5", "--play-count", "7", "--add-comment", "words:about:deu",
                 "--add-object", "note.txt:text/plain:note", "odd.mp3")
        cls.make("mid3v2", "-t", "e\x1b[31mred\nline " + "w" * 200, "steering.mp3")
        eyed3 = (cls.made / "eyed3.mp3").read_bytes()
        (cls.made / "cut.mp3").write_bytes(eyed3[:700])
        (cls.made / "lying.mp3").write_bytes(eyed3[:14] + b"\0\x7f\x7f\x7f" + eyed3[18:])

    @classmethod
    def make(cls, *command):
        subprocess.run(command, cwd=cls.made, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                       stdin=subprocess.DEVNULL, env={**os.environ, "LC_ALL": "C.UTF-8"})

    def setUp(self):
        super().setUp()
        for path in self.made.iterdir():
            (self.files / path.name).write_bytes(path.read_bytes())

    def tearDown(self):
        self.assertFalse(self.root.exists(), "reading tags makes no library")

    def run_on(self, *arguments, status=0, **options):
        return self.run_quillet(*arguments, status=status, cwd=self.files, **options)

    def json_on(self, *arguments, status=0):
        return [json.loads(line) for line in self.run_on("--json", *arguments, status=status).splitlines()]

    def on_terminal(self, *arguments, columns=60):
        """What a terminal of that width is sent on standard output."""
        terminal, end = pty.openpty()
        fcntl.ioctl(end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen([BINARY, *arguments], cwd=self.files, stdout=end, stderr=subprocess.DEVNULL,
                              env={**os.environ, "TERM": "xterm"}) as process:
            os.close(end)
            sent = b""
            try:
                while part := os.read(terminal, 65536):
                    sent += part
            except OSError:  # how a terminal without another end says so
                pass
            os.close(terminal)
        self.assertEqual(process.returncode, 0)
        return sent.decode().replace("\r\n", "\n")


class ShowTest(TagTest):
    def picture(self, name, kind, mime, description=None):
        content = (self.files / name).read_bytes()
        return {"type": kind, "mime": mime, "description": description, "bytes": len(content),
                "md5": hashlib.md5(content).hexdigest()}

    def test_what_taggers_wrote_is_shown_and_what_they_did_not_is_null(self):
        absent = dict.fromkeys(("title", "artist", "album", "albumArtist", "track", "trackCount", "disc", "discCount",
                                "year", "comment", "composer", "v1", "v2"))
        absent |= {"genres": [], "pictures": [], "warnings": [], "layer": 3, "frequency": 44100}
        v1 = {"title": "Old", "artist": "Singer", "album": None, "year": 1999, "comment": None, "track": 7,
              "genre": "Jazz"}
        expected = {
            "plain.mp3": {"encodedBy": None, "channels": 2, "bitRate": 128, "durationFrom": "frames"},
            "lame.mp3": {"title": "Títle", "artist": "Artist", "album": "Album", "track": 3, "trackCount": 12,
                         "year": 2009, "genres": ["Rock"], "comment": "a note", "durationMs": 3000, "seconds": 3,
                         "durationFrom": "xing", "channels": 1, "channelMode": "single channel",
                         "pictures": [self.picture("blue.jpg", "Other", "image/jpeg")]},
            "eyed3.mp3": {"title": "アニメ", "artist": "Å", "albumArtist": "Various", "track": 1, "trackCount": 9,
                          "disc": 1, "discCount": 2, "year": 2001, "genres": ["Rock"], "composer": "C",
                          "pictures": [self.picture("red.png", "Cover (front)", "image/png", "front"),
                                       self.picture("blue.jpg", "Cover (back)", "image/jpeg")]},
            "v1.mp3": {"title": "Old", "artist": "Singer", "year": 1999, "track": 7, "genres": ["Jazz"], "v1": v1}}
        for shown, (name, values) in zip(self.json_on("tag", "show", *expected), expected.items(), strict=True):
            self.assertEqual(list(shown), SHOW_KEYS)
            self.assertEqual(shown["file"], name)
            if name in ("lame.mp3", "eyed3.mp3"):
                del absent["v1"], absent["v2"]
                version = {"lame.mp3": "2.3.0", "eyed3.mp3": "2.4.0"}[name]
                self.assertEqual(shown["v2"]["version"], version)
                tag = (self.files / name).read_bytes()[6:10]
                self.assertEqual(shown["v2"]["tagLength"], tag[0] << 21 | tag[1] << 14 | tag[2] << 7 | tag[3])
                frames = self.json_on("tag", "frames", name)[0]["frames"]
                self.assertEqual(shown["v2"]["frames"], [{key: frame[key] for key in ("id", "size", "flags")}
                                                         for frame in frames])
                self.assertEqual(shown["v2"]["tagLength"],
                                 sum(frame["size"] + 10 for frame in frames) + shown["v2"]["padding"])
            for key, value in (absent | values).items():
                self.assertEqual(shown[key], value, (name, key))
            absent |= {"v1": None, "v2": None}

    def test_a_terminal_gets_lines_that_fit_and_nothing_that_steers_it(self):
        sent = self.on_terminal("tag", "show", "steering.mp3", "lame.mp3")
        self.assertEqual(set(re.findall("\x1b\\[\\d*m", sent)), {"\x1b[1m", "\x1b[0m"})
        plain = re.sub("\x1b\\[\\d*m", "", sent)
        self.assertLessEqual(max(map(len, plain.splitlines())), 60)
        self.assertIn("title         e\\x1b[31mred\\nline www", plain)
        self.assertIn("\n\nfile          lame.mp3\ntitle         Títle\n", plain)
        self.assertNotIn("\x1b", self.run_on("tag", "show", "steering.mp3"), "and a pipe neither")

    def test_names_that_are_not_utf8_are_told_twice(self):
        name = os.fsdecode(b"b\xff\n.mp3")
        os.rename(self.files / "lame.mp3", self.files / name)
        for command in (("info",), ("tag", "show"), ("tag", "frames")):
            shown = self.json_on(*command, name)[0]
            self.assertEqual([shown["file"], shown["fileRaw"]], ["b\ufffd\n.mp3", "b%FF%0A.mp3"])
        self.assertTrue(self.run_on("info", name).startswith("b\ufffd\\n.mp3\t1\t3\t"))


class FramesTest(TagTest):
    def test_each_kind_of_frame_is_told_by_what_it_holds(self):
        frames = {frame.pop("id"): frame for frame in self.json_on("tag", "frames", "odd.mp3")[0]["frames"]}
        expected = {"TXXX": {"description": "key", "text": "value"}, "WCOM": {"url": "http://a.b"},
                    "WXXX": {"description": "page", "url": "http://c.d"},
                    "UFID": {"owner": "http://owner", "text": "a-file-of-mine"},
                    "POPM": {"email": "me@home", "rating": 196, "count": 5}, "PCNT": {"count": 7},
                    "COMM": {"language": "deu", "description": "about", "text": "words"},
                    "GEOB": {"mime": "text/plain", "description": "note", "bytes": 16}}
        for identifier, values in expected.items():
            frame = frames[identifier]
            self.assertEqual({key: frame[key] for key in values}, values)
            self.assertTrue(frame["name"])
        lines = self.run_on("tag", "frames", "odd.mp3").splitlines()
        for words in ("TXXX +user text +\\d+  key: value", "WXXX +user page +\\d+  page: http://c.d",
                      "POPM +rating +\\d+  me@home: 196 of 255", "COMM +comment +\\d+  about: words"):
            self.assertTrue(any(re.fullmatch(words, line) for line in lines), (words, lines))

    def test_several_files_have_headings_and_those_without_a_tag_say_so(self):
        output = self.run_on("tag", "frames", "plain.mp3", "lame.mp3")
        self.assertTrue(output.startswith("plain.mp3\nno ID3v2 tag\n\nlame.mp3\nID3v2.3.0, "), output)
        self.assertEqual(self.json_on("tag", "frames", "plain.mp3"),
                         [{"file": "plain.mp3", "version": None, "frames": [], "warnings": []}])


class InfoTest(TagTest):
    def test_block_table_tabs_and_json_tell_the_same(self):
        facts = self.json_on("info", "lame.mp3")[0]
        self.assertEqual(list(facts), ["file", *AUDIO_KEYS, "warnings"])
        self.assertRegex(facts["hash"], "^[0-9a-f]{32}$")
        rate, frames = facts["bitRate"], facts["frameCount"]
        self.assertEqual(self.run_on("info", "lame.mp3"), f"lame.mp3\t1\t3\t{rate}\t44100\tsingle channel\t3.000\txing"
                                                          f"\t{frames}\t{facts['hash']}\t\n")
        plain = re.sub("\x1b\\[\\d*m", "", self.on_terminal("info", "lame.mp3"))
        self.assertEqual(re.sub(" +", " ", plain),
                         f"file lame.mp3\naudio MPEG 1, Layer 3\nbit rate {rate} kbit/s\nfrequency 44100 Hz\nchannels "
                         f"single channel\nduration 0:03.000 (by Xing header)\nframes {frames}\nfingerprint "
                         f"{facts['hash']}\n")
        table = self.on_terminal("info", "lame.mp3", "cut.mp3", columns=90).splitlines()
        self.assertEqual(table[0].removeprefix("\x1b[1m").split()[:3], ["Time", "kbit/s", "Hz"])
        self.assertEqual(table[1].split(), ["0:03", str(rate), "44100", "single", "channel", "1", "Layer", "3", "xing",
                                            "lame.mp3"])
        self.assertEqual(table[2].split(), ["cut.mp3"])
        self.assertIn("\x1b[33mwarning: ", table[3])

    def test_what_is_broken_is_shown_with_warnings_and_nothing_on_standard_error(self):
        for name in ("cut.mp3", "lying.mp3"):
            for command in (("info",), ("tag", "show"), ("tag", "frames")):
                warnings = self.json_on(*command, name)[0]["warnings"]
                self.assertTrue(warnings and all(warnings), (name, command))
                output = self.run_on(*command, name)
                for warning in warnings:
                    self.assertIn(warning, output)
                self.assertEqual(self.errors, "")
        cut = self.json_on("info", "cut.mp3")[0]
        self.assertEqual([cut[key] for key in AUDIO_KEYS], [None] * len(AUDIO_KEYS))

    def test_what_cannot_be_read_is_one_line_and_the_rest_is_done(self):
        (self.files / "empty.mp3").touch()
        (self.files / "noise.mp3").write_bytes(b"no music here" * 100)
        (self.files / "link.mp3").symlink_to("nowhere")
        (self.files / "hollow").mkdir()
        os.mkfifo(self.files / "fifo.mp3")
        reasons = {"missing.mp3": "no such file", "empty.mp3": "is empty", "fifo.mp3": "is not a regular file",
                   "noise.mp3": "has neither MPEG audio nor a tag", "link.mp3": "is a link to nothing",
                   "hollow": "no .mp3 file is in this folder", "/dev/null": "is not a regular file",
                   "lame.mp3/x": "no such file"}
        if os.geteuid() != 0:
            (self.files / "locked.mp3").touch(0o000)
            reasons["locked.mp3"] = "cannot be read: Permission denied"
        for command in (("info",), ("tag", "show"), ("tag", "frames")):
            shown = self.json_on(*command, "lame.mp3", *reasons, "plain.mp3", status=1)
            self.assertEqual([one["file"] for one in shown], ["lame.mp3", "plain.mp3"])
            self.assertEqual(self.errors.splitlines(), [f"quillet: {name}: {why}" for name, why in reasons.items()])
        self.run_on("info", "hollow", "hollow", status=3)
        self.run_on("info", "hollow", "missing.mp3", status=1)

    def test_folders_are_walked_in_order_for_mp3_files_alone(self):
        for name in ("music/b.MP3", "music/a/2.mp3", "music/a/10.Mp3", "music/.hidden.mp3", "music/c.m4a",
                     "music/z.mp3"):
            (self.files / name).parent.mkdir(parents=True, exist_ok=True)
            (self.files / name).write_bytes((self.files / "plain.mp3").read_bytes())
        (self.files / "music/loop").symlink_to("..")
        os.mkfifo(self.files / "music/fifo.mp3")
        in_order = ["music/a/10.Mp3", "music/a/2.mp3", "music/b.MP3", "music/z.mp3"]
        for jobs in ("1", "7"):
            listed = [one["file"] for one in self.json_on("info", "--jobs", jobs, "v1.mp3", "music", "music/c.m4a")]
            self.assertEqual(listed, ["v1.mp3", *in_order, "music/c.m4a"])

    def test_many_files_come_in_the_order_given_whatever_the_jobs(self):
        names = ["lame.mp3", "missing", "eyed3.mp3", "cut.mp3", "v1.mp3"] * 60
        outputs = [self.run_on("--json", "tag", "show", "--jobs", jobs, *names, status=1) for jobs in ("1", "2", "16")]
        self.assertEqual([json.loads(line)["file"] for line in outputs[0].splitlines()],
                         [name for name in names if name != "missing"])
        self.assertEqual(set(outputs), {outputs[0]})

    def start_many(self):
        return subprocess.Popen([BINARY, "tag", "show", "--json", *["lame.mp3"] * 2000], cwd=self.files,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, errors="replace")

    def test_a_reader_that_has_enough_ends_it_without_a_word(self):
        with self.start_many() as process:
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.stderr.read(), "")
            self.assertNotIn(process.wait(harness.LONGEST), (0, -signal.SIGPIPE))

    def test_an_interrupt_ends_it_with_its_status(self):
        with self.start_many() as process:
            process.stdout.readline()  # and more waits than a pipe takes: it cannot have ended
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=harness.LONGEST)
            self.assertEqual(process.returncode, 130, errors)
            self.assertIn("interrupted", errors)
            self.assertLess(len(output.splitlines()), 1999)

    def test_wrong_usage_is_one_line_and_help_has_examples(self):
        for wrong in (["info"], ["tag"], ["tag", "lame.mp3"], ["tag", "show"], ["tag", "cover", "lame.mp3"],
                      ["tag", "cover", "lame.mp3", "-o", ""], ["info", "--jobs", "0", "lame.mp3"],
                      ["info", "--jobs", "x", "lame.mp3"], ["tag", "frames", "--frames", "lame.mp3"]):
            self.assertEqual(self.run_on(*wrong, status=2), "")
            self.assertEqual(len(self.errors.splitlines()), 1, (wrong, self.errors))
        for command in ([], ["info"], ["tag"], ["tag", "show"], ["tag", "frames"], ["tag", "cover"]):
            self.assertIn(f"\n  quillet {' '.join(command)}", self.run_on(*command, "--help"))


class CoverTest(TagTest):
    def test_the_first_picture_is_written_whole_and_over_nothing_unasked(self):
        out, red = self.files / "cover.out", (self.files / "red.png").read_bytes()
        self.assertEqual(self.run_on("tag", "cover", "eyed3.mp3", "-o", "cover.out"),
                         f"eyed3.mp3: wrote cover.out, {len(red)} bytes\n")
        self.assertEqual(out.read_bytes(), red)
        out.write_bytes(b"mine")
        self.run_on("tag", "cover", "eyed3.mp3", "-o", "cover.out", status=1)
        self.assertEqual((out.read_bytes(), len(self.errors.splitlines())), (b"mine", 1))
        (self.files / "link.out").symlink_to("cover.out")
        self.assertEqual(self.json_on("tag", "cover", "eyed3.mp3", "-o", "link.out", "--force"),
                         [{"file": "eyed3.mp3", "output": "link.out", "type": "Cover (front)", "mime": "image/png",
                           "description": "front", "bytes": len(red), "md5": hashlib.md5(red).hexdigest(),
                           "warnings": []}])
        self.assertEqual((out.read_bytes(), (self.files / "link.out").is_symlink()), (red, True))
        done = subprocess.run([BINARY, "tag", "cover", "eyed3.mp3", "-o", "-"], cwd=self.files, capture_output=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, red, b""))

    def test_covers_of_several_files_go_to_a_folder_each_under_its_own_name(self):
        (self.files / "out").mkdir()
        (self.files / "other").mkdir()
        os.rename(self.files / "lame.mp3", self.files / "other/eyed3.b.mp3")
        (self.files / "other/eyed3.mp3").write_bytes((self.files / "eyed3.mp3").read_bytes())
        for force in ([], ["--force"]):
            done = self.json_on("tag", "cover", *force, "eyed3.mp3", "plain.mp3", "other", "-o", "out", status=1)
            self.assertEqual([one["output"] for one in done], ["out/eyed3.png", "out/eyed3.b.jpg"])
            self.assertEqual(self.errors.splitlines(), [
                "quillet: plain.mp3: has no picture",
                "quillet: other/eyed3.mp3: out/eyed3.png was written for another file already"])
            if not force:
                self.json_on("tag", "cover", "eyed3.mp3", "other/eyed3.b.mp3", "-o", "out", status=1)
                self.assertEqual(self.errors.count("is there already"), 2)
        self.assertEqual({path.name: path.read_bytes() for path in (self.files / "out").iterdir()},
                         {"eyed3.png": (self.files / "red.png").read_bytes(),
                          "eyed3.b.jpg": (self.files / "blue.jpg").read_bytes()})

    def test_a_place_that_is_none_for_a_cover_is_left_alone(self):
        audio = {name: (self.files / name).read_bytes() for name in ("lame.mp3", "v1.mp3")}
        for status, arguments in ((1, ["lame.mp3", "-o", "lame.mp3", "--force"]),
                                  (1, ["lame.mp3", "-o", "v1.mp3", "--force"]),
                                  (1, ["lame.mp3", "-o", "/dev/null", "--force"]),
                                  (1, ["lame.mp3", "-o", "no/such.jpg"]), (1, ["plain.mp3", "-o", "x.jpg"]),
                                  (1, ["missing.mp3", "-o", "x.jpg"]), (2, ["lame.mp3", "v1.mp3", "-o", "x.jpg"]),
                                  (2, ["lame.mp3", "v1.mp3", "-o", "-"]), (2, [".", "-o", "x.jpg"]),
                                  (2, ["--json", "lame.mp3", "-o", "-"])):
            self.assertEqual(self.run_on("tag", "cover", *arguments, status=status), "")
            self.assertEqual(len(self.errors.splitlines()), 1, arguments)
        for name, content in audio.items():
            self.assertEqual((self.files / name).read_bytes(), content)
        self.assertEqual([path.name for path in self.files.iterdir() if path.name.startswith((".", "x"))], [])


if __name__ == "__main__":
    harness.main()
