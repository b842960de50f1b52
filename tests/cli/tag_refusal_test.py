"""What `tag set`, `copy`, `convert` and `drop` refuse: one clear line each, and the file untouched."""

import os
import pathlib
import re
import resource
import signal

import harness
from edit_harness import EditTest, NOBODY, audio_of  # finds the modules of tests/id3 too
from tag_cases import JPEG, PNG  # noqa: E402
from tag_files import Frame, tag, text  # noqa: E402


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


if __name__ == "__main__":
    harness.main()
