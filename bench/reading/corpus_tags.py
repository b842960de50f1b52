"""The corpus's tags: 2.3 and 2.4 as mutagen writes them, 2.2 laid out here, since it writes none."""

import io

from mutagen import id3

LATIN1, UTF16, UTF8 = 0, 1, 3
# Tables, frame and scan headers of a picture of 256 by 256 points; the bytes behind them stand for its points.
JPEG_HEAD = (b"\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01\x00\x00"
             b"\xff\xdb\x00\x43\x00" + b"\x10" * 64 +
             b"\xff\xc0\x00\x0b\x08\x01\x00\x01\x00\x01\x01\x11\x00"
             b"\xff\xc4\x00\x15\x00\x01" + b"\x00" * 15 + b"\x00"
             b"\xff\xc4\x00\x15\x10\x01" + b"\x00" * 15 + b"\x00"
             b"\xff\xda\x00\x08\x01\x01\x00\x00\x3f\x00")
OLD_NAMES = {"title": "TT2", "artist": "TP1", "album": "TAL", "albumArtist": "TP2", "composer": "TCM", "track": "TRK",
             "disc": "TPA", "date": "TYE", "genre": "TCO", "encodedBy": "TEN"}
NAMES = {"title": "TIT2", "artist": "TPE1", "album": "TALB", "albumArtist": "TPE2", "composer": "TCOM", "track": "TRCK",
         "disc": "TPOS", "date": "TDRC", "genre": "TCON", "encodedBy": "TENC"}


def picture(chance):
    """20 to 300 KB that no compression shrinks; the marker byte may not stand among a picture's points."""
    points = chance.randbytes(chance.randrange(20_000, 300_000) - len(JPEG_HEAD) - 2)
    return JPEG_HEAD + points.replace(b"\xff", b"\xfe") + b"\xff\xd9"


class Tag:
    """What goes into one tag. `texts` has the text frames by the keys of NAMES, `comments` (description, text) pairs,
    `pictures` (type, description, bytes) triples."""

    def __init__(self, encoding, texts, comments, pictures, own_texts, padding):
        self.encoding = encoding
        self.texts = texts
        self.comments = comments
        self.pictures = pictures
        self.own_texts = own_texts
        self.padding = padding

    def bytes(self, version):
        return self.old_bytes() if version == 2 else self.mutagen_bytes(version)

    def mutagen_bytes(self, version):
        tag = id3.ID3()
        for key, text in self.texts.items():
            tag.add(getattr(id3, NAMES[key])(encoding=self.encoding, text=[text]))
        for description, text in self.comments:
            tag.add(id3.COMM(encoding=self.encoding, lang="eng", desc=description, text=[text]))
        for kind, description, data in self.pictures:
            tag.add(id3.APIC(encoding=self.encoding, mime="image/jpeg", type=kind, desc=description, data=data))
        for description, text in self.own_texts:
            tag.add(id3.TXXX(encoding=self.encoding, desc=description, text=[text]))
        if version == 3:
            tag.update_to_v23()
        file = io.BytesIO()
        tag.save(file, v1=0, v2_version=version, padding=lambda info: self.padding)
        return file.getvalue()

    def old_bytes(self):
        def encoded(text, end):
            if self.encoding == LATIN1:
                return text.encode("latin-1") + end * b"\0"
            return b"\xff\xfe" + text.encode("utf-16-le") + end * b"\0\0"

        def frame(name, body):
            return name.encode() + len(body).to_bytes(3, "big") + body

        coding = bytes([self.encoding])
        frames = b"".join(frame(OLD_NAMES[key], coding + encoded(text, 0)) for key, text in self.texts.items())
        frames += b"".join(frame("COM", coding + b"eng" + encoded(description, 1) + encoded(text, 0))
                           for description, text in self.comments)
        frames += b"".join(frame("PIC", coding + b"JPG" + bytes([kind]) + encoded(description, 1) + data)
                           for kind, description, data in self.pictures)
        frames += b"".join(frame("TXX", coding + encoded(description, 1) + encoded(text, 0))
                           for description, text in self.own_texts)
        length = len(frames) + self.padding
        size = bytes(length >> shift & 0x7F for shift in (21, 14, 7, 0))
        return b"ID3\x02\x00\x00" + size + frames + bytes(self.padding)
