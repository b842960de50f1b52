"""`tag show`, `tag frames` and `info` beside mutagen, eyeD3 and TagLib, over files of every kind.

Where the programs that can tell agree, two at least, theirs is the answer. Where they do not, the case says what the
answer is and which sentence decides (tag_cases.py); a decision that they would have come to themselves is a failure."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import mutagen.mp3

import oracles
import tag_cases
import written_files

BINARY = os.environ["QUILLET_BINARY"]
SAMPLES = pathlib.Path(os.environ["QUILLET_SAMPLES"])
KINDS = {0: "Other", 1: "32x32 pixels 'file icon'", 2: "Other file icon", 3: "Cover (front)", 4: "Cover (back)",
         5: "Leaflet page", 6: "Media (e.g. label side of CD)", 7: "Lead artist/lead performer/soloist",
         8: "Artist/performer", 17: "A bright coloured fish", 20: "Publisher/Studio logotype"}
KEYS = ("title", "artist", "album", "albumArtist", "composer", "track", "trackCount", "disc", "discCount", "year",
        "genres", "comment", "pictures")


def read(paths, *command):
    """What the command says of each file, by path; and its complaints."""
    done = subprocess.run([BINARY, "--json", *command, *map(str, paths)], capture_output=True, text=True, timeout=60)
    if done.returncode not in (0, 1):
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stderr}")
    return {one["file"]: one for one in map(json.loads, done.stdout.splitlines())}, done.stderr


def in_our_words(key, value):
    if key == "pictures":
        return [{**one, "type": KINDS.get(one["type"], "Unknown"), "mime": one["mime"] or None}
                for one in value or []]
    if key == "genres":  # told twice is told once
        return list(dict.fromkeys(value or []))
    return value


class DifferentialTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-differential-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        audio = (SAMPLES / "old-label.mp3").read_bytes()[:-128]
        cls.cases = {}
        for place, case in enumerate(tag_cases.hand_laid(audio)):
            path = cls.folder / f"{place}.mp3"
            path.write_bytes(case.content)
            cls.cases[str(path)] = case
        (cls.folder / "written").mkdir()
        for name, path in written_files.written_tags(cls.folder / "written", audio).items():
            cls.cases[str(path)] = tag_cases.Case(name, path.read_bytes())

    def expected(self, path, case):
        """The answer by key; a complaint in place of one that is not known, or is decided without need."""
        answers = oracles.ask_all(path)
        expected = {}
        for key in KEYS:
            said = {name: in_our_words(key, answer[key]) for name, answer in answers.items()
                    if isinstance(answer, dict) and key in answer}
            agreed = len(said) > 1 and all(one == next(iter(said.values())) for one in said.values())
            if key in case.decided:
                expected[key], _ = case.decided[key]
                expected[key] = in_our_words(key, expected[key])
                if agreed and expected[key] in said.values():
                    self.fail(f"{key} is decided, though all agree on it: {said}")
            elif agreed:
                expected[key] = next(iter(said.values()))
            else:
                self.fail(f"{key} is to be decided: {said or answers}")
        return expected

    def test_tags_are_read_as_the_others_read_them(self):
        shown, errors = read(self.cases, "tag", "show")
        for path, case in self.cases.items():
            with self.subTest(case.name):
                if case.unreadable:
                    self.assertIn(f"{path}: {case.unreadable}\n", errors)
                    self.assertNotIn(path, shown)
                    continue
                expected = self.expected(path, case)
                warnings = shown[path]["warnings"]
                self.assertEqual({key: shown[path][key] for key in KEYS}, expected, warnings)
                self.assertEqual(bool(warnings), case.name in tag_cases.WARNINGS, warnings)
                self.assertIn(tag_cases.WARNINGS.get(case.name, ""), "\n".join(warnings))
        self.assertEqual(len(errors.splitlines()), sum(bool(case.unreadable) for case in self.cases.values()), errors)

    def test_every_frame_is_listed_in_its_order(self):
        listed, _ = read(self.cases, "tag", "frames")
        for path, case in self.cases.items():
            with self.subTest(case.name):
                if case.frames is not None:
                    frames, _ = case.decided.get("frames", (case.frames, ""))
                    self.assertEqual([frame["id"] for frame in listed[path]["frames"]], frames)

    def test_sound_is_as_long_as_its_samples(self):
        (self.folder / "sounds").mkdir()
        sounds = written_files.sounds(self.folder / "sounds")
        shown, _ = read([sound.path for sound in sounds], "info")
        for sound in sounds:
            with self.subTest(sound.path.name):
                said, known = shown[str(sound.path)], mutagen.mp3.MP3(sound.path).info
                packets = len(written_files.packets(sound.path)) - sound.silent
                samples = sound.samples or packets * (1152 if sound.rate >= 32000 else 576)
                self.assertAlmostEqual(said["durationMs"] or 0, samples * 1000 / sound.rate, delta=1)
                self.assertEqual(said["durationFrom"], sound.source if said["durationMs"] else None)
                self.assertEqual(said["frameCount"], packets)
                self.assertEqual([said["mpegVersion"], said["layer"], said["frequency"], said["channels"]],
                                 [known.version, known.layer, known.sample_rate, known.channels])
                modes = ["stereo", "joint stereo", "dual channel", "single channel"]
                self.assertEqual(said["channelMode"], modes[known.mode])
                agrees = abs((said["durationMs"] or 0) - known.length * 1000) <= 1
                self.assertEqual(agrees, not sound.disagrees, f"{known.length} by mutagen")
                if agrees:
                    self.assertAlmostEqual(said["bitRate"], known.bitrate / 1000, delta=1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
