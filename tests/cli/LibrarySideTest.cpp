#include "cli/LibrarySide.hpp"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include "tests/TemporaryFolder.hpp"

namespace quillet::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class NotedReports : public BatchReporter {
  public:
    void imported(const std::string& entry, std::uint64_t identifier) override {
        notes.push_back(entry + " is " + std::to_string(identifier));
    }
    void rejected(const std::string& entry, const std::string&, const std::string& reason) override {
        notes.push_back(entry + " " + reason);
    }
    void kept(const std::string& entry, const std::string& reason) override { notes.push_back(entry + " " + reason); }
    void notTaken(const std::string& entry, const std::string&) override { notes.push_back(entry + " not taken"); }

    std::vector<std::string> notes;
};

class LibrarySideTest : public testing::Test {
  protected:
    void drop(const std::string& name, const std::string& sample = "untagged.m4a") {
        std::filesystem::copy_file(std::string(QUILLET_SAMPLES) + "/" + sample,
                                   at(DevicePaths::kDropFolder) + "/" + name);
    }
    std::string at(std::string_view devicePath) const { return platform.paths.at(devicePath); }
    std::vector<std::string> list(std::string_view folder) const {
        return util::listDirectory(at(folder)).value_or(std::vector<std::string>());
    }
    std::vector<std::string> names() {
        std::vector<std::string> found;
        platform.library.forEachTrack([&](const LibraryTrack& track) { found.push_back(track.origin ? track.origin->fileName : ""); });
        return found;
    }

    test::TemporaryFolder root;
    LinuxPlatform platform{DevicePaths(root.path()), UvEventLoop::Watching::kernel, std::chrono::milliseconds(50)};
    NotedReports reports;
    LibrarySide side{platform, reports};
};

TEST_F(LibrarySideTest, WhatTheLibraryRefusesIsToldKeptAndImportedByTheNextRecheckUnderItsOwnName) {
    drop("song.m4a");
    drop("other.m4a", "evening.m4a");
    platform.library.setImportationEnabled(false);
    side.importNow({"song.m4a", "other.m4a"});
    EXPECT_THAT(reports.notes, ElementsAre("other.m4a not taken", "song.m4a not taken"));
    EXPECT_TRUE(side.door().lostTracks());
    EXPECT_THAT(names(), IsEmpty());

    const RecheckResult refused = side.recheck();
    EXPECT_EQ(refused.addedAgain + refused.found, 0U);
    EXPECT_GT(refused.failed, 0U);

    platform.library.setImportationEnabled(true);
    const RecheckResult result = side.recheck();
    // One record lay under "0", where the engine files what got no identifier; the other file had none.
    EXPECT_EQ(result.addedAgain + result.found, 2U);
    EXPECT_EQ(result.failed, 0U);
    EXPECT_THAT(names(), testing::UnorderedElementsAre("song.m4a", "other.m4a"));
    EXPECT_THAT(list(DevicePaths::kImportDatabaseFolder), testing::Not(testing::Contains("Origins.jsonl")));
    EXPECT_EQ(side.recheck().found, 0U);
}

TEST_F(LibrarySideTest, ALibraryThatStaysLockedIsWaitedForOnceAndWhatItCannotTakeStaysInTheDropFolder) {
    for (const char* name : {"a.m4a", "b.m4a", "c.m4a"}) drop(name);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(at(SqliteMusicLibrary::kDatabase).c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    side.importNow({"a.m4a", "b.m4a", "c.m4a"});
    EXPECT_THAT(reports.notes, ElementsAre("a.m4a not taken"));
    EXPECT_THAT(list(DevicePaths::kDropFolder), ElementsAre("b.m4a", "c.m4a"));
    sqlite3_close(other);
    side.importNow({"b.m4a", "c.m4a"});
    side.recheck();
    EXPECT_THAT(names(), testing::UnorderedElementsAre("a.m4a", "b.m4a", "c.m4a"));
}

TEST_F(LibrarySideTest, AFileOfTheMediaFolderThatIsNoAudioStaysThere) {
    root.write("private/var/mobile/Media/iTunes_Control/Music/M00/STRAY.mp3", "no audio");
    EXPECT_EQ(side.recheck().found, 0U);
    EXPECT_THAT(list(DevicePaths::kMediaFolder), ElementsAre("STRAY.mp3"));
}

TEST_F(LibrarySideTest, AMoveThatWasKilledBetweenItsCopyAndTheRemovalIsFinished) {
    drop("song.m4a");
    drop("changed.m4a");
    const std::string media = at(DevicePaths::kMediaFolder) + "/";
    OriginJournal journal(at(DevicePaths::kImportDatabaseFolder) + "/Origins.jsonl");
    for (const char* name : {"song.m4a", "changed.m4a"}) {
        const std::string entry = at(DevicePaths::kDropFolder) + "/" + name;
        std::filesystem::copy_file(entry, media + "COPYOF" + name);
        const auto facts = util::factsOf(entry);
        journal.add({std::string("COPYOF") + name, {name, facts->device, facts->inode}, name});
    }
    std::ofstream(media + "COPYOFchanged.m4a", std::ios::app) << "different";
    EXPECT_EQ(side.recheck().found, 2U);
    EXPECT_THAT(list(DevicePaths::kDropFolder), ElementsAre("changed.m4a")) << "only what is there twice goes";
    EXPECT_THAT(names(), ElementsAre("changed.m4a", "song.m4a"));
}

TEST_F(LibrarySideTest, AnEntryThatCannotBeMovedStaysAndIsToldOnce) {
    drop("song.m4a");
    std::filesystem::remove(at(DevicePaths::kMediaFolder));
    for (int batch = 0; batch < 2; ++batch) side.importNow({"song.m4a"});
    EXPECT_THAT(reports.notes, ElementsAre(HasSubstr("song.m4a cannot be moved into the media folder")));
    EXPECT_THAT(list(DevicePaths::kDropFolder), ElementsAre("song.m4a"));
    EXPECT_FALSE(side.door().hasNewEntries());
}

}  // namespace
}  // namespace quillet::cli
