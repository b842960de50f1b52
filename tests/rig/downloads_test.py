"""Finished downloads, and the screen that lists them."""

import harness
from harness import Scenario, mp3, tags_of, text_frame

TITLED, PERFORMED, ALBUM = text_frame("TIT2", "Given"), text_frame("TPE1", "Known"), text_frame("TALB", "Album")


def without_log(lines):
    """The tag engine's own lines left out."""
    return [line for line in lines if not line.startswith("log: ")]


class Downloads(Scenario):
    def finish(self, app, name, content=None):
        """Has a download end; the title and the artist that its file then has."""
        path = self.device.downloads / name
        path.write_bytes(mp3() if content is None else content)
        self.assertEqual(without_log(app.do("finish", name)), [f"transfer finished: {name}", "downloads refreshed"])
        self.assertIn(mp3(), path.read_bytes(), "the audio is whole")
        tags = tags_of(path)
        return tags.get("title", ""), tags.get("artist", "")

    def test_a_download_is_named_from_its_file_name(self):
        app = self.downloader()
        for name, title, artist in (("Song.mp3", "Song", "Song"),
                                    ("Artist - Title.mp3", "Title", "Artist"),
                                    ("A - B - C.mp3", "B", "A"),
                                    ("A-B.mp3", "B", "A"),
                                    ("  A B \u3000-\u00a0 C D  .mp3", "C D", "A B"),
                                    ("A - .mp3", "", "A"),
                                    (" - B.mp3", "B", ""),
                                    ("A.B - C.D.mp3", "C.D", "A.B"),
                                    ("No Extension", "No Extension", "No Extension"),
                                    ("---.mp3", "", ""),
                                    ("   .mp3", "", ""),
                                    ("- -", "", "")):
            with self.subTest(name=name):
                self.assertEqual(self.finish(app, name), (title, artist))
        self.assert_ends(app)

    def test_names_of_any_script_reach_the_tag(self):
        app = self.downloader()
        for artist, title in (("Ünder", "Straße"), ("日本", "歌"), ("𝄞", "é")):
            with self.subTest(artist=artist):
                self.assertEqual(self.finish(app, f"{artist} - {title}.mp3", mp3(ALBUM)), (title, artist))
        self.assert_ends(app)

    def test_what_a_tag_says_is_kept(self):
        app = self.downloader()
        for what, frames, named in (("both", [TITLED, PERFORMED], ("Given", "Known")),
                                    ("title", [TITLED], ("Given", "A")),
                                    ("artist", [PERFORMED], ("B", "Known")),
                                    ("neither", [ALBUM], ("B", "A")),
                                    ("empty", [text_frame("TIT2", ""), text_frame("TPE1", "")], ("B", "A"))):
            with self.subTest(what):
                self.assertEqual(self.finish(app, "A - B.mp3", mp3(*frames)), named)
        self.assertEqual(self.finish(app, "A - B.mp3", (harness.SAMPLES / "old-label.mp3").read_bytes()[:-128]
                                     + b"TAG" + b"Old".ljust(30, b"\0") + b"\0" * 95), ("Old", "A"))
        self.assert_ends(app)

    def test_a_download_that_is_no_mp3_or_not_there_is_refreshed_all_the_same(self):
        app = self.downloader()
        (self.device.downloads / "folder").mkdir()
        for name in ("vanished.mp3", "folder", "a/b.mp3", "", ".", "x" * 300):
            with self.subTest(name=name):
                self.assertEqual(without_log(app.do("finish", name)),
                                 [f"transfer finished: {name}", "downloads refreshed"])
        self.assertEqual(self.device.files(), ["var/mobile/Media/Downloads/folder"])
        self.assertEqual(app.do("finish", None), ["transfer finished: (null)", "downloads refreshed"])
        self.assert_ends(app)

    def test_what_the_app_lacks_is_passed_over(self):
        for missing, recorded in (("SPTransfer.theFilename", ["transfer finished: (null)", "downloads refreshed"]),
                                  ("SPTransfer.theFilename#", ["transfer finished: (null)", "downloads refreshed"]),
                                  ("DownloadsViewController", ["transfer finished: A - B.mp3"]),
                                  ("DownloadsViewController.sharedInstance", ["transfer finished: A - B.mp3"]),
                                  ("DownloadsViewController.refresh", ["transfer finished: A - B.mp3"])):
            with self.subTest(missing=missing):
                path = self.device.downloads / "A - B.mp3"
                path.write_bytes(mp3())
                app = self.downloader(without=missing)
                self.assertEqual(without_log(app.do("finish", path.name)), recorded)
                self.assertEqual(tags_of(path).get("title"), None if "theFilename" in missing else "B")
                self.assert_ends(app)

    def test_the_empty_screen_tells_where_songs_come_from(self):
        app = self.downloader()
        self.assertEqual(app.do("view"), ["downloads loaded",
                                          "label: No songs in here|You can download songs from the search tab or drop "
                                          "any mp3s in|/var/mobile/Media/Downloads"])
        self.assert_ends(app)

    def test_a_screen_without_its_label_or_method_loads(self):
        for missing, recorded in (("DownloadsViewController._noSongsLabel", ["downloads loaded", "label: (null)"]),
                                  ("DownloadsViewController._noSongsLabel#", ["downloads loaded", "label: (null)"]),
                                  ("UILabel", ["downloads loaded", "label: (null)"]),
                                  ("UILabel.setText:", ["downloads loaded", "label: No songs"])):
            with self.subTest(missing=missing):
                app = self.downloader(without=missing)
                self.assertEqual(app.do("view"), recorded)
                self.assert_ends(app)


if __name__ == "__main__":
    harness.main()
