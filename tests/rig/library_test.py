"""The music app's side: batches, and what the library answers to them."""

import os
import re
import typing

import harness
from harness import CENTER, IDENTIFIER_REPLACED, Scenario, mp3, text_frame

STARTED = ["library setImportationEnabled YES", IDENTIFIER_REPLACED]
FIRST = 0xC000000000000001  # the library's first identifier

GIVEN = [f"{CENTER} send QLSyncSuccess nil -> NO", 'import assetFilePath "NAME.mp3"', "import mediaType 8",
         "import shouldAddToPurchasedPlaylist NO", 'import track "NAME.mp3"']
FREED = 'import freed "NAME.mp3"'
TAKEN = GIVEN + [FREED, f"import complete 0 {FIRST}", "importer freed"]


class Outcome(typing.NamedTuple):
    """What an app is started with, the record of a batch of one file, the key that the file is filed under."""

    options: dict
    recorded: list
    key: int
    loading: list = STARTED
    name: str = "song.mp3"


class Library(Scenario):
    def drop(self, device, name):
        """A real file arrives in the drop folder."""
        path = device.downloads / name
        path.write_bytes(mp3(text_frame("TIT2", name)))
        os.rename(path, device.drop / name)

    def batch(self, app, last):
        """The record of a batch, up to the line `last`, without random names and a track's values."""
        lines = app.until(re.escape(last).replace("NAME", ".*"))
        lines += app.do("version")[:-1]  # the main loop comes to it when the batch is over
        return [re.sub(r"/\S*/[A-Z0-9]{20}\.", "NAME.", line) for line in lines if not line.startswith("import value ")]

    def assert_outcomes(self, *outcomes):
        """All at once, since a batch begins when its folder has been quiet for long."""
        running = []
        for outcome in outcomes:
            device = self.new_device()
            running.append((outcome, device, self.music_app(device=device, **outcome.options)))
            self.drop(device, outcome.name)
        for outcome, device, app in running:
            with self.subTest(**outcome.options):
                self.assertEqual(app.loading, outcome.loading)
                self.assertEqual(self.batch(app, outcome.recorded[-1]), outcome.recorded)
                self.assertEqual(list(device.drop.iterdir()), [])
                self.assertEqual({key: record["assetPath"] for key, record in device.records().items()},
                                 {str(outcome.key): path.name for path in device.music.iterdir()})
                self.assert_ends(app)

    def test_a_track_is_filed_under_what_the_importer_says_before_it_returns(self):
        raised = "log: the music library does not take NAME.mp3: the library raises"
        self.assert_outcomes(
            Outcome({"importer": "at once"}, TAKEN, FIRST),
            Outcome({"importer": "twice"}, TAKEN, FIRST),
            Outcome({"importer": "later"}, GIVEN + ["importer freed", FREED, f"import complete 0 {FIRST}"], 0),
            Outcome({"importer": "refuse"}, GIVEN + [FREED, "import complete 3 0", "importer freed"], 0),
            Outcome({"importer": "raise"}, GIVEN + [raised, FREED, "importer freed"], 0))

    def test_two_tracks_that_are_completed_later_share_a_key(self):
        app = self.music_app(importer="later")
        for name in ("one.mp3", "two.mp3"):
            self.drop(self.device, name)
        ends = [app.until("import complete .*")[-1] for _ in range(2)]
        self.assertEqual(sorted(ends), [f"import complete 0 {FIRST}", f"import complete 0 {FIRST + 1}"])
        app.do("version")
        self.assertEqual(list(self.device.records()), ["0"])
        self.assertEqual(len(list(self.device.music.iterdir())), 2)
        self.assert_ends(app)

    def test_a_class_that_the_app_lacks_costs_what_it_does(self):
        unread = "log: the music library cannot be read; nothing is added again"
        other = [line.replace("mp3", "m4a") for line in TAKEN]
        self.assert_outcomes(
            Outcome({"without": "MLTrackImport"}, GIVEN[:1], 0),
            Outcome({"without": "ML3TrackImporter"}, GIVEN[:1], 0),
            Outcome({"without": "ML3MusicLibrary"}, GIVEN[:1], 0, loading=STARTED[1:]),
            Outcome({"without": "MPMediaQuery"}, TAKEN, FIRST, loading=[STARTED[0], unread, STARTED[1]]),
            Outcome({"without": "CPDistributedMessagingCenter"}, TAKEN[1:], FIRST),
            Outcome({"without": "AVURLAsset"}, TAKEN, FIRST),
            Outcome({"without": "AVURLAsset"}, other, FIRST, name="song.m4a"))


if __name__ == "__main__":
    harness.main()
