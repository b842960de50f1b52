#include "import/HandOff.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/DownloadNames.hpp"
#include "tests/id3/FrameBytes.hpp"
#include "tests/import/FakePlatform.hpp"

namespace quillet::test {
namespace {

using ::testing::ElementsAre;

struct NameCase {
    const char* fileName;
    const char* artist;
    const char* title;
};

const NameCase kNames[] = {
    {"Artist - Title.mp3", "Artist", "Title"},
    {"Song.mp3", "Song", "Song"},
    {"A - B - C.mp3", "A", "B"},
    {"A-B-C-D-E.mp3", "A", "B"},
    {"a/folder - x/Artist - Title.mp3", "Artist", "Title"},
    {" \t A \u00a0-\u2003 B \n.mp3", "A", "B"},
    {"Band - Mr. Song.live.mp3", "Band", "Mr. Song.live"},
    {"Band - Song", "Band", "Song"},
    {" - Title.mp3", "", "Title"},
    {"Artist - .mp3", "Artist", ""},
    {"Artist -- Title.mp3", "Artist", ""},
    {"---.mp3", "", ""},
    {"   .mp3", "", ""},
    {"-", "", ""},
    {".mp3", ".mp3", ".mp3"},
    {"", "", ""},
    {"\u00c5 \u2013 no hyphen.mp3", "\u00c5 \u2013 no hyphen", "\u00c5 \u2013 no hyphen"},
};

TEST(DownloadNames, ComeFromTheFirstTwoPartsOfTheFileName) {
    for (const NameCase& name : kNames) {
        const DownloadNames names = namesFromFileName(name.fileName);
        EXPECT_EQ(names.artist, name.artist) << name.fileName;
        EXPECT_EQ(names.title, name.title) << name.fileName;
    }
}

/// The tag of one download before it was named, and what title and artist are then.
struct TaggedDownload {
    const char* what;
    std::string tag;
    const char* title;
    const char* artist;
    std::int32_t status;
    bool isChanged;
};

std::string frame(const char* text) {
    return std::string(1, '\0') + text;
}

const TaggedDownload kDownloads[] = {
    // Without a dictionary there is no version for a new v2 tag: the v1 record alone has the names.
    {"without a tag", "", "Title", "Artist", -1, true},
    {"whole", tagOf(3, {{"TIT2", frame("T")}, {"TPE1", frame("A")}}), "T", "A", 0, false},
    {"without an artist", tagOf(3, {{"TIT2", frame("T")}}), "T", "Artist", 0, true},
    {"2.2 without a title", tagOf(2, {{"TP1", frame("A")}}), "Title", "A", 0, true},
    {"with an empty title", tagOf(4, {{"TIT2", frame("")}, {"TPE1", frame("A")}}), "Title", "A", 0, true},
    {"with white space for a title", tagOf(3, {{"TIT2", frame(" ")}, {"TPE1", frame("A")}}), " ", "A", 0, false},
};

class NamedDownload : public ::testing::Test {
  protected:
    std::string sound() const {
        const auto file = util::readFile(QUILLET_SAMPLES "/old-label.mp3").value_or(util::Data());
        const util::Bytes audio = file.bytes().first(file.size() - 128);  // without its v1 tag
        return {audio.begin(), audio.end()};
    }
    std::string contentOf(const std::string& path) const {
        const util::Data content = util::readFile(path).value_or(util::Data());
        return {content.bytes().begin(), content.bytes().end()};
    }

    TemporaryFolder folder;
    TagAPI tags;
};

TEST_F(NamedDownload, HasWhatItsTagLacksFromItsFileNameAndAllItsAudio) {
    for (const TaggedDownload& download : kDownloads) {
        SCOPED_TRACE(download.what);
        const std::string before = download.tag + sound();
        const std::string path = folder.write("Artist - Title.mp3", before);
        EXPECT_EQ(nameDownload(tags, path, "Artist - Title.mp3"), download.status);
        const std::string after = contentOf(path);
        EXPECT_EQ(after != before, download.isChanged);
        EXPECT_NE(after.find(sound()), std::string::npos);
        ASSERT_TRUE(tags.examineFile(path));
        EXPECT_EQ(tags.getTitle(), download.title);
        EXPECT_EQ(tags.getArtist(), download.artist);
    }
}

TEST_F(NamedDownload, ThatVanishedOrIsNoAudioIsNotMadeAndLosesNothing) {
    EXPECT_NE(nameDownload(tags, folder / "gone.mp3", "gone.mp3"), 0);
    EXPECT_FALSE(util::fileExists(folder / "gone.mp3"));
    const std::string note = folder.write("note.mp3", "not music at all");
    (void)nameDownload(tags, note, "note.mp3");
    EXPECT_NE(contentOf(note).find("not music at all"), std::string::npos);
}

TEST(HandOff, MovesADownloadIntoTheDropFolderAndNothingElse) {
    const FakePlatform platform;
    const auto& paths = platform.ports.paths;
    platform.makeFolders();
    ASSERT_TRUE(util::createDirectories(paths.at(DevicePaths::kDownloads)).ok());
    platform.write(DevicePaths::kDownloads, "a.mp3", "new");
    platform.write(DevicePaths::kDownloads, "b.mp3", "b");
    platform.write(DevicePaths::kDropFolder, "a.mp3", "old");
    EXPECT_EQ(handOver(paths, "a.mp3", "a.mp3").error(), EEXIST);
    EXPECT_EQ(handOver(paths, "missing.mp3", "missing.mp3").error(), ENOENT);
    for (const char* name : {"", ".", "..", "../Downloads/b.mp3", "x/b.mp3"})
        EXPECT_EQ(handOver(paths, name, "b.mp3").error(), EINVAL) << name;
    EXPECT_TRUE(handOver(paths, "b.mp3", "c.mp3").ok());
    EXPECT_THAT(platform.list(DevicePaths::kDropFolder), ElementsAre("a.mp3", "c.mp3"));
    EXPECT_THAT(platform.list(DevicePaths::kDownloads), ElementsAre("a.mp3"));
}

TEST(HandOff, RefreshesAtEveryMessageAndEndsTheImportAtOne) {
    struct Screens : HandOffScreens {
        void libraryManagerWritingSucceded() override { calls.emplace_back("succeeded"); }
        void refresh() override { calls.emplace_back("refresh"); }
        std::vector<std::string> calls;
    } screens;
    for (const char* name : {"QLSyncSuccess", "", "QLSyncSuccess2", "qlsyncsuccess"})
        handleLaunchMessageNamed(name, screens);
    EXPECT_THAT(screens.calls, ElementsAre("succeeded", "refresh", "refresh", "refresh", "refresh"));
}

}  // namespace
}  // namespace quillet::test
