#!/usr/bin/python3 -B
"""make_corpus.py FOLDER [--count N] [--streams N]: MP3s with tags of every version, the same bytes each time.

Writes FOLDER/nn/nnnnn.mp3 and FOLDER/manifest.jsonl: a JSON object a file with the values that a reader has to find.
A file's bytes depend on its number and on --streams, not on --count. Needs lame and mutagen.
"""

import argparse
import hashlib
import json
import pathlib
import random
import shutil

from mutagen.id3 import MakeID3v1, TALB, TCON, TDRC, TIT2, TPE1, TRCK, COMM

import corpus_sound
from corpus_tags import LATIN1, UTF16, UTF8, Tag, picture

GENRES = TCON.GENRES
# Those that every list of genres spells in the same way.
PLAIN_GENRES = [name for name in GENRES[:80] if name.isalpha() and name != "Psychedelic"]

LATIN1_WORDS = ("Morning River Étude Glass Northern Señor Lantern Über Paper Café Harbour Noël Silent Garden Ærø Field "
                "Winter Façade Copper Ångström Window Distant Summer Piña Lines Road Mañana Blue Evening Stone").split()
WIDE_WORDS = ("Утро Река 東京 夜明け Ветер Зима Ποταμός 音楽 Огни Город 雨の日 Λιμάνι Песня 🎵 Żółw Dvořák Őszi "
              "風 Небо Дорога").split()


def words(chance, encoding, least, most):
    source = LATIN1_WORDS if encoding == LATIN1 else LATIN1_WORDS + WIDE_WORDS
    return " ".join(chance.choice(source) for _ in range(chance.randint(least, most)))


def number_of_set(chance, most):
    """A number, and how a tag has it: "3", or "3/12"."""
    number = chance.randint(1, most)
    return number, f"{number}/{chance.randint(number, most)}" if chance.random() < 0.7 else str(number)


def v1_record(values):
    """As mutagen lays it out; what has no place in Latin-1 becomes question marks."""
    frames = {"TIT2": TIT2, "TPE1": TPE1, "TALB": TALB, "TDRC": TDRC, "TCON": TCON, "TRCK": TRCK}
    keys = {"TIT2": "title", "TPE1": "artist", "TALB": "album", "TDRC": "year", "TCON": "genre", "TRCK": "track"}
    tag = {name: make(encoding=UTF8, text=[str(values[keys[name]])]) for name, make in frames.items()
           if values[keys[name]] is not None}
    if values["comment"]:
        tag["COMM"] = COMM(encoding=UTF8, lang="eng", desc="", text=[values["comment"]])
    return MakeID3v1(tag)


def v1_values(chance):
    """What fits into a v1 record whole."""
    return {"title": words(chance, LATIN1, 1, 3)[:30].strip(), "artist": words(chance, LATIN1, 1, 2)[:30].strip(),
            "album": words(chance, LATIN1, 1, 2)[:30].strip(), "track": chance.randint(1, 20),
            "year": chance.randint(1960, 2024), "genre": chance.choice(PLAIN_GENRES),
            "comment": words(chance, LATIN1, 1, 2)[:28].strip()}


def v2_tag(chance, version):
    """A tag, and the values it has."""
    encoding = chance.choice([LATIN1, UTF16, UTF8] if version == 4 else [LATIN1, UTF16])
    values = {"title": words(chance, encoding, 1, 5), "artist": words(chance, encoding, 1, 3),
              "album": words(chance, encoding, 1, 4), "genre": chance.choice(PLAIN_GENRES),
              "year": chance.randint(1960, 2024)}
    values["track"], track = number_of_set(chance, 20)
    texts = {"title": values["title"], "artist": values["artist"], "album": values["album"], "track": track}
    if chance.random() < 0.6:
        texts["albumArtist"] = values["albumArtist"] = words(chance, encoding, 1, 3)
    if chance.random() < 0.5:
        values["disc"], texts["disc"] = number_of_set(chance, 3)
    month_and_day = "-05-17" if version == 4 and chance.random() < 0.3 else ""
    texts["date"] = f"{values['year']}{month_and_day}"
    by_number = chance.random() < 0.25
    texts["genre"] = f"({GENRES.index(values['genre'])})" if by_number and version < 4 else values["genre"]
    if chance.random() < 0.4:
        texts["composer"] = words(chance, encoding, 1, 3)
    if chance.random() < 0.3:
        texts["encodedBy"] = "LAME 3.100"
    comments = []
    if chance.random() < 0.5:
        values["comment"] = words(chance, encoding, 3, 12)
        # What a machine wrote stands before the person's own words.
        machine = [("iTunNORM", " 000004D2 000004D1 00003A5B")] if chance.random() < 0.3 else []
        comments = [*machine, ("", values["comment"])]
    pictures = []
    if chance.random() < 0.3:
        pictures = [(3, chance.choice(["", "Cover", words(chance, encoding, 1, 2)]), picture(chance))]
        values["pictureBytes"] = len(pictures[0][2])
        values["pictureMd5"] = hashlib.md5(pictures[0][2]).hexdigest()
    own_texts = [("replaygain_track_gain", "-6.20 dB"), ("BARCODE", "0602445790098")] if chance.random() < 0.3 else []
    padding = chance.choice([0, 0, 300, 1024, 2048, 4096])
    return Tag(encoding, texts, comments, pictures, own_texts, padding), values


KEYS = ("title artist album albumArtist track disc year genre comment pictureBytes pictureMd5").split()


def make_file(number, stream):
    """The bytes of a file, and the values in it. 1 file in 20 has no v2 tag, and every other of those none at all."""
    chance = random.Random(number)
    values = dict.fromkeys(KEYS)
    data = stream.data
    if number % 20 == 7:
        if number % 40 == 7:
            values |= v1_values(chance)
            data += v1_record(values)
    else:
        version = chance.choices([2, 3, 4], [15, 50, 35])[0]
        tag, found = v2_tag(chance, version)
        values |= found
        data = tag.bytes(version) + data
        if chance.random() < 0.5:
            data += v1_record(values)
    return data, values | {"durationMs": stream.duration_ms}


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("folder", type=pathlib.Path)
    arguments.add_argument("--count", type=int, default=10_000)
    arguments.add_argument("--streams", type=int, default=60)
    options = arguments.parse_args()

    # The manifest comes last, so that a corpus with one is whole.
    shutil.rmtree(options.folder, ignore_errors=True)
    streams = corpus_sound.streams(options.streams)
    lines = []
    for number in range(options.count):
        path = options.folder / f"{number // 100:02}" / f"{number:05}.mp3"
        path.parent.mkdir(parents=True, exist_ok=True)
        data, values = make_file(number, streams[number % len(streams)])
        path.write_bytes(data)
        lines.append(json.dumps({"file": path.relative_to(options.folder).as_posix()} | values, ensure_ascii=False))
    (options.folder / "manifest.jsonl").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
