"""Files that other programs have written: their tags, and audio whose length in samples is known."""

import dataclasses
import json
import math
import struct
import subprocess
import wave

import eyed3
import eyed3.id3
import mutagen.id3
import taglib

from tag_cases import JPEG, PNG, WORDS
from tag_files import apev2, lyrics3, tag, text, v1


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   stdin=subprocess.DEVNULL)


def sound(path, rate, channels, samples):
    """A tone that rises, so that a variable bit rate varies."""
    with wave.open(str(path), "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        tone = (round(9000 * math.sin(place * place / samples)) for place in range(samples))
        file.writeframes(b"".join(struct.pack("<h", value) * channels for value in tone))


def written_tags(folder, audio):
    """By name: the paths of files that taggers have written, each in its own way."""
    def fresh(name):
        path = folder / f"{name}.mp3"
        path.write_bytes(audio)
        return path
    frames = mutagen.id3
    for version in (3, 4):
        for encoding in (1, 3) if version == 4 else (1,):
            made = frames.ID3()
            for place, one in enumerate((frames.TIT2, frames.TPE1, frames.TALB, frames.TPE2, frames.TCOM)):
                made.add(one(encoding, [list(WORDS.values())[place]] + ["Second"] * (place == 1)))
            for one, value in ((frames.TRCK, "3/12"), (frames.TPOS, "1/2"), (frames.TDRC, "2004-05-06"),
                               (frames.TCON, ["Rock", "Eurodisco"])):
                made.add(one(encoding, [value] if isinstance(value, str) else value))
            made.add(frames.COMM(encoding, "eng", "About", ["Subject"]))
            made.add(frames.COMM(encoding, "eng", "", ["Ā note"]))
            made.add(frames.APIC(encoding, "image/jpeg", 4, "Back 夜", JPEG))
            made.add(frames.APIC(encoding, "image/png", 3, "Front", PNG))
            if version == 3:
                made.update_to_v23()
            made.save(fresh(f"mutagen, 2.{version}, encoding {encoding}"), v2_version=version, v1=2)
    for version in (eyed3.id3.ID3_V2_3, eyed3.id3.ID3_V2_4, eyed3.id3.ID3_V1_1):
        path = fresh(f"eyeD3, {eyed3.id3.versionToString(version)}")
        made = eyed3.id3.Tag()
        only_latin = version == eyed3.id3.ID3_V1_1
        made.title, made.artist, made.album = (WORDS["accents" if only_latin else "CJK"], WORDS["accents"], "Album")
        made.track_num, made.genre, made.recording_date = (3, None if only_latin else 12), "Jazz", "1998"
        if not only_latin:
            made.album_artist, made.composer, made.disc_num = WORDS["combining"], WORDS["emoji"], (1, 2)
            made.images.set(3, PNG, "image/png", "夜")
        made.comments.set("A note")
        made.save(str(path), version=version)
    path = folder / "eyeD3, its command.mp3"
    path.write_bytes(audio)
    run("eyeD3", "--to-v2.4", "--title", "Commanded", "--artist", "Søren", "--track", "3", "--track-total", "12",
        "--comment", "A note", "--genre", "Rock", str(path))
    path = fresh("TagLib")
    made = taglib.File(str(path))
    made.tags.update({"TITLE": [WORDS["CJK"]], "ARTIST": ["One", "Two"], "ALBUM": [WORDS["emoji"]],
                      "TRACKNUMBER": ["3/12"], "DATE": ["1998"], "GENRE": ["Rock", "Eurodisco"], "COMMENT": ["A note"]})
    made.save()
    made.close()
    source = fresh("plain")
    fields = {"title": WORDS["CJK"], "artist": WORDS["accents"], "album": "Album", "album_artist": WORDS["emoji"],
              "composer": "Composer", "track": "3/12", "disc": "1/2", "date": "2004-05-06", "genre": "Rock"}
    for version in (3, 4):
        run("ffmpeg", "-v", "error", "-y", "-i", source, "-f", "lavfi", "-i", "color=red:size=16x16:rate=1:duration=1",
            "-map", "0:a", "-map", "1:v", "-frames:v", "1", "-c:a", "copy", "-c:v", "png", "-metadata:s:v", "title=夜",
            "-metadata:s:v", "comment=Cover (back)", "-id3v2_version", str(version), "-write_id3v1", "1",
            *[part for key, value in fields.items() for part in ("-metadata", f"{key}={value}")],
            folder / f"ffmpeg, 2.{version}.mp3")
    sound(folder / "short.wav", 22050, 1, 6000)
    (folder / "cover.jpg").write_bytes(JPEG)
    for name, options in (("2.3 Latin-1", ("--id3v2-only", "--id3v2-latin1", "--ti", folder / "cover.jpg")),
                          ("2.3 UTF-16", ("--id3v2-only", "--id3v2-utf16")), ("v1", ("--id3v1-only",)),
                          ("both, padded", ("--add-id3v2", "--pad-id3v2-size", "500"))):
        run("lame", "--quiet", *options, "--tt", WORDS["accents"], "--ta", "Artist", "--tl", "Album", "--ty", "1996",
            "--tc", "A note", "--tn", "5" if name == "v1" else "5/12", "--tg", "17" if name == "v1" else "Eurodisco",
            folder / "short.wav", folder / f"lame, {name}.mp3")
    return {path.stem: path for path in sorted(folder.glob("*.mp3"))}


@dataclasses.dataclass
class Sound:
    path: str
    source: str  # what the length is to be taken from
    samples: int  # of each channel; None for those of all packets
    rate: int
    disagrees: str = ""  # why mutagen's length is another
    silent: int = 0  # packets that hold a header in place of sound, though not the first


def packets(path):
    """Where the frames that ffprobe meets begin."""
    probe = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", "-show_packets", path], capture_output=True,
                           check=True).stdout
    return [int(packet["pos"]) for packet in json.loads(probe)["packets"]]


def vbri(first_frame, frames, size):
    """The frame with a VBRI header in the place of its audio."""
    header = b"VBRI" + struct.pack(">HHHIIHHHH", 1, 0, 75, size, frames, 0, 1, 2, frames)
    return first_frame[:36] + header + bytes(len(first_frame) - 36 - len(header))


def sounds(folder):
    made = []

    def add(name, content, source, samples, rate=44100, *more):
        (folder / f"{name}.mp3").write_bytes(content)
        made.append(Sound(folder / f"{name}.mp3", source, samples, rate, *more))

    def lame(name, rate, channels, samples, source, *options):
        wav, path = folder / f"{rate} {channels} {samples}.wav", folder / f"{name}.mp3"
        if not wav.exists():
            sound(wav, rate, channels, samples or 3 * rate)
        run("lame", "--quiet", *options, wav, path)
        made.append(Sound(path, source, samples, rate))
        return path.read_bytes()
    lame("constant", 44100, 1, 100001, "info", "-b", "64")
    varied = lame("variable", 44100, 2, 150000, "xing", "-V", "5")
    lame("average", 44100, 2, 150000, "xing", "--abr", "100")
    lame("MPEG 2", 22050, 1, 66151, "info", "-b", "64")
    lame("MPEG 2, stereo, variable", 22050, 2, 66151, "xing", "-V", "6")
    lame("MPEG 2.5", 8000, 2, 24001, "info", "-b", "64")
    lame("MPEG 2.5, no room for a header", 8000, 1, None, "frames", "-b", "16")
    lame("48 kHz, joint stereo, with sums", 48000, 2, 96007, "info", "-m", "j", "-b", "320", "-p")
    lame("very short", 44100, 1, 10, "info", "-b", "64")
    plain = lame("no header", 48000, 1, None, "frames", "-t", "-b", "64")
    add("APEv2, Lyrics3 and v1 behind", plain + apev2(Title="x" * 300) + lyrics3(b"[00:01]" + b"la " * 200) +
        v1("Title"), "frames", None, 48000, "it takes the tags at the end for sound")
    add("zeros between tag and audio", tag(3, text("TIT2", "Title")) + bytes(300) + plain, "frames", None, 48000)
    add("two tags before the audio", tag(3, text("TIT2", "Title")) + tag(4, text("TIT2", "Title")) + plain, "frames",
        None, 48000)
    add("v1 behind a variable rate", varied + v1("Title"), "xing", 150000)
    places, delay = packets(made[1].path), 576
    add("cut", varied[:places[60]], "frames", 60 * 1152 - delay, 44100, "it believes the header; the padding is gone")
    twice = 2 * len(places) * 1152 - delay
    add("one behind another", varied + varied, "frames", twice, 44100, "it believes the first header", 1)
    frames = len(plain) // 192
    add("VBRI", vbri(plain[:192], frames, len(plain) + 192) + plain, "vbri", frames * 1152, 48000)
    for name, options in (("ffmpeg", ()), ("ffmpeg, no header", ("-write_xing", "0"))):
        run("ffmpeg", "-v", "error", "-y", "-i", folder / "44100 1 100001.wav", "-c:a", "libmp3lame", *options,
            folder / f"{name}.mp3")
        made.append(Sound(folder / f"{name}.mp3", *("frames", None) if options else ("info", 100001), 44100,
                          "" if options else "it knows the encoder's delay from lame alone"))
    run("ffmpeg", "-v", "error", "-y", "-i", folder / "44100 1 100001.wav", "-f", "mp2", folder / "layer 2.mp3")
    made.append(Sound(folder / "layer 2.mp3", "frames", None, 44100))
    return made
