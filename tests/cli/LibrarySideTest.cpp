#include "cli/LibrarySide.hpp"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include "tests/TemporaryFolder.hpp"
#include "util/FilePath.hpp"

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

/// Another program with the library open: by default it holds the lock.
class OtherProgram {
  public:
    explicit OtherProgram(const std::string& database, const char* statement = "BEGIN IMMEDIATE") {
        EXPECT_EQ(sqlite3_open(database.c_str(), &connection_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(connection_, statement, nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~OtherProgram() { sqlite3_close(connection_); }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

  private:
    sqlite3* connection_ = nullptr;
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
        platform.library.forEachTrack(
            [&](const LibraryTrack& track) { found.push_back(track.origin ? track.origin->fileName : ""); });
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
    side.importNow({"other.m4a", "song.m4a"});
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
    {
        const OtherProgram other(at(SqliteMusicLibrary::kDatabase));
        side.importNow({"a.m4a", "b.m4a", "c.m4a"});
    }
    EXPECT_THAT(reports.notes, ElementsAre("a.m4a not taken"));
    EXPECT_THAT(list(DevicePaths::kDropFolder), ElementsAre("b.m4a", "c.m4a"));
    side.importNow({"b.m4a", "c.m4a"});
    side.recheck();
    EXPECT_THAT(names(), testing::UnorderedElementsAre("a.m4a", "b.m4a", "c.m4a"));
}

TEST_F(LibrarySideTest, ARemovalThatTheLibraryRefusesTakesNothingAndOneThatWasKilledIsEnded) {
    drop("a.m4a");
    drop("b.m4a");
    side.importNow({"a.m4a", "b.m4a"});
    const std::string asset = platform.library.track(1)->assetPath;
    {
        const OtherProgram other(at(SqliteMusicLibrary::kDatabase));
        EXPECT_THROW(side.remove(1, false), LibraryError);
        EXPECT_TRUE(util::fileExists(asset));
    }
    const std::string aside = at(DevicePaths::kMediaFolder) + "/.removed.";
    std::filesystem::rename(asset, aside + "1");                                 // killed before the library
    std::filesystem::rename(platform.library.track(2)->assetPath, aside + "2");  // killed after it
    platform.library.remove(2, false);
    EXPECT_EQ(side.recheck().found, 0U);
    EXPECT_THAT(list(DevicePaths::kMediaFolder), ElementsAre(util::lastPathComponent(asset)));
    EXPECT_EQ(side.remove(1, false), LibrarySide::Removal::removed);
    EXPECT_THAT(list(DevicePaths::kMediaFolder), IsEmpty());
}

TEST_F(LibrarySideTest, ALibraryThatWasMadeAnewFilesNothingOverTheRecordsOfTheOneBefore) {
    util::PropertyDictionary database;
    for (int key = 1; key <= 12; ++key) {
        const std::string name = "FILE" + std::to_string(key) + ".m4a";
        std::filesystem::copy_file(std::string(QUILLET_SAMPLES) + "/untagged.m4a",
                                   at(DevicePaths::kMediaFolder) + "/" + name);
        database[std::to_string(key)] =
            util::PropertyDictionary{{"assetPath", name}, {"values", util::PropertyDictionary{{"track_number", key}}}};
    }
    platform.propertyLists.writeToFile(database, at(DevicePaths::kImportDatabase), true);
    LibrarySide again(platform, reports);
    const RecheckResult result = again.recheck();
    EXPECT_EQ(result.addedAgain, 12U);
    EXPECT_EQ(result.found + result.failed + result.dropped, 0U);
    EXPECT_EQ(again.recheck().records, 12U);
}

TEST_F(LibrarySideTest, NamesThatLeadOutsideTheFoldersAreNotFollowed) {
    const std::string victim =
        root.write("victim.m4a", test::contentOf(std::string(QUILLET_SAMPLES) + "/untagged.m4a"));
    const std::string up = "../../../../../../../victim.m4a";
    ASSERT_TRUE(util::fileExists(at(DevicePaths::kMediaFolder) + "/" + up));
    drop("song.m4a");
    side.importNow({"song.m4a"});
    platform.propertyLists.writeToFile({{"1", util::PropertyDictionary{{"assetPath", "X.m4a"}, {"artwork", up}}},
                                        {"77", util::PropertyDictionary{{"assetPath", up}, {"artwork", up}}},
                                        {"78", util::PropertyDictionary{{"assetPath", ".."}}}},
                                       at(DevicePaths::kImportDatabase), true);
    const auto facts = util::factsOf(victim);
    OriginJournal(at(DevicePaths::kImportDatabaseFolder) + "/Origins.jsonl")
        .add({up, {"victim.m4a", facts->device, facts->inode}, up});
    {
        // A library that somebody else has put a path into.
        const OtherProgram other(at(SqliteMusicLibrary::kDatabase), "UPDATE item_extra SET asset_path = '/victim.m4a'");
    }
    LibrarySide again(platform, reports);
    EXPECT_EQ(again.recheck().addedAgain, 0U);
    EXPECT_EQ(again.remove(1, false), LibrarySide::Removal::removed);
    EXPECT_TRUE(util::fileExists(victim));
}

TEST_F(LibrarySideTest, ANameThatWasGivenForOneBatchDoesNotStickToALaterFile) {
    side.door().nameOrigin("song (2).m4a", "song.m4a");
    side.importNow({"song (2).m4a"});  // which somebody else has taken meanwhile
    drop("song (2).m4a");
    side.importNow({"song (2).m4a"});
    EXPECT_THAT(names(), ElementsAre("song (2).m4a"));
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
