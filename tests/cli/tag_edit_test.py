"""`tag set`, `copy`, `convert` and `drop`, run as a user runs them. What they wrote is read by other programs; the audio
must be the same bytes whatever happens."""

import hashlib
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile

import harness
from harness import BINARY, SAMPLES, RootTest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "id3"))
import oracles  # noqa: E402
from tag_cases import JPEG, PNG  # noqa: E402
from tag_files import Frame, comment, compressed, picture, tag, text, v1  # noqa: E402

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


class SetTest(EditTest):
    NEW = {"title": "Før 夜明け", "artist": "New artist", "album": "Ålbum", "albumArtist": "Various",
           "composer": "C. Omposer", "comment": "a note\nof two lines", "year": 2009, "track": 7, "trackCount": 9,
           "disc": 1, "discCount": 2, "genres": ["Rock", "Own genre"]}
    WISH = ["--title", NEW["title"], "--artist", NEW["artist"], "--album", NEW["album"], "--album-artist",
            NEW["albumArtist"], "--composer", NEW["composer"], "--comment", NEW["comment"], "--year", "2009",
            "--track", "7/9", "--disc", "1/2", "--genre", "Rock", "--genre", "Own genre", "--cover", "cover.png"]

    def test_what_is_set_is_read_by_all_programs_from_every_kind_of_file(self):
        fronts = {"none.mp3": b"", "2.2.mp3": tag(2, text("TIT2", "Old"), padding=9), "2.3.mp3": self.tagged,
                  "2.4.mp3": tag(4, text("TIT2", "Old", "UTF-8"), padding=3000)}
        for end in (b"", self.record):
            for name, front in fronts.items():
                path = self.put(name, front, end)
                file = path.stat().st_ino
                done = self.json_on("set", *self.WISH, name)[0]
                self.assertEqual([done["saved"], done["how"]],
                                 [True, "inPlace" if path.stat().st_ino == file else "rewritten"], name)
                self.assert_audio(path)
                self.assert_says(path, **self.NEW)
                shown = self.show(name)
                self.assertEqual(shown["v2"]["version"][:3], name[:3] if front else "2.3")
                self.assertEqual(shown["pictures"][0], {"type": "Cover (front)", "mime": "image/png",
                                 "description": None, "bytes": len(PNG), "md5": hashlib.md5(PNG).hexdigest()})
                self.assertEqual(shown["v1"] is None, not end)
                if end:
                    self.assertEqual({key: shown["v1"][key] for key in ("artist", "year", "track", "genre")},
                                     {"artist": "New artist", "year": 2009, "track": 7, "genre": "Rock"})

    def test_an_empty_value_takes_its_field_away_and_the_rest_stays_as_it_was(self):
        path = self.put("a.mp3", self.tagged, self.record)
        before = raw_frames(path.read_bytes())
        empty = [part for name in ("title", "artist", "year", "track", "comment", "genre", "album", "composer")
                 for part in (f"--{name}", "")]
        self.tag_on("set", *empty, "a.mp3")
        kept = raw_frames(path.read_bytes())
        self.assertEqual(sorted(kept), sorted(frame for frame in before if frame[:4] in (b"APIC", b"PRIV") or
                                              b"iTunNORM" in frame))
        self.assert_says(path, title=None, artist=None, year=None, track=None, genres=[], comment=None)
        self.assertEqual(set(self.show("a.mp3")["v1"].values()), {None})
        self.assert_audio(path)

    def test_frames_that_are_not_named_stay_byte_for_byte(self):
        odd = [compressed(text("TPE3", "w" * 300), 4), Frame("TCOM", b"\x05secret", flags=0x0044),
               Frame("XABC", bytes(range(256))), Frame("PRIV", b"o\0\xff\x00\xff\xe0"), text("TPE1", "a", "UTF-16BE")]
        path = self.put("a.mp3", tag(4, text("TIT2", "Old"), *odd, padding=200))
        before = raw_frames(path.read_bytes())
        for title in ("In place", "Rewritten " * 100):
            self.tag_on("set", "--title", title, "a.mp3")
            self.assertEqual([frame for frame in sorted(raw_frames(path.read_bytes())) if frame[:4] != b"TIT2"],
                             sorted(before[1:]), title[:9])
            self.assert_audio(path)

    def test_the_cover_takes_the_place_of_the_cover_alone(self):
        path = self.put("a.mp3", self.tagged)
        singer = {"type": "Artist/performer", "mime": "image/png", "description": "the singer"}
        for image, data in (("cover.png", PNG), ("other.jpg", JPEG)):
            self.tag_on("set", "--cover", image, "a.mp3")
            pictures = self.show("a.mp3")["pictures"]
            self.assertEqual([one["md5"] for one in pictures],
                             [hashlib.md5(data).hexdigest(), hashlib.md5(PNG).hexdigest()])
            self.assertLessEqual(singer.items(), pictures[1].items())
            self.assertEqual(len(oracles.of_mutagen(path)["pictures"]), 2)
        self.tag_on("set", "--cover", "none", "a.mp3")
        self.assertEqual(self.show("a.mp3")["pictures"], [])
        self.assert_audio(path)

    def test_any_frame_of_text_can_be_set_by_its_identifier(self):
        path = self.put("a.mp3", self.tagged, self.record)
        wish = ["TBPM=120", "TXXX=mood=calm=er", "TXXX==nameless", "WOAR=http://a.b/?c=d", "WXXX=höme=http://x",
                "USLT=d=lines\nof 夜", "COMM=about=ünï", "TPE4=", "TT3=Subtitle", "TIT2=By frame", "TYER=2003"]
        self.tag_on("set", *(part for one in wish for part in ("--frame", one)), "a.mp3")
        frames = self.json_on("frames", "a.mp3")[0]["frames"]
        for identifier, values in (("TBPM", {"text": "120"}), ("TXXX", {"description": "mood", "text": "calm=er"}),
                                   ("TXXX", {"description": None, "text": "nameless"}), ("TIT3", {"text": "Subtitle"}),
                                   ("WOAR", {"url": "http://a.b/?c=d"}), ("WXXX", {"description": "höme",
                                                                                  "url": "http://x"}),
                                   ("USLT", {"description": "d", "language": "eng", "text": "lines\nof 夜"}),
                                   ("COMM", {"description": "about", "text": "ünï"}), ("COMM", {"text": "words"})):
            self.assertTrue(any(frame["id"] == identifier and values.items() <= frame.items() for frame in frames),
                            (identifier, frames))
        self.assertNotIn("TPE4", [frame["id"] for frame in frames])
        self.assertEqual([self.show("a.mp3")["v1"][key] for key in ("title", "year")], ["By frame", 2003])
        self.tag_on("set", "--frame", "TXXX=mood=", "--frame", "WOAR=", "a.mp3")
        left = [(frame["id"], frame.get("description")) for frame in self.json_on("frames", "a.mp3")[0]["frames"]]
        self.assertIn(("TXXX", None), left)
        self.assertFalse({("TXXX", "mood"), ("WOAR", None)} & set(left))
        self.assert_audio(path)

    def test_a_number_alone_keeps_its_total_and_a_full_date_its_year(self):
        path = self.put("a.mp3", tag(4, text("TRCK", "3/12"), text("TPOS", "1/2"), text("TDRC", "2001-04-05")))
        self.tag_on("set", "--track", "4", "--disc", "2/3", "--year", "2001", "a.mp3")
        self.assert_says(path, track=4, trackCount=12, disc=2, discCount=3, year=2001)
        self.assertIn(text("TDRC", "2001-04-05").laid(4), raw_frames(path.read_bytes()))

    def test_a_v1_tag_alone_is_copied_before_something_is_set(self):
        path = self.put("a.mp3", end=self.record)
        self.tag_on("set", "--album", "An album", "a.mp3")
        self.assert_says(path, title="Old", artist="Singer", album="An album", year=1998, track=3, comment="words",
                         genres=["Rock"])
        self.assertEqual(self.show("a.mp3")["v1"]["album"], "An album")
        self.assert_audio(path)


class OtherCommandsTest(EditTest):
    def test_copies_go_both_ways(self):
        path = self.put("old.mp3", end=self.record)
        self.tag_on("copy", "v1-to-v2", "old.mp3")
        self.assertEqual(path.read_bytes()[-128:], self.record)
        self.assert_says(path, title="Old", artist="Singer", year=1998, track=3, genres=["Rock"], comment="words")
        long = "A title of more than thirty characters"
        path = self.put("new.mp3", tag(4, text("TIT2", long, "UTF-8"), text("TCON", "Jazz"), text("TRCK", "5/6")))
        front = path.read_bytes()[:tag_length(path.read_bytes())]
        self.tag_on("copy", "v2-to-v1", "new.mp3")
        self.assertEqual(path.read_bytes(), front + self.audio + v1(long[:30], track=5, genre=8))
        whole = path.read_bytes()
        self.tag_on("copy", "v1-to-v2", "new.mp3")
        self.assertEqual(path.read_bytes(), whole, "a title that was cut takes no whole one's place")
        self.tag_on("copy", "v2-to-v1", "old.mp3", "new.mp3")
        self.tag_on("copy", "v1-to-v2", "none.mp3", "new.mp3", status=1)
        self.put("none.mp3")
        for way, kind in (("v1-to-v2", "ID3v1"), ("v2-to-v1", "ID3v2")):
            self.tag_on("copy", way, "none.mp3", status=1)
            self.assertEqual(self.errors, f"quillet: none.mp3: has no {kind} tag\n")

    def test_a_conversion_keeps_what_has_an_equivalent_and_names_what_is_lost(self):
        values = {"title": "Før 夜", "artist": "Singer", "albumArtist": "Various", "track": 3, "trackCount": 12,
                  "year": 2001, "comment": "a nöte", "genres": ["Rock"]}
        frames = [text("TIT2", "Før 夜", "UTF-8"), text("TPE1", "Singer"), text("TPE2", "Various"),
                  text("TRCK", "3/12"), text("TDRC", "2001-04-05"), text("TCON", "Rock"), comment("a nöte"),
                  picture(PNG), text("TMOO", "calm"), Frame("PRIV", b"me\0\1\2")]
        path = self.put("a.mp3", tag(4, *frames), self.record)
        plan = self.tag_on("convert", "--to", "2.2", "--dry-run", "a.mp3")
        for line in ("v2 tag: ID3v2.4.0 -> ID3v2.2.0", "v2 TT2 title (was TIT2): Før 夜",
                     "v2 TYE year (was TDRC): 2001-04-05 -> 2001", "v2 TMOO mood: calm -> (absent)"):
            self.assertIn(f"\n  {line}\n", plan)
        self.assertRegex(plan, r"\n  lost TMOO mood: .+\n")
        self.assertEqual(self.show("a.mp3")["v2"]["version"], "2.4.0")
        for version, lost in (("2.3", ["TMOO"]), ("2.2", ["PRIV"]), ("2.4", []), ("2.2", []), ("2.3", [])):
            done = self.json_on("convert", "--to", version, "a.mp3")[0]
            self.assertEqual([loss["id"] for loss in done["lost"]], lost)
            self.assertEqual(self.show("a.mp3")["v2"]["version"], version + ".0")
            self.assert_says(path, **values)
            self.assertEqual(self.show("a.mp3")["pictures"][0]["md5"], hashlib.md5(PNG).hexdigest())
            self.assert_audio(path)
            self.assertEqual(path.read_bytes()[-128:], self.record)
            self.assertIn("nothing to change", self.tag_on("convert", "--to", version, "a.mp3"))
        self.put("none.mp3")
        self.tag_on("convert", "--to", "2.4", "none.mp3", status=1)
        self.assertEqual(self.errors, "quillet: none.mp3: has no tag\n")

    def test_a_dropped_tag_is_gone_and_nothing_else(self):
        path = self.put("a.mp3", self.tagged, self.record)
        self.assertIn("v2 TIT2 title: Old -> (absent)", self.tag_on("drop", "v2", "--dry-run", "a.mp3"))
        self.assertEqual(self.tag_on("drop", "v2", "a.mp3"), "a.mp3: ID3v2 tag dropped (rewritten)\n")
        self.assertEqual(path.read_bytes(), self.audio + self.record)
        self.assertEqual(self.tag_on("drop", "v1", "a.mp3"), "a.mp3: ID3v1 tag dropped (in place)\n")
        self.assertEqual(path.read_bytes(), self.audio)
        for which in ("v1", "v2"):
            self.assertEqual(self.tag_on("drop", which, "a.mp3"), "a.mp3: nothing to change\n")


class ManyTest(EditTest):
    def test_what_changes_nothing_or_runs_dry_does_not_touch_the_file(self):
        path = self.put("a.mp3", self.tagged, self.record)
        before = path.stat()
        for arguments in (["set", "--title", "Old", "--track", "3/12", "--comment", "words", "--year", "1998"],
                          ["set", "--cover", "other.jpg"], ["convert", "--to", "2.3"]):
            self.assertEqual(self.tag_on(*arguments, "a.mp3"), "a.mp3: nothing to change\n")
            self.assertEqual(self.json_on(*arguments, "a.mp3"), [{"file": "a.mp3", "changes": [], "lost": [],
                             "saved": False, "how": "unchanged", "warnings": []}])
        self.assertEqual(self.tag_on("set", "--title", "New", "--artist", "", "--disc", "2", "--dry-run", "a.mp3"),
                         "a.mp3:\n  v2 TIT2 title: Old -> New\n  v2 TPE1 artist: Singer -> (absent)\n"
                         "  v2 TPOS disc: (absent) -> 2\n  v1 title: Old -> New\n  v1 artist: Singer -> (absent)\n")
        dry = self.json_on("set", "--title", "New", "--dry-run", "a.mp3")[0]
        self.assertEqual(dry["changes"], [{"tag": "v2", "id": "TIT2", "before": "Old", "after": "New"},
                                          {"tag": "v1", "id": "title", "before": "Old", "after": "New"}])
        self.assertEqual([dry["saved"], dry["how"]], [False, None])
        self.assertEqual(path.stat()[:9], before[:9])
        self.assertEqual(path.stat().st_ctime_ns, before.st_ctime_ns)

    def test_times_links_and_modes_stay(self):
        path = self.put("a.mp3", self.tagged)
        path.chmod(0o640)
        os.utime(path, ns=(10**18, 10**18 + 7))
        for title in ("Shrt", "Long " * 300):
            self.tag_on("set", "--keep-mtime", "--no-sync", "--title", title, "a.mp3")
            self.assertEqual((path.stat().st_mtime_ns, stat.S_IMODE(path.stat().st_mode)), (10**18 + 7, 0o640))
        (self.files / "link.mp3").symlink_to("a.mp3")
        self.tag_on("set", "--title", "By link", "--comment", "w" * 2000, "link.mp3")
        self.assertTrue((self.files / "link.mp3").is_symlink())
        self.assert_says(path, title="By link")
        os.link(path, self.files / "second.mp3")
        old = path.read_bytes()
        for option in ([], ["--dry-run"]):
            self.tag_on("set", "--title", "x", *option, "a.mp3", status=1)
            self.assertIn("has 2 names (hard links)", self.errors)
        self.tag_on("set", "--title", "x", "--break-links", "a.mp3")
        self.assertEqual((self.files / "second.mp3").read_bytes(), old)
        self.assert_says(path, title="x")

    def test_folders_are_walked_and_one_failure_leaves_the_others_done(self):
        for name in ("music/2.mp3", "music/a/1.MP3", "music/.hidden.mp3", "music/c.ogg"):
            (self.files / name).parent.mkdir(parents=True, exist_ok=True)
            self.put(name, self.tagged)
        (self.files / "music/noise.mp3").write_bytes(b"no music" * 999)
        (self.files / "hollow").mkdir()
        output = self.tag_on("set", "--title", "All", "music", "gone.mp3", status=1)
        self.assertEqual(output, "music/2.mp3: title saved (in place)\nmusic/a/1.MP3: title saved (in place)\n")
        self.assertEqual(self.errors.splitlines(), ["quillet: music/noise.mp3: has neither MPEG audio nor a tag",
                                                    "quillet: gone.mp3: no such file"])
        self.tag_on("set", "--title", "All", "hollow", status=3)
        name = os.fsdecode(b"b\xff\n.mp3")
        self.put(name, self.tagged)
        self.assertEqual(self.json_on("set", "--title", "x", name)[0]["fileRaw"], "b%FF%0A.mp3")

    def test_an_interrupt_ends_it_between_two_files(self):
        path = self.put("a.mp3", self.tagged)
        with subprocess.Popen([BINARY, "tag", "set", "--json", "--title", "New", *["a.mp3"] * 3000], cwd=self.files,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
            process.stdout.readline()  # and more waits than a pipe takes: it cannot have ended
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=harness.LONGEST)
        self.assertEqual(process.returncode, 130, errors)
        self.assertIn("interrupted", errors)
        self.assertLess(len(output.splitlines()), 2999)
        self.assert_audio(path)

    def test_a_terminal_gets_a_progress_bar_over_many_files(self):
        names = [self.put(f"{number}.mp3", self.tagged).name for number in range(5)]
        terminal, end = pty.openpty()
        subprocess.run([BINARY, "tag", "set", "--title", "New", *names], cwd=self.files, stdout=subprocess.DEVNULL,
                       stderr=end, check=True)
        os.close(end)
        self.assertRegex(os.read(terminal, 65536).decode(), "saving .*5/5")
        os.close(terminal)


class RefusalTest(EditTest):
    def refused(self, path, reason, *arguments, **options):
        before = path.read_bytes()
        output = self.tag_on(*(arguments or ("set", "--title", "New")), path.name, status=1, **options)
        self.assertEqual(output, "")
        self.assertRegex(self.errors, rf"\Aquillet: {re.escape(path.name)}: {reason}[^\n]*\n\Z")
        self.assertEqual(path.read_bytes(), before)

    def test_files_of_other_formats_are_refused_by_what_they_hold(self):
        beginnings = {"fLaC\0\0\0\x22": "a FLAC file", "OggS\0\2": "an Ogg file", "RIFF\x24\0\0\0WAVEfmt ": "a RIFF",
                      "FORM\0\0\0\x24AIFF": "an AIFF", "0&\xb2u\x8ef\xcf\x11": "an ASF", "\x1aE\xdf\xa3": "a Matroska",
                      "\0\0\0\x20ftypM4A ": "an MP4", "MAC ": "a Monkey's", "wvpk": "a WavPack", "PK\3\4": "a ZIP",
                      "\xff\xd8\xff\xe0": "a JPEG"}
        for beginning, name in beginnings.items():
            for front in (b"", tag(3, text("TIT2", "Old"), padding=99)):
                # Even where the tag, or something in the container, is MPEG audio to whoever searches for it.
                path = self.put("named.mp3", front + beginning.encode("latin-1") + bytes(30))
                for option in ([], ["--force"]):
                    self.refused(path, f"is {name}", "set", "--title", "New", *option)
        for sample in ("morning.m4a", "untagged.m4a"):
            path = pathlib.Path(self.sample(sample, "sample.mp3"))
            for arguments in (["set", "--title", "x"], ["drop", "v2"], ["copy", "v1-to-v2"], ["convert", "--to", "2.4"]):
                self.refused(path, "is an MP4 file", *arguments)

    def test_what_has_no_mpeg_audio_needs_a_tag_and_force(self):
        self.refused(self.put("empty.mp3", audio=b""), "is empty")
        self.refused(self.put("text.mp3", audio=b"no music here" * 300), "has neither", "set", "--year", "1", "--force")
        aac = pathlib.Path(self.sample("stream.aac"))
        for path in (self.put("tag.mp3", self.tagged, audio=b""), aac):
            audio = audio_of(path.read_bytes())
            self.refused(path, "no MPEG audio was found in it; --force ")
            self.tag_on("set", "--title", "New", "--force", path.name)
            self.assertEqual(self.show(path.name)["title"], "New")
            self.assert_audio(path, audio)

    def test_a_tag_that_was_not_read_faithfully_needs_force(self):
        lying = tag(3, text("TIT2", "Old"), Frame("TALB", b"\0cut", size=5000), padding=300)
        path = self.put("lying.mp3", lying)
        for arguments in (["set", "--title", "New"], ["convert", "--to", "2.4"], ["set", "--title", "x", "--dry-run"]):
            self.refused(path, "its tag was not read faithfully: .+; it cannot be told where", *arguments)
            self.refused(path, "it cannot be told where", *arguments, "--force")
        # A length that runs into the audio: what is behind the frames is kept, whatever the header says.
        path = self.put("long.mp3", tag(3, text("TIT2", "Old"), padding=20, size=5000))
        self.refused(path, "its tag was not read faithfully: .+; --force")
        content = path.read_bytes()
        self.run_quillet("tag", "set", "--force", "--title", "N" * 40, path, status=0)
        self.assertTrue(path.read_bytes().endswith(self.audio), "no byte of audio is gone")
        self.assertNotEqual(path.read_bytes(), content)

    def test_images_and_frames_that_cannot_be_are_told(self):
        path = self.put("a.mp3", self.tagged)
        (self.files / "words.jpg").write_text("not an image")
        (self.files / "empty.png").touch()
        (self.files / "large.png").write_bytes(PNG + bytes(10_000_000))
        (self.files / "edge.png").write_bytes(PNG + bytes(10_000_000 - len(PNG)))
        before = path.read_bytes()
        for image, reason in (("words.jpg", "is no image"), ("empty.png", "is empty"), ("large.png", "is larger than"),
                              ("missing.png", "no such file"), (".", "is a folder"), ("/dev/zero", "is not a regular")):
            self.assertEqual(self.tag_on("set", "--cover", image, "a.mp3", status=1), "")
            self.assertRegex(self.errors, rf"\Aquillet: {re.escape(image)}: {reason}[^\n]*\n\Z")
        self.assertEqual(path.read_bytes(), before)
        self.refused(path, "with this picture a frame would be larger than", "set", "--cover", "edge.png")
        for frame, reason in (("XYZW=1", "there is no frame XYZW"), ("TMOO=1", "there is no frame TMOO in ID3v2.3"),
                              ("APIC=1", "frame APIC is none of text"), ("WOAR=夜", "frame WOAR cannot hold")):
            self.refused(path, reason, "set", "--title", "New", "--frame", frame)

    def test_wrong_usage_is_told_before_any_file_is_touched(self):
        path = self.put("a.mp3", self.tagged)
        before = path.read_bytes(), path.stat().st_ctime_ns
        numbers = [[f"--{name}", value] for name in ("track", "disc")
                   for value in ("x/y", "0", "-1", "3/", "/3", "65536", "1/65536", "1/2/3", "3/x", " 3", "+3")]
        years = [["--year", year] for year in ("99999", "abc", "0", "-5", "2001-02-03", "1e3")]
        frames = [["--frame", frame] for frame in ("TIT2", "=x", "tit2=x", "TI=x", "TXXX=text", "LONGER=x")]
        for wish in (*numbers, *years, *frames, [], ["--title", "a", "--title", "b"], ["--title", "\udcff"],
                     ["--frame", "TBPM=1", "--frame", "TBPM=2"], ["--frame", "TIT2=1", "--title", "2"], ["--cover"]):
            self.assertEqual(self.tag_on("set", "a.mp3", *wish, status=2), "", wish)
            self.assertRegex(self.errors, r"\Aquillet: [^\n]+; see quillet tag set --help\n\Z")
        for wrong in (["convert", "a.mp3"], ["convert", "--to", "2.5", "a.mp3"], ["copy", "a.mp3"], ["drop", "v3", "a.mp3"],
                      ["copy", "v1-to-v3", "a.mp3"], ["drop", "v1"], ["set", "--title", "x"]):
            self.tag_on(*wrong, status=2)
            self.assertEqual(len(self.errors.splitlines()), 1, wrong)
        self.assertEqual((path.read_bytes(), path.stat().st_ctime_ns), before)
        for command in ("set", "copy", "convert", "drop"):
            self.assertIn(f"\n  quillet tag {command} ", self.tag_on(command, "--help"))

    def test_a_disk_that_takes_no_more_leaves_the_old_file(self):
        path = self.put("a.mp3", self.tagged)

        def shrink():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (len(self.audio) // 2, len(self.audio) // 2))
        for arguments in (["set", "--comment", "w" * 3000], ["drop", "v2"]):
            self.refused(path, "cannot be written: ", *arguments, preexec_fn=shrink)

    def test_a_file_or_folder_that_must_not_be_written_stays(self):
        as_nobody = {}
        if os.geteuid() == 0:
            as_nobody = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
            for folder in (self.base, self.files):
                folder.chmod(0o755)
        path = self.put("a.mp3", self.tagged)
        path.chmod(0o444)
        for arguments in (["set", "--title", "New"], ["set", "--comment", "w" * 3000], ["drop", "v2"]):
            self.refused(path, "cannot be written: Permission denied", *arguments, **as_nobody)
        path.chmod(0o666)
        self.files.chmod(0o555)
        try:
            self.refused(path, "cannot be written: Permission denied", "set", "--comment", "w" * 3000, **as_nobody)
            self.tag_on("set", "--title", "New", "a.mp3", **as_nobody)  # in place asks nothing of the folder
        finally:
            self.files.chmod(0o755)
        self.assertEqual(self.show("a.mp3")["title"], "New")
        self.assert_audio(path)


class SampleTest(EditTest):
    def test_the_samples_can_be_edited_again_and_again(self):
        for sample in ("bars.mp3", "old-label.mp3"):
            path = pathlib.Path(self.sample(sample))
            audio = audio_of((SAMPLES / sample).read_bytes())
            for number in range(1, 6):
                self.tag_on("set", "--track", str(number), "--title", "Part " * 40 * number, sample)
                self.tag_on("copy", "v2-to-v1", sample)
                self.tag_on("convert", "--to", f"2.{2 + number % 3}", sample)
                self.assert_audio(path, audio)
                self.assert_says(path, track=number, title=("Part " * 40 * number))
            self.tag_on("drop", "v1", sample)
            self.tag_on("drop", "v2", sample)
            self.assertEqual(path.read_bytes(), audio)


if __name__ == "__main__":
    harness.main()
