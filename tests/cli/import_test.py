"""`import` and `library`, run as a user runs them."""

import hashlib
import json
import os
import pathlib
import plistlib
import resource
import sqlite3
import subprocess
import unittest

import harness
from harness import BINARY, SAMPLES, RootTest

AUDIO = sorted(path for path in SAMPLES.iterdir() if path.suffix in (".m4a", ".mp3", ".aac"))


def ffprobe(path):
    output = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", "-show_format", "-count_packets", "-show_streams",
                             path], capture_output=True, check=True).stdout
    return json.loads(output)


def decoded_seconds(path):
    rate = 8000
    sound = subprocess.run(["ffmpeg", "-v", "quiet", "-i", path, "-f", "u8", "-ac", "1", "-ar", str(rate), "-"],
                           capture_output=True, check=True).stdout
    return len(sound) / rate


class SamplesTest(RootTest):
    def test_the_library_says_of_the_samples_what_ffprobe_says(self):
        printed = self.run_quillet("import", SAMPLES)
        tracks = {track["file"]: track for track in self.tracks()}
        self.assertEqual(len(tracks), len(AUDIO))
        for path in AUDIO:
            self.assertIn(f"{path}: imported as", printed)
            probe, track = ffprobe(path), tracks[path.name]
            tags = {key.lower(): value for key, value in probe["format"].get("tags", {}).items()}
            for key, tag in (("title", "title"), ("artist", "artist"), ("album", "album"),
                             ("albumArtist", "album_artist")):
                self.assertEqual(track[key], tags.get(tag), (path, key))
            for number, total, tag in (("track", "trackCount", "track"), ("disc", "discCount", "disc")):
                numbers = [int(part) for part in tags[tag].split("/")] if tag in tags else []
                numbers += [None] * (2 - len(numbers))
                self.assertEqual([track[number], track[total]], numbers, (path, tag))
            self.assertEqual(track["year"], int(tags["date"][:4]) if "date" in tags else None)
            if path.suffix == ".mp3":  # ffprobe counts the encoder's delay and padding; what is decoded is without
                duration = decoded_seconds(path)
            elif path.suffix == ".aac":  # ffprobe's own guess goes by the bit rate; its packets are counted
                audio = probe["streams"][0]
                duration = int(audio["nb_read_packets"]) * 1024 / int(audio["sample_rate"])
            else:
                duration = float(probe["format"]["duration"])
            self.assertAlmostEqual(track["durationMs"], duration * 1000, delta=1, msg=path)
        cache = self.quillet_folder / "ArtworkCache"
        names = {path.name for path in cache.iterdir()}
        self.assertEqual(names, {track["artwork"] for track in tracks.values()} - {None})
        self.assertEqual(len(names), 2)
        for name in names:
            self.assertEqual(hashlib.md5((cache / name).read_bytes()).hexdigest(), name)
        self.assertEqual(self.run_quillet("library", "list").count("untagged.m4a"), 1)

    def test_text_keeps_its_type_and_the_record_is_the_devices(self):
        self.run_quillet("import", SAMPLES / "morning.m4a")
        record = plistlib.loads(self.database.read_bytes())["1"]
        track = self.tracks()[0]
        self.assertEqual(record["assetPath"], os.path.basename(track["assetPath"]))
        self.assertEqual((record["mediaType"], record["artwork"]), (8, track["artwork"]))
        self.assertEqual(record["values"]["item_extra.year"], "2009")
        self.assertEqual(record["values"]["track_number"], 3)
        self.assertEqual(self.run_json("library", "show", "1")[0]["values"], record["values"])
        with sqlite3.connect(self.library) as library:
            types = library.execute("SELECT typeof(year), typeof(track_count) FROM item_extra").fetchall()
        self.assertEqual(types, [("text", "integer")])

    def test_an_mp3_file_brings_what_its_tags_say(self):
        self.sample("old-label.mp3")
        audio = (SAMPLES / "old-label.mp3").read_bytes()[:-128]
        (self.files / "untagged.mp3").write_bytes(audio)
        (self.files / "two-frames.mp3").write_bytes(audio[:1250])
        self.run_quillet("import", "--no-naming", self.files)
        self.assertEqual(self.errors, "")
        tracks = {track["file"]: track for track in self.tracks()}
        old = tracks["old-label.mp3"]
        self.assertEqual([old[key] for key in ("title", "artist", "album", "track", "year", "durationMs")],
                         ["Old Label", "First Version", "Last 128 Bytes", 5, 1996, 3000])
        untagged = tracks["untagged.mp3"]
        self.assertEqual({untagged[key] for key in ("title", "artist", "albumArtist", "track", "trackCount", "disc",
                                                    "discCount", "year", "artwork")}, {None})
        self.assertEqual(untagged["durationMs"], 3000)
        self.assertIn("untagged.mp3", self.run_quillet("library", "list"))
        self.assertEqual(len(tracks), 3)


class NamingTest(RootTest):
    AUDIO = (SAMPLES / "old-label.mp3").read_bytes()[:-128]

    def imported(self, *options):
        """(title, artist) by file name, and what each file in the media folder holds."""
        names = ["Artist - Title - Live.mp3", "Name.mp3", "---.mp3", "tagged - twice.mp3"]
        for name in names:
            (self.files / name).write_bytes(self.AUDIO)
        self.run_quillet("tag", "set", "--title", "Mine", self.files / names[3])
        self.sample("evening.m4a", "Not - This.m4a")
        before = {path.name: path.read_bytes() for path in self.files.iterdir()}
        self.run_quillet("import", *options, self.files)
        self.assertEqual(self.errors, "")
        if "--move" not in options:
            self.assertEqual({path.name: path.read_bytes() for path in self.files.iterdir()}, before)
        self.contents = {track["file"]: pathlib.Path(track["assetPath"]).read_bytes() for track in self.tracks()}
        self.assertTrue(all(self.contents[name].endswith(self.AUDIO) for name in names))
        return before, {track["file"]: (track["title"], track["artist"]) for track in self.tracks()}

    def test_copies_of_mp3_files_are_named_from_their_file_names(self):
        before, named = self.imported()
        self.assertEqual(named.pop("Not - This.m4a")[0], "Evening")
        self.assertEqual(named, {"Artist - Title - Live.mp3": ("Title", "Artist"), "Name.mp3": ("Name", "Name"),
                                 "---.mp3": (None, None), "tagged - twice.mp3": ("Mine", "tagged")})
        self.assertEqual(self.contents["---.mp3"], before["---.mp3"], "no empty names are written")

    def test_a_read_only_file_is_named_too_and_its_copy_stays_read_only(self):
        path = self.files / "A - B.mp3"
        path.write_bytes(self.AUDIO)
        path.chmod(0o444)
        nobody = 65534
        if os.geteuid() == 0:  # who may write everything
            for place in (self.base, self.files, path):
                os.chown(place, nobody, nobody)
            try:
                subprocess.run([BINARY, "--version"], user=nobody, check=True, capture_output=True)
            except OSError:
                nobody = 0  # the build lies where others may not look
            self.run_quillet("import", path, user=nobody)
        else:
            self.run_quillet("import", path)
        self.assertEqual(self.errors, "")
        track = self.tracks()[0]
        self.assertEqual((track["title"], track["artist"]), ("B", "A"))
        self.assertEqual(os.stat(track["assetPath"]).st_mode & 0o777, 0o444)

    def test_a_tag_that_takes_no_names_is_told_of(self):
        path = self.files / "A - B.mp3"
        path.write_bytes(b"ID3\5\0\0\0\0\0\x14" + bytes(20) + self.AUDIO)
        self.run_quillet("import", path)
        self.assertIn(f"{path} is imported without a name from its file name: ", self.errors)
        self.assertEqual(len(self.tracks()), 1)

    def test_without_naming_or_moved_they_stay_as_they_are(self):
        for number, option in enumerate(("--no-naming", "--move")):
            self.use_root(self.base / f"root {number}")
            before, named = self.imported(option)
            self.assertEqual(self.contents, before)
            self.assertEqual(named["Artist - Title - Live.mp3"], (None, None))


class ImportTest(RootTest):
    def test_a_file_of_another_format_named_mp3_keeps_its_values(self):
        misnamed = self.sample("evening.m4a", "evening.mp3")
        self.run_quillet("import", SAMPLES / "evening.m4a", misnamed)
        true, other = self.tracks()
        for key in ("title", "artist", "album", "durationMs", "artwork"):
            self.assertEqual(other[key], true[key], key)
            self.assertIsNotNone(true[key], key)

    def test_what_is_named_and_no_audio_fails_and_in_a_folder_is_passed_over(self):
        good, note = self.sample("evening.m4a"), self.files / "note.mp3"
        note.write_text("not music")
        (self.files / "empty.m4a").touch()
        (self.files / "sub").mkdir()
        self.sample("bars.mp3", "sub/deep.mp3")
        os.mkfifo(self.files / "fifo.mp3")
        done = self.run_json("import", self.files)
        self.assertEqual([(one["file"], one["status"]) for one in done],
                         [(good, "imported"), (str(self.files / "sub/deep.mp3"), "imported")])
        done = self.run_json("import", good, note, self.files / "empty.m4a", self.files / "fifo.mp3",
                             self.files / "missing", good, status=1)
        self.assertEqual([(one["status"], one.get("reason")) for one in done],
                         [("imported", None), ("failed", "is not audio"), ("failed", "is empty"),
                          ("failed", "is not a regular file"), ("failed", "no such file")])
        self.assertEqual(len(self.errors.splitlines()), 4)
        self.assertTrue(os.path.exists(good), "copied, not moved")
        self.assert_whole(3)

    def test_nothing_to_do_wrong_usage_and_an_empty_library_have_their_statuses(self):
        self.run_quillet("import", self.files, status=3)
        self.run_quillet("import", status=2)
        for wrong in ("x", "010", "0x4", "-1", "", "99999999999999999999"):
            self.run_quillet("library", "remove", "--", wrong, status=2)
            self.assertEqual(len(self.errors.splitlines()), 1)
        self.run_quillet("imprt", "x", status=2)
        self.assertIn("imprt", self.errors)
        self.run_quillet("recheck", status=3)
        self.assertFalse(self.root.exists())
        self.run_quillet("library", "show", "1", status=1)
        self.assertEqual(self.run_quillet("library", "list"), "")

    def test_move_moves_and_two_of_one_name_both_arrive_under_their_own(self):
        (self.files / "other").mkdir()
        first, second = self.sample("untagged.m4a", number=1), self.sample("untagged.m4a", "other/untagged.m4a", 2)
        self.run_quillet("import", "--move", self.files)
        self.assertFalse(os.path.exists(first) or os.path.exists(second))
        self.assertEqual([track["file"] for track in self.tracks()], ["untagged.m4a"] * 2)
        self.assert_whole(2)

    def test_tracks_are_numbered_in_the_order_given_and_by_path_within_a_folder(self):
        for folder in ("b", "a"):
            (self.files / folder).mkdir()
            for number in (2, 1):
                self.sample("untagged.m4a", f"{folder}/{number}.m4a", f"{folder}{number}")
        done = self.run_json("import", self.files / "b", self.sample("bars.mp3"), self.files / "a")
        self.assertEqual([one["persistentID"] for one in done], ["1", "2", "3", "4", "5"])
        self.assertEqual([os.path.relpath(one["file"], self.files) for one in done],
                         ["b/1.m4a", "b/2.m4a", "bars.mp3", "a/1.m4a", "a/2.m4a"])

    def test_strange_names_arrive_and_are_shown_safely(self):
        names = [b"x" * 251 + b".m4a", b"line\nbreak.m4a", b"bytes \xff\xfe.m4a", b".hidden.m4a", b"noextension",
                 b"esc \x1b[31m.m4a", b"e." + b"m" * 250, b"http:song.m4a"]
        for name in names:
            self.sample("untagged.m4a", os.fsdecode(name))
        output = self.run_quillet("import", *[os.path.join(os.fsencode(self.files), name) for name in names])
        self.assertEqual(len(output.splitlines()), len(names))
        self.assertNotIn("\x1b", output)
        tracks = self.tracks()
        self.assertEqual({track.get("fileRaw", track["file"]) for track in tracks},
                         {os.fsdecode(name) for name in names if b"\xff" not in name} | {"bytes%20%FF%FE.m4a"})
        self.assert_whole(len(names))

    def test_removal_takes_all_for_good_and_keep_file_lasts_until_the_next_recheck(self):
        self.run_quillet("import", SAMPLES / "morning.m4a", SAMPLES / "evening.m4a")
        self.run_quillet("library", "remove", "1", "--keep-file")
        self.assertEqual([track["persistentID"] for track in self.tracks()], ["2"])
        result = self.run_json("recheck")[0]
        self.assertEqual((result["records"], result["addedAgain"]), (2, 1))
        again = self.tracks()[1]
        self.assertEqual((again["persistentID"], again["file"]), ("3", "morning.m4a"))
        self.run_quillet("library", "remove", "3", "7", status=1)
        self.assertIn("7: no such track", self.errors)
        self.assertEqual(self.run_json("recheck")[0]["records"], 1)
        self.assert_whole(1)
        artwork = list((self.quillet_folder / "ArtworkCache").iterdir())
        self.assertEqual(len(artwork), 1, "the other track has the same cover")
        self.run_quillet("library", "remove", "2")
        self.assertEqual(list((self.quillet_folder / "ArtworkCache").iterdir()), [])

    def test_a_database_that_is_none_is_set_aside_and_unknown_keys_stay(self):
        self.run_quillet("import", SAMPLES / "morning.m4a")
        database = plistlib.loads(self.database.read_bytes())
        database["note"] = "from another version"
        database["1"]["rating"] = 5
        self.database.write_bytes(plistlib.dumps(database))
        self.run_quillet("import", SAMPLES / "evening.m4a")
        self.assertLessEqual(database.items(), plistlib.loads(self.database.read_bytes()).items())
        for content in (b"no property list", plistlib.dumps(["no dictionary"])):
            self.database.write_bytes(content)
            self.run_quillet("recheck")
            self.assertEqual(self.errors.count("it is set aside as QuilletDB.plist"), 1, self.errors)
        self.assertEqual((self.quillet_folder / "QuilletDB.plist.unreadable").read_bytes(), b"no property list")
        self.assert_whole(2)

    def test_a_root_that_cannot_be_written_or_a_newer_library_is_said_plainly(self):
        (self.base / "file").touch()
        self.use_root(self.base / "file" / "root")
        self.run_quillet("import", SAMPLES, status=1)
        self.assertIn("cannot be written: Not a directory", self.errors)
        self.use_root(self.base / "root")
        self.run_quillet("import", SAMPLES / "morning.m4a")
        with sqlite3.connect(self.library) as library:
            library.execute("PRAGMA user_version = 99")
        for command in (["library", "list"], ["import", SAMPLES / "evening.m4a"]):
            self.run_quillet(*command, status=1)
            self.assertIn("newer Quillet", self.errors)
        self.assertEqual(list(self.drop.iterdir()), [])

    def test_a_library_that_another_program_has_locked_for_a_while_is_waited_for(self):
        self.run_quillet("import", SAMPLES / "morning.m4a")
        library = sqlite3.connect(self.library, isolation_level=None)
        library.execute("BEGIN IMMEDIATE")
        with subprocess.Popen([BINARY, "--root", self.root, "import", SAMPLES / "evening.m4a"], text=True,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
            self.assertIn("locked by another", process.stderr.readline())
            library.execute("COMMIT")
        library.close()
        self.assertEqual(process.returncode, 0)
        self.assert_whole(2)

    @unittest.skipUnless(os.geteuid() == 0, "needs root to mount a small file system")
    def test_a_full_disk_loses_nothing_and_says_so(self):
        small = self.base / "small"
        small.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=400k", "tmpfs", small]).returncode != 0:
            self.skipTest("cannot mount here")
        self.addCleanup(subprocess.run, ["umount", small])
        files = [self.sample("morning.m4a", f"{number}.m4a", number) for number in range(30)]
        self.use_root(small / "root")
        done = self.run_json("import", *files, status=1)
        self.assertEqual(len(done), 30)
        self.assertIn("No space left on device", self.errors)
        self.assertTrue(all(os.path.exists(path) for path in files))
        imported = sum(one["status"] == "imported" for one in done)
        self.assertEqual(len(self.tracks()), imported)
        self.assertEqual(list(self.drop.iterdir()), [], "what failed is not left there to come in twice")
        for track in self.tracks():
            self.assertEqual(os.path.getsize(track["assetPath"]) > 20000, True)

    @unittest.skipUnless(os.geteuid() == 0, "needs root to become nobody")
    def test_what_cannot_be_read_in_a_folder_is_a_failure_with_its_reason(self):
        self.base.chmod(0o755)
        self.root.mkdir()
        os.chown(self.root, 65534, 65534)
        self.sample("bars.mp3")
        os.chmod(self.sample("morning.m4a"), 0)
        done = subprocess.run([BINARY, "--root", self.root, "import", self.files], user=65534, group=65534,
                              extra_groups=[], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout.count("imported")), (1, 1), done.stderr)
        self.assertIn("morning.m4a: cannot be read: Permission denied", done.stderr)

    def test_an_import_that_is_interrupted_while_it_takes_what_lay_there_ends(self):
        self.drop_file(self.sample("morning.m4a"))
        with subprocess.Popen([BINARY, "--root", self.root, "import", SAMPLES / "bars.mp3"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as process:
            harness.wait_until(lambda: self.media.is_dir() and any(self.media.iterdir()), "its own batch")
            process.terminate()
            self.assertEqual(process.wait(harness.LONGEST), 130)
            self.assertIn("bars.mp3: imported", process.stdout.read())

    def test_an_interrupted_import_ends_with_130_and_leaves_nothing_half_done(self):
        files = [self.sample("morning.m4a", f"{number}.m4a", number) for number in range(300)]
        process = subprocess.Popen([BINARY, "--root", self.root, "import", "--move", *files], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        harness.wait_until(lambda: self.drop.is_dir() and any(self.drop.iterdir()), "files on their way")
        process.terminate()
        self.assertEqual(process.wait(harness.LONGEST), 130)
        self.assertEqual(list(self.drop.iterdir()), [])
        kept = sum(os.path.exists(path) for path in files)
        self.assert_whole(300 - kept)


class OutputTest(RootTest):
    def test_a_closed_pipe_and_a_full_output_are_failures_without_a_crash(self):
        self.run_quillet("import", SAMPLES)
        reading, writing = os.pipe()
        os.close(reading)
        for output, words in ((writing, b""), (os.open("/dev/full", os.O_WRONLY), b"No space left on device")):
            done = subprocess.run([BINARY, "--root", self.root, "library", "list"], stdout=output,
                                  stderr=subprocess.PIPE)
            os.close(output)
            self.assertEqual(done.returncode, 1)
            self.assertIn(words, done.stderr)
            self.assertEqual(bool(done.stderr), bool(words))

    def test_a_terminal_gets_an_aligned_table_that_fits(self):
        self.run_quillet("import", SAMPLES)
        command = f"stty cols 60; {BINARY} --root {self.root} library list"
        done = subprocess.run(["script", "-qec", command, "/dev/null"], capture_output=True, text=True,
                              env={**os.environ, "TERM": "xterm"}, stdin=subprocess.DEVNULL)
        lines = done.stdout.splitlines()
        self.assertIn("\x1b[1m", lines[0])
        self.assertRegex(lines[0], "ID +Title +Artist +Album +Track +Year +Time")
        self.assertTrue(all(len(line) <= 60 for line in lines[1:]), lines)


if __name__ == "__main__":
    harness.main()
