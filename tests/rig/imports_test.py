"""The import screen: what it hands over, and what a message does to it."""

import harness
from harness import CENTER, Scenario

SERVED = [f"{CENTER} runServer", f"{CENTER} register QLSyncSuccess", "repeat mode asked", "files emptied"]
DONE = ["libraryManagerWritingSucceded", "downloads refreshed"]


def listing(names):
    return "[" + ", ".join(f'"{name}"' for name in names) + "]"


class Imports(Scenario):
    def setUp(self):
        super().setUp()
        self.device.drop.mkdir(parents=True)

    def put(self, *names):
        for name in names:
            (self.device.downloads / name).write_text(name)

    def added(self, *names):
        """The record of these names, each file moved before the next name is added."""
        return [f"file added: {name}; dropped: {listing(sorted(names[:i]))}" for i, name in enumerate(names)]

    def test_files_are_handed_over_in_order(self):
        app = self.downloader()
        for names in (["one.mp3"], ["c.mp3", "a b.m4a", "b.mp3"], ["Ünder - Straße.mp3", ".hidden", "no extension"]):
            with self.subTest(names=names):
                self.put("stays.mp3", *names)
                self.assertEqual(app.do("import", *names), SERVED + self.added(*names) + [f"files: {listing(names)}"])
                self.assertEqual({path.name: path.read_text() for path in self.device.drop.iterdir()},
                                 {name: name for name in names})
                self.assertEqual([path.name for path in self.device.downloads.iterdir()], ["stays.mp3"])
                for name in names:
                    (self.device.drop / name).unlink()
        self.assert_ends(app)

    def test_an_empty_selection_serves_and_empties(self):
        app = self.downloader()
        self.assertEqual(app.do("import"), SERVED + ["files: []"])
        self.assert_ends(app)

    def test_what_is_no_list_of_names_brings_nothing_down(self):
        listed = ["file added: 7; dropped: []", "file added: one.mp3; dropped: []",
                  'file added: <null>; dropped: ["one.mp3"]', 'files: [7, "one.mp3", <null>]']
        app = self.downloader()
        for odd, lines in ((None, ["files: []"]), ("text", ["files: []"]), ("number", ["files: []"]),
                           ("set", ["file added: one.mp3; dropped: []", 'files: ["one.mp3"]']), ("numbers", listed)):
            with self.subTest(odd=odd):
                self.put("one.mp3")
                self.assertEqual(app.do("import-odd", odd), SERVED + lines)
                self.assertEqual([path.read_text() for path in self.device.drop.iterdir()],
                                 ["one.mp3"] if len(lines) > 1 else [])
                (self.device.drop / "one.mp3").unlink(missing_ok=True)
        self.assert_ends(app)

    def test_a_file_that_is_not_there_is_listed_and_not_moved(self):
        self.put("here.mp3", "last.mp3", "../beside.mp3")
        app = self.downloader()
        self.assertEqual(app.do("import", "gone.mp3", "here.mp3", "../beside.mp3", "", "last.mp3"), SERVED + [
            "file added: gone.mp3; dropped: []",
            "file added: here.mp3; dropped: []",
            'file added: ../beside.mp3; dropped: ["here.mp3"]',
            'file added: ; dropped: ["here.mp3"]',
            'file added: last.mp3; dropped: ["here.mp3"]',
            'files: ["gone.mp3", "here.mp3", "../beside.mp3", "", "last.mp3"]'])
        self.assertEqual(sorted(path.name for path in self.device.drop.iterdir()), ["here.mp3", "last.mp3"])
        self.assertTrue((self.device.downloads / "../beside.mp3").exists())
        self.assert_ends(app)

    def test_what_lies_in_the_drop_folder_is_not_overwritten(self):
        self.put("one.mp3")
        (self.device.drop / "one.mp3").write_text("earlier")
        app = self.downloader()
        app.do("import", "one.mp3")
        self.assertEqual((self.device.drop / "one.mp3").read_text(), "earlier")
        self.assertEqual((self.device.downloads / "one.mp3").read_text(), "one.mp3")
        self.assert_ends(app)

    def test_a_message_does_what_it_says_and_refreshes(self):
        app = self.downloader()
        for name, done in (("QLSyncSuccess", DONE), ("qlsyncsuccess", DONE[1:]), ("QLSyncSuccess ", DONE[1:]),
                           ("Another", DONE[1:]), ("", DONE[1:]), (None, DONE[1:])):
            for user_info in (None, "text", "number", "null", "nested"):
                with self.subTest(name=name, user_info=user_info):
                    self.assertEqual(app.do("message", name, user_info), done + ["reply: (null)"])
        self.assert_ends(app)

    def test_messages_arrive_from_the_import_until_the_screen_goes(self):
        downloader, other = self.downloader(), self.app("com.example.other")
        unheard = [f"{CENTER} send QLSyncSuccess nil -> NO"]
        self.assertEqual(downloader.do("disappear"), ["import screen disappeared", f"{CENTER} stopServer"])
        self.assertEqual(other.do("send", "QLSyncSuccess", None), unheard)
        for _ in range(2):
            downloader.do("import")
            self.assertEqual(other.do("send", "QLSyncSuccess", None), [f"{CENTER} send QLSyncSuccess nil -> YES"])
            self.assertEqual(downloader.until("downloads refreshed"), [f"{CENTER} receive QLSyncSuccess nil"] + DONE)
            other.do("send", "QLSyncSuccess", "thing")
            self.assertEqual(downloader.until("downloads refreshed"),
                             [CENTER + ' receive QLSyncSuccess {any = "thing"}'] + DONE)
            self.assertEqual(downloader.do("disappear"), ["import screen disappeared", f"{CENTER} stopServer"])
            self.assertEqual(other.do("send", "QLSyncSuccess", None), unheard)
        self.assert_ends(downloader, other)

    def test_what_the_app_lacks_is_passed_over(self):
        served, emptied, added = SERVED[:2], SERVED[3:], "file added: one.mp3; dropped: []"
        none, one = "files: nil", 'files: ["one.mp3"]'
        for missing, recorded in (
                ("CPDistributedMessagingCenter", SERVED[2:] + [added, one]),
                ("MPMusicPlayerController", served + emptied + [added, one]),
                ("MPMusicPlayerController.iPodMusicPlayer", served + emptied + [added, one]),
                ("MPMusicPlayerController.repeatMode", served + emptied + [added, one]),
                ("ImportViewController._filesToImport", SERVED[:3] + [none]),
                ("ImportViewController._filesToImport#", SERVED[:3] + [none]),
                ("ImportViewController.libraryManagerWritingSucceded", SERVED + [added, one]),
                ("DownloadsViewController", SERVED + [added, one])):
            with self.subTest(missing=missing):
                self.put("one.mp3")
                app = self.downloader(without=missing)
                self.assertEqual(app.do("import", "one.mp3"), recorded)
                (self.device.drop / "one.mp3").unlink()
                heard = [line for line in DONE if not (missing.endswith("Succeded") and line == DONE[0])
                         and not (missing == "DownloadsViewController" and line == DONE[1])]
                self.assertEqual(app.do("message", "QLSyncSuccess", None), heard + ["reply: (null)"])
                stopped = [] if missing == "CPDistributedMessagingCenter" else [f"{CENTER} stopServer"]
                self.assertEqual(app.do("disappear"), ["import screen disappeared"] + stopped)
                self.assert_ends(app)


if __name__ == "__main__":
    harness.main()
