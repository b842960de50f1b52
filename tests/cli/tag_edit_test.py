"""`tag set`, `copy`, `convert` and `drop`, run as a user runs them. What they wrote is read by other programs; the audio
must be the same bytes whatever happens."""

import hashlib
import os
import pathlib
import pty
import signal
import stat
import subprocess

import harness
from edit_harness import EditTest, audio_of, raw_frames, tag_length  # finds the modules of tests/id3 too
from harness import BINARY, SAMPLES
import oracles  # noqa: E402
from tag_cases import JPEG, PNG  # noqa: E402
from tag_files import Frame, comment, compressed, picture, tag, text, v1  # noqa: E402


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
