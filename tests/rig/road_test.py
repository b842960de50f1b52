"""The road of an import across two processes, the downloader app and the music app, with real files. Run alone, it
tells of every step."""

import hashlib
import plistlib
import re
import shutil
import struct
import subprocess

import harness
from harness import CENTER, IDENTIFIER_REPLACED, SAMPLES, TABLE, Scenario, tags_of

MP3, M4A = "Test Card - Colour Bars.mp3", "morning.m4a"
STARTED = ["library setImportationEnabled YES", IDENTIFIER_REPLACED]
FIRST = 0xC000000000000001  # the library's first identifier


def cover_of(path):
    """The picture in a file, by ffmpeg."""
    return subprocess.run(["ffmpeg", "-v", "quiet", "-i", path, "-map", "0:v", "-c", "copy", "-f", "image2pipe", "-"],
                          capture_output=True, check=True).stdout


def code(text):
    return int.from_bytes(text.encode(), "big")


class Road(Scenario):
    def describe(self, path, seconds):
        """Tells the device's media framework what ffmpeg reads in an m4a file."""
        tags = tags_of(path)
        items = [{"commonKey": common, "value": tags[tag], "stringValue": tags[tag]}
                 for common, tag in (("title", "title"), ("artist", "artist"), ("albumName", "album"),
                                     ("creationDate", "date"))]
        items.append({"commonKey": "artwork", "value": cover_of(path)})
        items.append({"keySpace": "itsk", "key": code("aART"), "value": tags["album_artist"]})
        for key, tag in (("trkn", "track"), ("disk", "disc")):
            numbers = struct.pack(">HHHH", 0, *map(int, tags[tag].split("/")), 0)
            items.append({"keySpace": "itsk", "key": code(key), "value": numbers})
        self.device.assets.mkdir(parents=True)
        digest = hashlib.md5(path.read_bytes()).hexdigest()
        (self.device.assets / f"{digest}.plist").write_bytes(
            plistlib.dumps({"formats": [{"name": "com.apple.itunes", "items": items}], "duration": seconds}))

    def teller(self, who):
        return lambda line: print(f"{who:>10}: {line.replace(str(self.device.root), '')}", flush=True)

    def batch_of(self, lines):
        """What was recorded of each file of a batch, by its extension, without the asset's name and its values."""
        files = {}
        for line in lines:
            found = re.search(r'^(?:asset|import [a-zA-Z]+) "(.*)/([A-Z0-9]{20})\.(\w+)"$', line)
            if found:
                self.assertEqual(found[1], str(self.device.music))
                extension = found[3]
                line = line.replace(found[1] + "/" + found[2], "NAME")
            if not line.startswith("import value "):
                files.setdefault(extension, []).append(line)
        return files

    def test_two_files_go_all_the_way(self):
        music = self.music_app(teller=self.teller("music app"))
        self.assertEqual(music.loading, STARTED)
        downloader = self.downloader(teller=self.teller("downloader"))
        self.assertEqual(downloader.loading, TABLE + [IDENTIFIER_REPLACED])

        originals = {"mp3": self.device.downloads / MP3, "m4a": self.device.downloads / M4A}
        # Its title is a subtitle now, and so it has none.
        originals["mp3"].write_bytes((SAMPLES / "bars.mp3").read_bytes().replace(b"TIT2", b"TIT3", 1))
        shutil.copy(SAMPLES / "morning.m4a", originals["m4a"])
        self.describe(originals["m4a"], seconds=3.0)
        self.assertEqual(downloader.do("finish", MP3), [f"transfer finished: {MP3}", "downloads refreshed"])
        contents = {extension: path.read_bytes() for extension, path in originals.items()}
        covers = {extension: cover_of(path) for extension, path in originals.items()}
        tags = tags_of(originals["mp3"])
        self.assertEqual((tags["title"], tags["artist"]), ("Colour Bars", "Test Card"))

        self.assertEqual(downloader.do("import", MP3, M4A), [
            f"{CENTER} runServer", f"{CENTER} register QLSyncSuccess", "repeat mode asked", "files emptied",
            f"file added: {MP3}; dropped: []", f'file added: {M4A}; dropped: ["{MP3}"]', f'files: ["{MP3}", "{M4A}"]'])

        self.assertEqual(music.until(".* send .*"), [f"{CENTER} send QLSyncSuccess nil -> YES"])
        self.assertEqual(downloader.until("downloads refreshed"), [
            f"{CENTER} receive QLSyncSuccess nil", "libraryManagerWritingSucceded", "downloads refreshed"])
        batch = music.until("importer freed") + music.until("importer freed")
        self.assertEqual(music.do("version")[-1], "systemVersion: 7.0")  # and so the batch is over
        order = [re.search(r"\.(\w+)\"$", line)[1] for line in batch if line.startswith("import track")]
        identifiers = {extension: FIRST + place for place, extension in enumerate(order)}
        self.assertEqual(self.batch_of(batch), {extension: ([f'asset "NAME.m4a"'] if extension == "m4a" else []) + [
            f'import assetFilePath "NAME.{extension}"', "import mediaType 8", "import shouldAddToPurchasedPlaylist NO",
            f"import artworkData <{len(covers[extension])} bytes>", f'import track "NAME.{extension}"',
            f'import freed "NAME.{extension}"', f"import complete 0 {identifiers[extension]}", "importer freed"]
            for extension in order})
        self.assertEqual(downloader.do("disappear"), ["import screen disappeared", f"{CENTER} stopServer"])
        self.assertEqual(list(self.device.drop.iterdir()) + list(self.device.downloads.iterdir()), [])

        records = self.device.records()
        self.assertEqual(set(records), {str(identifier) for identifier in identifiers.values()})
        filed = {extension: records[str(identifier)] for extension, identifier in identifiers.items()}
        for extension, record in filed.items():
            self.assertRegex(record["assetPath"], rf"^[A-Z0-9]{{20}}\.{extension}$")
            self.assertEqual((self.device.music / record["assetPath"]).read_bytes(), contents[extension])
            self.assertEqual(record["artwork"], hashlib.md5(covers[extension]).hexdigest())
            self.assertEqual((self.device.artwork / record["artwork"]).read_bytes(), covers[extension])
            self.assertEqual(record["mediaType"], 8)
        self.assertEqual(filed["mp3"]["values"], {
            "item_extra.title": tags["title"], "item_artist.item_artist": tags["artist"], "album.album": tags["album"],
            "album_artist.album_artist": tags["album_artist"], "item_extra.total_time_ms": 4000, "track_number": 7,
            "item_extra.track_count": 9, "disc_number": 2, "item_extra.disc_count": 2, "item_extra.year": 1998})
        self.assertEqual(filed["m4a"]["values"], {
            "item_extra.title": "Før daggry – 夜明け前", "item_artist.item_artist": "Søren & the Sweeps",
            "album.album": "Rising Tones", "album_artist.album_artist": "Various Oscillators",
            "item_extra.total_time_ms": 3000, "track_number": 3, "item_extra.track_count": 12, "disc_number": 1,
            "item_extra.disc_count": 2, "item_extra.year": "2009"})
        tracks = plistlib.loads(self.device.library.read_bytes())["tracks"]
        for extension, identifier in identifiers.items():
            track = tracks[str(identifier)]
            self.assertEqual(track["values"], filed[extension]["values"])
            self.assertEqual(track["artworkData"], covers[extension])
        self.assertEqual(downloader.end(), [])
        # Where the first file lay alone for too long, there is a second batch, of nothing.
        self.assertEqual(set(music.end()) - {f"{CENTER} send QLSyncSuccess nil -> NO"}, set())
        self.recheck(filed, identifiers)

    def recheck(self, filed, identifiers):
        """What the music app's later starts do, while the library has all and when it has lost a track."""
        again = self.music_app(teller=self.teller("music app"))
        self.assertEqual(again.loading, STARTED)
        self.assert_ends(again)

        library = plistlib.loads(self.device.library.read_bytes())
        del library["tracks"][str(identifiers["mp3"])]
        self.device.library.write_bytes(plistlib.dumps(library))
        again = self.music_app(teller=self.teller("music app"))
        self.assertEqual([again.loading[0], *again.loading[-3:]],
                         [STARTED[0], f"import complete 0 {FIRST + 2}", "importer freed", STARTED[1]])
        self.assertEqual(self.device.records(), {str(identifiers["m4a"]): filed["m4a"], str(FIRST + 2): filed["mp3"]})
        self.assert_ends(again)


if __name__ == "__main__":
    harness.main()
