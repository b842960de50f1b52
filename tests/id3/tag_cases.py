"""The files of the differential test that are laid by hand: one case a file, with what decides where the other
programs differ."""

import dataclasses

import oracles
from tag_files import (ENCODINGS, Frame, apev2, comment, compressed, extended_header, frame_unsynchronised, lyrics3,
                       picture, synchsafe, tag, text, unsynchronised, v1)

PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) + b"\xff\x00\xff\xe0\xff"
JPEG = b"\xff\xd8\xff\xe0\x00\x10JFIF\x00" + bytes(reversed(range(256))) * 2 + b"\xff\xd9"
WORDS = {"ascii": "Morning", "accents": "Før daggry, ça va", "CJK": "夜明け前", "emoji": "\U0001f3b5 song",
         "combining": "Ze\u0301ro\u0308", "zero bytes that end nothing": "\u0100a\u0200\u0100"}


@dataclasses.dataclass
class Case:
    name: str
    content: bytes
    frames: list = None  # the identifiers that the tag holds, in order
    decided: dict = dataclasses.field(default_factory=dict)  # key: (value, the sentence that decides)
    unreadable: str = None  # the reason, where there is nothing to tell of the file


def says(sentence, **values):
    return {key: (value, sentence) for key, value in values.items()}


class Cases:
    def __init__(self, audio):
        self.audio = audio
        self.all = []

    def add(self, name, *frames, version=3, end=b"", decided=None, **more):
        content = tag(version, *frames, **more) + self.audio + end
        self.raw(name, content, [frame.name(version).decode() for frame in frames], decided)

    def raw(self, name, content, frames=None, decided=None, unreadable=None):
        self.all.append(Case(name, content, frames, decided or {}, unreadable))


def texts(cases):
    identifiers = ["TIT2", "TPE1", "TALB", "TPE2", "TCOM"]
    for version in (2, 3, 4):
        for encoding, (byte, _) in ENCODINGS.items():
            if byte > 1 and version < 4:
                continue
            words = [word for word in WORDS.values() if byte or word.isascii() or word.startswith("F")]
            frames = [text(identifier, words[place % len(words)], encoding, end=place % 2)
                      for place, identifier in enumerate(identifiers)]
            frames.append(comment(words[-1], "", encoding))
            mime = b"PNG" if version == 2 else b"image/png"
            data = [(3 + place, PNG + word.encode(), word) for place, word in enumerate(words)]
            frames += [picture(png, kind, mime, word, encoding, version) for kind, png, word in data]
            decided = {} if encoding != "UTF-16" else says(
                "ID3v2.4.0 structure 4: 00 00 ends a text as a character; eyeD3 looks for it at odd places",
                pictures=[oracles.picture(kind, "image/png", word, png) for kind, png, word in data])
            cases.add(f"2.{version} {encoding}", *frames, version=version, decided=decided)
    for encoding in ("UTF-16BE", "UTF-8"):
        cases.add(f"{encoding} in 2.3", text("TIT2", "Før 夜", encoding), version=3)
    cases.add("UTF-16 without a mark", Frame("TIT2", b"\1" + "Night".encode("utf-16-le")), decided=says(
        "no sentence: 2.4.0 structure 4 asks for the mark; most who forget it write little end first", title="Night"))
    cases.add("UTF-16 of odd length", Frame("TIT2", b"\1" + ENCODINGS["UTF-16"][1]("Night") + b"\0"))
    cases.add("an encoding byte that is none", Frame("TIT2", b"\7Night"), text("TPE1", "Artist"), decided=says(
        "no sentence: 2.4.0 structure 4 knows 0 to 3; as Latin-1 the text is there at least", title="Night"))
    cases.add("broken UTF-8", Frame("TIT2", b"\3Ni\xffght"), text("TPE1", "Artist"), version=4, decided=says(
        "no sentence: what can be read, with a mark where something is lost", title="Ni\ufffdght"))
    cases.add("half a surrogate pair", Frame("TIT2", b"\1\xff\xfe\x3c\xd8A\0"), text("TPE1", "Artist"), decided=says(
        "no sentence: what can be read, with a mark where something is lost", title="\ufffdA"))
    cases.add("texts of spaces and line ends", text("TIT2", " A  song "), text("TPE1", "Two\r\nlines"), version=4)
    cases.add("several texts in a frame of 2.4", *[text(identifier, "One\0Two", encoding) for identifier, encoding in
              (("TIT2", "Latin-1"), ("TPE1", "UTF-16"), ("TALB", "UTF-16BE"), ("TPE2", "UTF-8"))], version=4)
    mark = ENCODINGS["UTF-16"][1]
    cases.add("several texts with a mark each", Frame("TIT2", b"\1" + mark("One\0") + mark("Two")), version=4)
    cases.add("several texts in a frame of 2.3", text("TIT2", "One\0Two"), text("TPE1", "One/Two"))
    cases.add("several texts, some empty", text("TIT2", "One\0\0Two\0\0"), version=4, decided=says(
        "2.4.0 frames 4.2: a zero parts one from the next, and an empty one is one", title="One /  / Two"))


def comments(cases):
    machine = comment(" 00000590 00000613", "iTunNORM")
    cases.add("comments: plain behind others", machine, comment("About", "Subject"), comment("Plain"))
    cases.add("comments: plain before others", comment("Plain"), machine, comment("About", "Subject"))
    cases.add("comments: a described one alone", machine, comment("About", "Subject"))
    cases.add("comments: of a machine alone", machine, comment("x", "iTunes_CDDB_1"))
    cases.add("comments: two plain ones", comment("First", language=b"deu"), comment("Second"))
    cases.add("comments: an empty one first", comment(""), comment("Second", language=b"deu"))
    cases.add("comments: UTF-16 descriptions", comment("About", "Ā夜", "UTF-16"), comment("Plain", "", "UTF-16"))
    cases.add("comments: mark in the description alone",
              Frame("COMM", b"\1eng\xff\xfe\0\0" + "Plain".encode("utf-16-le")), decided=says(
                  "no sentence: 2.4.0 structure 4 asks for a mark in each; the frame's first one serves",
                  comment="Plain"))
    cases.add("comments: without terminator", Frame("COMM", b"\0engPlain"))
    cases.add("comments: lines", comment("One\r\nTwo"))


def pictures(cases):
    for version in (2, 3, 4):
        mimes = (b"PNG", b"JPG") if version == 2 else (b"image/png", b"image/jpeg")
        cases.add(f"pictures: types, in 2.{version}", *[
            picture(JPEG if kind % 2 else PNG + bytes([kind]), kind, mimes[kind % 2], f"number {kind}", version=version)
            for kind in (3, 4, 0, 1, 2, 6, 17, 20)], version=version)
    cases.add("pictures: an old name for the type of data", picture(JPEG, 3, b"JPG"), picture(PNG, 4, b"PNG", "b"))
    cases.add("pictures: no name for the type of data", picture(JPEG, 3, b""), decided=says(
        "2.3.0 4.15: without the name \"image/\" is implied, which names nothing", pictures=[
            oracles.picture(3, None, None, JPEG)]))
    cases.add("pictures: a kind that is none", picture(JPEG, 21), picture(PNG, 200, description="b"), decided=says(
        "2.4.0 frames 4.14: 0 to 20 are defined, and \"other\" is one of them", pictures=[
            oracles.picture(21, "image/png", None, JPEG), oracles.picture(200, "image/png", "b", PNG)]))
    cases.add("pictures: two of one description", picture(JPEG, 3), picture(PNG, 3))
    cases.add("pictures: a link", picture(b"http://localhost/a.png", 3, b"-->"), decided=says(
        "2.4.0 frames 4.14: with \"-->\" the data is an address", pictures=[
            oracles.picture(3, "-->", None, b"http://localhost/a.png")]))
    cases.add("pictures: zeros at the beginning", picture(b"\0\0\0" + PNG, 3), picture(b"\0" + PNG, 4, description="b"))
    cases.add("pictures: UTF-16, zeros at the beginning", picture(b"\0" + PNG, 3, encoding="UTF-16"))
    cases.add("pictures: an empty UTF-16 description without mark",
              Frame("APIC", b"\1image/png\0\3\0\0" + PNG), text("TIT2", "Title"))
    cases.add("pictures: empty", picture(b"", 3), text("TIT2", "Title"), decided=says(
        "no sentence: a picture without data is none", pictures=[]))
    cases.add("pictures: without terminators", Frame("APIC", b"\0image/png"), Frame("APIC", b"\0image/png\0\3abc"),
              text("TIT2", "Title"), decided=says(
                  "2.4.0 frames 4.14: the description ends with a terminator, and the data is behind it", pictures=[]))


REMIX = "2.3.0 4.2.1 TCON and 2.4.0 frames 4.2.3: RX is a remix, CR a cover"
GENRES = {"RX": says(REMIX, genres=["Remix"]), "(RX)": says(REMIX, genres=["Remix"]),
          "(CR)(17)": says(REMIX, genres=["Cover", "Rock"]),
          "((odd) one": says("2.3.0 4.2.1 TCON: \"((\" stands for \"(\" in front of a name", genres=["(odd) one"]),
          "(255)": says("ID3v1: 255 is no genre", genres=[]),
          "999": says("2.3.0 appendix A: not a genre's number; what stands there is shown", genres=["999"])}


def genres(cases):
    for version in (2, 3, 4):
        for form in ("(17)", "17", "(51)(39)", "(4)Eurodisco", "(17)Rock", "RX", "(RX)", "(CR)(17)", "Spoken Word Rap",
                     "((odd) one", "17\x00Rock", "51\x0039", "Eurodisco\x00(4)", "(147)", "191", "(255)", "999", "",
                     "Rock/Pop", "0", "(0)", "Two\x00Two"):
            cases.add(f"genre {form!r} in 2.{version}", text("TCON", form), version=version,
                      decided=GENRES.get(form, {}))


def numbers(cases):
    trust = "2.3.0 4.2.1 TRCK: numbers, with \"/\" between them; a number in front is taken"
    decided = {"/12": says(trust, trackCount=12, discCount=12), "3 of 12": says(trust, track=3, disc=3),
               "99999999999": says("no sentence: more than any disc holds", track=None, disc=None)}
    for form in ("3", "3/12", "03/012", "", "/12", "3/", "0", "0/0", "3/x", "A3", "3 of 12", "300/1000", "99999999999"):
        cases.add(f"track and disc {form!r}", text("TRCK", form, "UTF-16"), text("TPOS", form),
                  decided=decided.get(form, {}))
    for version, year in ((3, "TYER"), (4, "TDRC")):
        for form in ("1998", "2004-05", "2004-05-06T07:08:09", "", "about 1998", "0000"):
            decided = says("2.3.0 4.2.1 TYER: four digits; the date of 2.4 begins with them too", year=2004) \
                if year == "TYER" and form.startswith("2004") else {}
            cases.add(f"{year} {form!r}", text(year, form), version=version, decided=decided)
    cases.add("TYER with TDAT", text("TYER", "2004"), text("TDAT", "0605"), text("TIME", "0708"))
    mixed = "no sentence: the other version's frame is the only date that is there"
    cases.add("TDRC in 2.3", text("TDRC", "2004-05-06"), decided=says(mixed, year=2004))
    cases.add("TYER in 2.4", text("TYER", "2004"), version=4, decided=says(mixed, year=2004))
    cases.add("TYER and TDRC in 2.4", text("TYER", "2001"), text("TDRC", "2004"), version=4, decided=says(
        "2.4.0 changes 5: TDRC stands for TYER", year=2004))
    cases.add("TORY alone", text("TORY", "1971"))
    cases.add("TDRL alone", text("TDRL", "1971"), version=4)
    cases.add("no date", text("TIT2", "Title"))


def formats(cases):
    title, artist = text("TIT2", "Tïtle Ā", "UTF-16"), text("TPE1", "Artist")
    cover = picture(JPEG, description="Ā", encoding="UTF-16")
    pic = picture(JPEG, 3, b"JPG", "Ā", "UTF-16", version=2)
    everything = dict(title="Tïtle Ā", artist="Artist", pictures=[oracles.picture(3, "image/png", "Ā", JPEG)])
    words = dict(title="Tïtle Ā", artist="Artist")
    cases.add("2.2 unsynchronised", title, pic, artist, version=2, whole_unsynchronised=True, padding=20)
    cases.add("2.3 unsynchronised", title, cover, artist, whole_unsynchronised=True, padding=20)
    cases.add("2.3 unsynchronised, with an extended header", title, cover, artist, whole_unsynchronised=True,
              extended=extended_header(3, [title, cover, artist], crc=True), decided=says(
                  "2.3.0 3.2: the extended header is subject to unsynchronisation, and its size is plain",
                  **everything))
    for name, data_length in (("", True), (" without data length", False)):
        frames = [frame_unsynchronised(frame, data_length) for frame in (title, cover)] + [artist]
        cases.add(f"2.4 frames unsynchronised{name}", *frames, version=4)
        cases.add(f"2.4 frames unsynchronised{name}, and the tag says so", *frames, version=4, flags=0x80)
    cases.add("2.4 unsynchronised by the tag's flag alone", *[
        Frame(frame.identifier, unsynchronised(frame.body)) for frame in (title, cover, artist)], version=4, flags=0x80,
              decided=says("2.4.0 structure 3.1: the flag says that all frames are; eyeD3 fails on it",
                           pictures=everything["pictures"]))
    for version in (3, 4):
        for frame, name in ((title, "title"), (cover, "picture")):
            cases.add(f"2.{version} compressed {name}", compressed(frame, version), artist, version=version)
        group = 0x0020 if version == 3 else 0x0040
        cases.add(f"2.{version} frames of a group", Frame("TIT2", b"\7" + title.body, group), artist, version=version,
                  decided=says("2.3.0 3.3.1, 2.4.0 structure 4.1.2: a byte names the group, the text is behind it",
                               title="Tïtle Ā"))
        secret = Frame("TIT2", b"\x80" + b"secret", 0x0040 if version == 3 else 0x0004)
        cases.add(f"2.{version} an encrypted frame", secret, artist, version=version, decided=says(
            "2.3.0 3.3.1, 2.4.0 structure 4.1.2: what is encrypted nobody can tell", title=None))
        cases.add(f"2.{version} read-only frames", text("TIT2", "Title", flags=0xE000 if version == 3 else 0x7000),
                  artist, version=version)
        frames = [title, cover, artist]
        for crc in (False, True):
            cases.add(f"2.{version} extended header{', with a sum' * crc}", *frames, version=version, padding=30,
                      extended=extended_header(version, frames, 30, crc), decided={} if version == 4 else says(
                          "2.3.0 3.2: the size is plain and leaves itself out; TagLib takes it for part of it",
                          **words))
        cases.add(f"2.{version} a frame without a body", title, Frame("TALB", b""), artist, version=version,
                  decided=says("2.4.0 structure 4: a frame has a byte at least; what follows is no worse for it",
                               artist="Artist"))
        cases.add(f"2.{version} one frame twice", title, artist, text("TIT2", "Again"), version=version,
                  decided=says("2.3.0 4.2, 2.4.0 frames 4.2: only one of its kind; the first", title="Tïtle Ā"))
        cases.add(f"2.{version} a frame that nobody knows", Frame("XYZ1", b"\0\1\2"), title, version=version)
        cases.add(f"2.{version} an identifier in small letters", title, Frame("abcd", b"\0\1\2"), artist,
                  version=version, decided=says("2.4.0 structure 4: an identifier is of capitals and digits; no frame",
                                                artist=None, frames=[title.name(version).decode()]))
        cases.add(f"2.{version} without frames", version=version, padding=100)
        cases.add(f"2.{version} of nothing at all", version=version)
    long_frame = compressed(cover, 4)
    both = Frame("APIC", long_frame.body[:4] + unsynchronised(long_frame.body[4:]), 0x000B)
    cases.add("2.4 compressed and unsynchronised", both, artist, version=4)
    restrictions = synchsafe(8) + bytes([1, 0x10, 1, 0])
    cases.add("2.4 extended header, with restrictions", title, artist, version=4, extended=restrictions,
              decided=says("2.4.0 structure 3.2: the size counts itself", artist="Artist"))
    cases.add("2.4 footer", title, cover, artist, version=4, footer=True, decided=says(
        "2.4.0 structure 3.1: the size leaves the footer out; TagLib takes it off once more", artist="Artist"))
    plain = "2.4.0 structure 4: sizes are synchsafe; only plain ones lead from frame to frame here"
    cases.add("2.4 plain sizes", text("TIT2", "Title", plain=True), picture(JPEG * 3, plain=True),
              text("TPE1", "Artist", plain=True), version=4, padding=50, decided=says(
                  plain, artist="Artist", pictures=[oracles.picture(3, "image/png", None, JPEG * 3)]))
    cases.add("2.4 plain sizes, the last frame long", text("TIT2", "Title", plain=True),
              text("TPE1", "Artist" * 50, plain=True), version=4, decided=says(plain, artist="Artist" * 50))
    zeros = JPEG[:480] + bytes(18)
    cases.add("2.4 plain sizes, padded, a picture that ends in zeros", picture(zeros, plain=True),
              text("TPE1", "Artist", plain=True), version=4, padding=1500, decided=says(
                  plain, artist="Artist", pictures=[oracles.picture(3, "image/png", None, zeros)]))
    old = [Frame(name + "\0", frame.body) for name, frame in (("TT2", title), ("TP1", artist))]
    cases.add("2.2 identifiers in 2.3", *old, text("TALB", "Album"), decided=says(
        "no sentence: an early tagger's slip, which mutagen and TagLib know", title="Tïtle Ā", artist="Artist",
        album="Album", frames=["TIT2", "TPE1", "TALB"]))
    cases.add("much padding", title, padding=20000)


def places(cases):
    title, artist = text("TIT2", "Title"), text("TPE1", "Artist")
    nothing = dict.fromkeys(oracles.NOTHING)
    whole, audio = tag(3, title, artist, padding=64), cases.audio
    for name, junk in (("zeros", bytes(500)), ("words", b"junk " * 90)):
        cases.raw(f"{name} before the tag", junk + whole + audio, ["TIT2", "TPE1"], says(
            "2.4.0 structure 3: a tag is at the beginning by habit alone; no audio is in front of it", title="Title",
            artist="Artist"))
    cases.raw("a second tag behind the first", whole + tag(4, text("TALB", "Album")) + audio, ["TIT2", "TPE1"])
    cases.raw("the tag at the end", audio + tag(4, title, artist, footer=True))
    for size in (11, 15, 30):
        cases.raw(f"a size of {size} cuts a frame", tag(3, title, artist, size=size) + audio)
    cases.raw("a size that takes in audio", tag(3, title, artist, size=400) + audio, ["TIT2", "TPE1"])
    cases.raw("a frame longer than the tag", tag(3, title, text("TPE1", "Artist", size=5000)) + audio, decided=says(
        "no sentence: the frame is as long as the room that is left", artist="Artist"))
    cover = tag(3, title, picture(JPEG))
    cases.raw("ends within a picture", cover[:-100], decided=says(
        "no sentence: what is there of it", pictures=[oracles.picture(3, "image/png", None, JPEG[:-100])]))
    cases.raw("ends within a text", tag(3, artist, title)[:-2], decided=says(
        "no sentence: what is there of it; mutagen refuses the file", pictures=[]))
    cases.raw("ends within the header", whole[:8], unreadable="has neither MPEG audio nor a tag")
    cases.raw("empty", b"", unreadable="is empty")
    cases.raw("audio alone", audio)
    unknown = "2.4.0 structure 3.1: a later major version cannot be read"
    cases.raw("version 5", whole.replace(b"ID3\3", b"ID3\5") + audio, decided=says(unknown, **nothing))
    cases.raw("a size byte with bit 7", whole[:6] + b"\x80" + whole[7:] + audio, decided=says(
        "2.4.0 structure 3.1: bit 7 is zero in a header's size; this is none", title=None, artist=None, pictures=[]))


def ends(cases):
    title, artist = text("TIT2", "Title"), text("TPE1", "Artist")
    full = dict(title="Old Label", artist="Søren", album="Tones", year="1996", note="A note")
    cases.raw("v1.0", cases.audio + v1(**full, genre=17))
    cases.raw("v1.1", cases.audio + v1(**full, track=5, genre=17))
    cases.raw("v1 filled with spaces", cases.audio + v1(**full, genre=8, pad=b" "), decided=says(
        "no sentence: fields are filled with zeros or spaces, which are no part of the text", comment="A note"))
    cases.raw("v1 without anything", cases.audio + v1())
    note = "123456789012345678901234567890"
    cases.raw("v1.0 with a note of 30", cases.audio + v1(**dict(full, note=note)), decided=says(
        "ID3v1.1: a track only where the byte before it is zero", track=None, comment=note))
    cases.raw("v1 fields that are full", cases.audio + v1(*["x" * 29 + "y"] * 3, "1996", genre=191))
    cases.raw("v1 with rests behind the zeros", cases.audio + v1(title="One\0rest", artist="Two\0 rest"), decided=says(
        "ID3v1: a zero ends a text", title="One", artist="Two"))
    cases.add("v1 and v2 differ", title, artist, text("TYER", "2001"), text("TRCK", "7"), text("TCON", "Jazz"),
              text("TALB", "Album"), comment("Other"), end=v1(**full, track=5, genre=17))
    cases.add("v1 has what v2 lacks", title, end=v1(**full, track=5, genre=17), decided=says(
        "no sentence: fallback is a preference, and it is on", artist="Søren", album="Tones", track=5, year=1996,
        genres=["Rock"], comment="A note"))
    ape = apev2(Title="Ape", Artist="Of APEv2")
    cases.raw("APEv2 alone", cases.audio + ape, decided=says(
        "no sentence: APEv2 is another format, which is not read", title=None, artist=None))
    cases.add("v2, APEv2 and v1", title, artist, end=ape + v1(title="Old Label"))
    cases.add("v2, Lyrics3 and v1", title, artist, end=lyrics3(b"[00:01]la") + v1(title="Old Label"))


def hand_laid(audio):
    cases = Cases(audio)
    for part in (texts, comments, pictures, genres, numbers, formats, places, ends):
        part(cases)
    return cases.all


# What is to be said of a file besides, by case; of every other there is no warning.
WARNINGS = {
    "pictures: empty": "valid image", "pictures: without terminators": "valid image",
    "2.3 an encrypted frame": "frame TIT2 is encrypted", "2.4 an encrypted frame": "frame TIT2 is encrypted",
    "2.3 an identifier in small letters": "no padding", "2.4 an identifier in small letters": "no padding",
    "2.4 plain sizes": "plain numbers", "2.4 plain sizes, the last frame long": "plain numbers",
    "2.4 plain sizes, padded, a picture that ends in zeros": "plain numbers",
    "2.2 identifiers in 2.3": "identifier of version 2.2",
    "a second tag behind the first": "another ID3v2 tag",
    "a size of 11 cuts a frame": "frame TIT2 is longer than the tag",
    "a size of 15 cuts a frame": "frame TIT2 is longer than the tag",
    "a size of 30 cuts a frame": "frame TPE1 is longer than the tag",
    "a size that takes in audio": "no padding",
    "a frame longer than the tag": "frame TPE1 is longer than the tag",
    "ends within a picture": "the tag is longer than the file", "ends within a text": "the tag is longer than the file",
    "version 5": "version 2.5 cannot be read",
    "a size byte with bit 7": "passed over",
}
