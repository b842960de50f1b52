#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "platform/ios/MediaLibraryMusicLibrary.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "tests/rig/ports/Device.h"
#include "util/Log.hpp"

namespace quillet {
namespace {

using testing::ElementsAre;
using testing::Pair;
using util::PropertyDictionary;
using util::PropertyValue;

class MediaLibraryMusicLibraryTest : public test::Device {
  protected:
    struct Answer {
        std::uint32_t status = 0;
        std::uint64_t identifier = 0;
        std::thread::id thread;
    };
    MediaLibraryMusicLibraryTest() {
        util::setLogSink([this](std::string_view line) { logged.emplace_back(line); });
        track.assetFilePath = folder.write("SONG.mp3", "audio");
        track.mediaType = 8;
        track.artworkData = util::Data::copyOf(util::bytesOf("image"));
        track.values = {{"item_extra.title", "Größe"},
                        {"item_extra.year", "2009"},
                        {"item_extra.total_time_ms", 4294967295U},
                        {"track_number", 3}};
    }
    ~MediaLibraryMusicLibraryTest() override { util::setLogSink(nullptr); }

    void import(const char* manner) {
        setenv("QUILLET_RIG_IMPORTER", manner, 1);
        library.importTrack(std::make_shared<TrackImport>(track),
                            [this](std::uint32_t status, std::uint64_t identifier) {
                                answer = {status, identifier, std::this_thread::get_id()};
                                ++answers;
                                rigStopMainLoop();
                            });
    }

    TrackImport track;
    MediaLibraryMusicLibrary library;
    Answer answer;
    std::atomic<int> answers = 0;
    std::vector<std::string> logged;
};

TEST_F(MediaLibraryMusicLibraryTest, HandsATrackOverStepByStep) {
    library.setImportationEnabled(true);
    import("");
    const std::string path = "\"" + track.assetFilePath + "\"";
    EXPECT_THAT(recorded(),
                ElementsAre("library setImportationEnabled YES", "import assetFilePath " + path, "import mediaType 8",
                            "import shouldAddToPurchasedPlaylist NO", "import artworkData <5 bytes>",
                            "import value item_extra.title \"Größe\"",
                            "import value item_extra.total_time_ms 4294967295", "import value item_extra.year \"2009\"",
                            "import value track_number 3", "import track " + path, "import freed " + path,
                            "import complete 0 " + std::to_string(answer.identifier), "importer freed"));
    const auto kept = LibplistPropertyLists().dictionaryWithContentsOfFile(folder / "rig/library.plist");
    ASSERT_TRUE(kept);
    EXPECT_THAT(*util::find(*kept, "tracks")->dictionary(),
                ElementsAre(Pair(std::to_string(answer.identifier),
                                 PropertyValue(PropertyDictionary{{"assetFilePath", track.assetFilePath},
                                                                  {"mediaType", 8},
                                                                  {"shouldAddToPurchasedPlaylist", false},
                                                                  {"artworkData", *track.artworkData},
                                                                  {"values", track.values}}))));
    track.artworkData.reset();
    import("");
    EXPECT_THAT(recorded(), testing::Not(testing::Contains(testing::HasSubstr("artworkData"))));
    EXPECT_EQ(answers, 2);
}

TEST_F(MediaLibraryMusicLibraryTest, AnswersOnceHoweverTheLibraryDoes) {
    const struct {
        const char* manner;
        bool enabled, imported, later;
    } cases[] = {{"", true, true, false},      {"later", true, true, true},   {"refuse", true, false, false},
                 {"twice", true, true, false}, {"raise", true, false, false}, {"", false, false, false},
                 {"later", false, false, true}};
    std::vector<std::uint64_t> present;
    for (const auto& [manner, enabled, imported, later] : cases) {
        SCOPED_TRACE(manner + std::string(enabled ? "" : ", not enabled"));
        answers = 0;
        library.setImportationEnabled(enabled);
        import(manner);
        EXPECT_EQ(answers, later ? 0 : 1);
        ASSERT_TRUE(rigRunMainLoop(test::kTooLong));
        EXPECT_EQ(answers, 1);
        EXPECT_EQ(std::ranges::count(recorded(), "import freed \"" + track.assetFilePath + "\""), 1);
        EXPECT_EQ(answer.status == 0, imported);
        EXPECT_EQ(answer.identifier != 0, imported);
        EXPECT_EQ(answer.thread != std::this_thread::get_id(), later);
        if (imported) present.push_back(answer.identifier);
        EXPECT_THAT(library.persistentIdentifiers(), testing::Optional(testing::UnorderedElementsAreArray(present)));
    }
    EXPECT_THAT(present, testing::Each(testing::Gt(std::uint64_t{INT64_MAX})));
    EXPECT_THAT(logged, ElementsAre(testing::HasSubstr("the library raises")));
}

}  // namespace
}  // namespace quillet
