"""What mutagen, eyeD3 and TagLib say of a file, each in the words of `quillet tag show --json`.

An answer holds only what the program can tell; what it finds absent is None there. Where a program joins or drops what
it read (several values, several comments), the part that it can tell is compared."""

import hashlib
import logging
import re

import eyed3
import eyed3.id3
import mutagen
import mutagen.id3
import taglib

logging.getLogger("eyed3").setLevel(logging.CRITICAL)
eyed3.log.setLevel(logging.CRITICAL)

MACHINE = "itun"


NOTHING = dict.fromkeys(("title", "artist", "album", "albumArtist", "composer", "track", "trackCount", "disc",
                         "discCount", "year", "genres", "comment", "pictures"))


def number(text):
    found = re.match(r"\s*(\d+)", text or "")
    return int(found[1]) or None if found else None


def pair(text):
    parts = (text or "").split("/")
    return number(parts[0]), number(parts[1]) if len(parts) > 1 else None


def joined(values):
    values = list(values)
    while values and not values[-1]:
        values.pop()
    return " / ".join(values) or None


def chosen(comments):
    """The first without description, else the first; of (description, text)."""
    comments = [(description, text) for description, text in comments
                if text and not description.lower().startswith(MACHINE)]
    comments.sort(key=lambda one: bool(one[0]))
    return comments[0][1] if comments else None


def picture(kind, mime, description, data):
    return {"type": int(kind), "mime": mime, "description": description or None, "bytes": len(data),
            "md5": hashlib.md5(data).hexdigest()}


def of_mutagen(path):
    try:
        tag = mutagen.id3.ID3(path)
    except mutagen.id3.ID3NoHeaderError:
        return NOTHING

    def values(identifier):
        return joined(map(str, getattr(tag.get(identifier), "text", [])))
    answer = {key: values(identifier) for key, identifier in
              (("title", "TIT2"), ("artist", "TPE1"), ("album", "TALB"), ("albumArtist", "TPE2"), ("composer", "TCOM"))}
    answer["track"], answer["trackCount"] = pair(values("TRCK"))
    answer["disc"], answer["discCount"] = pair(values("TPOS"))
    answer["year"] = number(values("TDRC"))
    answer["genres"] = [genre for genre in tag["TCON"].genres if genre] or None if "TCON" in tag else None
    answer["comment"] = chosen([(one.desc, joined(one.text)) for one in tag.getall("COMM")
                                if "ID3v1" not in one.desc]) or \
        next((one.text[0] for one in tag.getall("COMM") if "ID3v1" in one.desc), None)
    # It tells pictures of one description apart by spaces at its end.
    answer["pictures"] = [picture(one.type, one.mime, one.desc.rstrip(), one.data)
                          for one in tag.getall("APIC")] or None
    return answer


def of_eyed3(path):
    tag = eyed3.id3.Tag()
    if not tag.parse(path):
        return NOTHING
    answer = {"title": tag.title, "artist": tag.artist, "album": tag.album, "albumArtist": tag.album_artist,
              "composer": tag.composer}
    # Values stay apart by NUL, and a mark that is not the first stays too.
    answer = {key: joined((value or "").replace("\ufeff", "").split("\0")) for key, value in answer.items()}
    answer["track"], answer["trackCount"] = (one or None for one in tag.track_num)
    answer["disc"], answer["discCount"] = (one or None for one in tag.disc_num)
    date = tag.getBestDate() if tag.isV1() else tag.recording_date
    answer["year"] = date.year if date else None
    frame = tag.frame_set.get(b"TCON")
    # It knows one genre a tag, in these two forms, and none of 2.2.
    if tag.version[1] != 2 and (not frame or re.fullmatch(r"\(\d+\)|[^()\d\0]+", frame[0].text)):
        answer["genres"] = [tag.genre.name] if tag.genre and tag.genre.name else None
    answer["comment"] = chosen([(one.description, one.text) for one in tag.comments])
    # It makes a type of the three letters of a 2.2 picture, too.
    answer["pictures"] = [picture(one.picture_type, one.mime_type.lower().replace("/jpg", "/jpeg"), one.description,
                                  one.image_data) for one in tag.images] or None
    return answer


def of_taglib(path):
    file = taglib.File(path)
    tags = dict(file.tags)
    file.close()

    def values(key):
        return joined(tags.get(key, []))
    answer = {key: values(name) for key, name in
              (("title", "TITLE"), ("artist", "ARTIST"), ("album", "ALBUM"), ("albumArtist", "ALBUMARTIST"),
               ("composer", "COMPOSER"))}
    answer["track"], answer["trackCount"] = pair(values("TRACKNUMBER"))
    answer["disc"], answer["discCount"] = pair(values("DISCNUMBER"))
    answer["year"] = number(values("DATE"))
    answer["genres"] = [genre for genre in tags.get("GENRE", []) if genre] or None
    answer["comment"] = chosen([("", text) for text in tags.get("COMMENT", [])] +
                               [(key[8:], text) for key in tags if key.startswith("COMMENT:") for text in tags[key]])
    return answer


ORACLES = {"mutagen": of_mutagen, "eyeD3": of_eyed3, "TagLib": of_taglib}


def ask_all(path):
    """By the oracle's name: its answer, or the failure as text."""
    answers = {}
    for name, oracle in ORACLES.items():
        try:
            answers[name] = oracle(str(path))
        except Exception as failure:  # whatever it stumbles over is an answer here
            answers[name] = f"{type(failure).__name__}: {failure}"[:100]
    return answers
