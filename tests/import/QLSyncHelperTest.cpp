#include "import/QLSyncHelper.hpp"

#include <gmock/gmock.h>

#include <set>

#include "tests/import/FakePlatform.hpp"
#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using util::PropertyDictionary;

constexpr auto kDrop = DevicePaths::kDropFolder;
constexpr auto kMedia = DevicePaths::kMediaFolder;

PropertyDictionary recordOf(const char* assetPath, const char* title) {
    return {{"assetPath", assetPath}, {"mediaType", 8}, {"values", PropertyDictionary{{"item_extra.title", title}}}};
}

class SyncTest : public testing::Test {
  protected:
    /// What a process before this one left.
    void given(const PropertyDictionary& database) {
        platform.makeFolders();
        ASSERT_TRUE(platform.propertyLists.writeToFile(database, platform.at(DevicePaths::kImportDatabase), false));
    }
    PropertyDictionary onDisk() {
        return platform.propertyLists.dictionaryWithContentsOfFile(platform.at(DevicePaths::kImportDatabase))
            .value_or(PropertyDictionary());
    }
    std::vector<std::string> keysOnDisk() {
        std::vector<std::string> keys;
        for (const auto& [key, record] : onDisk()) keys.push_back(key);
        return keys;
    }

    FakePlatform platform;
};

TEST_F(SyncTest, StartingMakesTheFoldersEnablesImportationAndWatches) {
    QLSyncHelper helper(platform.ports);
    EXPECT_TRUE(platform.library.enabled);
    for (const auto folder : {kDrop, kMedia, DevicePaths::kArtworkCache})
        EXPECT_TRUE(util::fileExists(platform.at(folder))) << folder;
    EXPECT_TRUE(platform.loop.changed);
    ASSERT_NE(helper.dbItems(), nullptr);
    EXPECT_THAT(*helper.dbItems(), IsEmpty());
}

TEST_F(SyncTest, WhatIsDroppedIsMovedUnderRandomNamesImportedAndFiledOnceTheFolderIsQuiet) {
    QLSyncHelper helper(platform.ports);
    platform.media.asset = MediaAsset{{{"f", {{"title", "itsk", 1, util::PropertyValue("T")}}}}, 0};
    platform.write(kDrop, "b.MP3", "bb");
    platform.write(kDrop, "a.m4a", "aaaa");
    platform.write(kDrop, "noext", "n");
    platform.loop.changed();
    platform.loop.runUntil(10);

    EXPECT_THAT(platform.list(kDrop), IsEmpty());
    EXPECT_THAT(platform.messaging.centers, ElementsAre("com.quillet.sync"));
    EXPECT_THAT(platform.messaging.sent, ElementsAre("QLSyncSuccess"));
    EXPECT_TRUE(platform.loop.changed) << "watches again";
    ASSERT_THAT(platform.library.imports, SizeIs(3));
    const char* names[] = {"/[A-Z0-9]{20}\\.m4a", "/[A-Z0-9]{20}\\.MP3", "/[A-Z0-9]{20}\\."};
    const char* contents[] = {"aaaa", "bb", "n"};
    for (std::size_t i = 0; i < 3; ++i) {
        const TrackImport& track = *platform.library.imports[i];
        EXPECT_THAT(track.assetFilePath.substr(platform.at(kMedia).size()), MatchesRegex(names[i]));
        EXPECT_EQ(contentOf(track.assetFilePath), contents[i]);
        EXPECT_EQ(track.mediaType, 8U);
        EXPECT_FALSE(track.shouldAddToPurchasedPlaylist);
        EXPECT_EQ(track.values.at("item_extra.title"), "T");
    }
    EXPECT_THAT(keysOnDisk(), ElementsAre("100", "101", "102"));
    EXPECT_EQ(*onDisk().at("100").dictionary()->at("assetPath").text(),
              util::lastPathComponent(platform.library.imports[0]->assetFilePath));
}

TEST_F(SyncTest, AnEmptyFolderStillSendsTheMessageAndRewritesTheDatabase) {
    const PropertyDictionary database = {{"7", recordOf("X.mp3", "T")}};
    given(database);
    platform.library.identifiers = {7};
    QLSyncHelper helper(platform.ports);
    ASSERT_EQ(unlink(platform.at(DevicePaths::kImportDatabase).c_str()), 0);
    helper.directoryDidFinishChanges();
    EXPECT_THAT(platform.messaging.sent, ElementsAre("QLSyncSuccess"));
    EXPECT_EQ(onDisk(), database);
}

TEST_F(SyncTest, TheRecheckAddsWhatVanishedDropsWhatIsGoneAndKeepsTheRest) {
    PropertyDictionary vanished = recordOf("V.mp3", "vanished");
    vanished["rating"] = 5;                      // a key that only a later version knows
    given({{"1", recordOf("P.mp3", "present")},  //
           {"2", vanished},                      // gets 100
           {"3", recordOf("G.mp3", "gone")},     //
           {"note", "kept as it is"},            //
           {"004", recordOf("V.mp3", "no key of ours")}});
    platform.write(kMedia, "V.mp3", "v");
    platform.library.identifiers = {1, 55};
    QLSyncHelper(platform.ports).scanDatabaseChanges();
    EXPECT_THAT(keysOnDisk(), ElementsAre("004", "1", "100", "note"));
    EXPECT_EQ(*onDisk().at("100").dictionary(), vanished);
    ASSERT_THAT(platform.library.imports, SizeIs(1));
    EXPECT_EQ(platform.library.imports[0]->values.at("item_extra.title"), "vanished");
}

TEST_F(SyncTest, AnIdentifierThatIsGivenAgainLosesItsRecord) {
    given({{"5", recordOf("V.mp3", "T")}});
    platform.write(kMedia, "V.mp3", "v");
    platform.library.next = 5;
    QLSyncHelper(platform.ports).scanDatabaseChanges();
    EXPECT_THAT(platform.library.imports, SizeIs(1));
    EXPECT_THAT(keysOnDisk(), IsEmpty());
}

TEST_F(SyncTest, ALibraryThatCannotBeReadIsNotTakenForAnEmptyOne) {
    given({{"5", recordOf("V.mp3", "T")}});
    platform.write(kMedia, "V.mp3", "v");
    platform.library.readable = false;
    QLSyncHelper(platform.ports).scanDatabaseChanges();
    EXPECT_THAT(platform.library.imports, IsEmpty());
    EXPECT_THAT(keysOnDisk(), ElementsAre("5"));
}

TEST_F(SyncTest, ALibraryThatCompletesLaterHasEachRecordFiledUnderZero) {
    QLSyncHelper helper(platform.ports);
    platform.library.completesLater = true;
    EXPECT_EQ(helper.addNewAsset(recordOf("A.mp3", "a")), 0U);
    EXPECT_EQ(helper.addNewAsset(recordOf("B.mp3", "b")), 0U);
    for (const auto& complete : platform.library.pending) complete();
    EXPECT_EQ(*helper.dbItems(), (PropertyDictionary{{"0", recordOf("B.mp3", "b")}}));
}

TEST_F(SyncTest, ArtworkComesFromTheCacheWhereItIsThere) {
    platform.makeFolders();
    platform.write(DevicePaths::kArtworkCache, "d1", "image");
    QLSyncHelper helper(platform.ports);
    for (const char* artwork : {"d1", "d2"}) {
        PropertyDictionary record = recordOf("A.mp3", "a");
        record["artwork"] = artwork;
        helper.addNewAsset(record);
    }
    const auto& imports = platform.library.imports;
    ASSERT_TRUE(imports[0]->artworkData);
    EXPECT_EQ(util::charactersOf(imports[0]->artworkData->bytes()), "image");
    EXPECT_FALSE(imports[1]->artworkData);
}

TEST_F(SyncTest, ADatabaseThatIsNoDictionaryIsNeitherFiledInNorWritten) {
    platform.makeFolders();
    const std::string database = platform.at(DevicePaths::kImportDatabase);
    std::ofstream(database) << "no property list";
    QLSyncHelper helper(platform.ports);
    EXPECT_EQ(helper.dbItems(), nullptr);
    platform.write(kDrop, "a.mp3", "a");
    helper.scanDatabaseChanges();
    helper.directoryDidFinishChanges();
    EXPECT_THAT(platform.library.imports, SizeIs(1));
    EXPECT_EQ(contentOf(database), "no property list");
}

TEST_F(SyncTest, ADoorDecidesWhatIsTakenAndWhatBecomesOfIt) {
    struct Door : BatchDoor {
        std::vector<std::string> events;
        FakePlatform& machine;
        explicit Door(FakePlatform& owner) : machine(owner) {}
        bool admits(const std::string& entry) override {
            EXPECT_FALSE(machine.loop.changed) << "the engine's own moves must not wake the watcher";
            EXPECT_THAT(machine.messaging.sent, SizeIs(1)) << "the message goes before the first move";
            return entry != "stays";
        }
        bool didMove(const std::string& entry, const std::string&, const util::Status& moved) override {
            events.push_back(entry + (moved.ok() ? " moved" : " " + moved.message()));
            return entry != "unfiled";
        }
        void didImport(const std::string& entry, const std::string&, std::uint64_t identifier) override {
            events.push_back(entry + " is " + std::to_string(identifier));
        }
    } door(platform);
    QLSyncHelper helper(platform.ports);
    helper.setDoor(&door);
    for (const char* name : {"a", "stays", "unfiled"}) platform.write(kDrop, name, name);
    helper.directoryDidFinishChanges();
    EXPECT_THAT(platform.list(kDrop), ElementsAre("stays"));
    EXPECT_THAT(door.events, ElementsAre("a moved", "a is 100", "unfiled moved"));
    EXPECT_THAT(platform.library.imports, SizeIs(1));
}

TEST_F(SyncTest, AnyExtensionFitsTheMediaFolder) {
    QLSyncHelper helper(platform.ports);
    platform.write(kDrop, "x." + std::string(253, 'e'), "long");
    platform.write(kDrop, "y.\xFFmp3", "not UTF-8");
    helper.directoryDidFinishChanges();
    EXPECT_THAT(platform.list(kDrop), IsEmpty());
    for (const std::string& name : platform.list(kMedia)) {
        EXPECT_LE(name.size(), 255U);
        EXPECT_TRUE(util::isUTF8(name));
    }
    EXPECT_THAT(keysOnDisk(), SizeIs(2));
}

TEST(QLSyncHelperTest, RandomNamesAreTwentyOfThirtySixCharacters) {
    std::set<std::string> names;
    std::set<char> characters;
    for (int i = 0; i < 200; ++i) {
        const std::string name = QLSyncHelper::randomFilename();
        EXPECT_EQ(name.size(), 20U);
        names.insert(name);
        characters.insert(name.begin(), name.end());
    }
    EXPECT_EQ(names.size(), 200U);
    EXPECT_EQ(std::string(characters.begin(), characters.end()), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST_F(SyncTest, SyncingMovesTheMediaFolderAwayAndBack) {
    platform.makeFolders();
    platform.write(kMedia, "A.mp3", "a");
    QLSyncHelper::setIsSyncing(true, platform.ports.paths);
    EXPECT_THAT(platform.list(kMedia), IsEmpty());
    EXPECT_EQ(contentOf(platform.in(DevicePaths::kImportDatabaseFolder, "Temp/A.mp3")), "a");
    platform.write(kMedia, "A.mp3", "newer");  // stands in the way: neither is lost
    QLSyncHelper::setIsSyncing(false, platform.ports.paths);
    EXPECT_EQ(contentOf(platform.in(kMedia, "A.mp3")), "newer");
    EXPECT_EQ(contentOf(platform.in(DevicePaths::kImportDatabaseFolder, "Temp/A.mp3")), "a");
}

TEST(QLSyncHelperTest, AFileSizeIsItsLow32BitsAndAMissingFileEndsTheProcess) {
    TemporaryFolder folder;
    const std::string path = folder.write("a", "abc");
    EXPECT_EQ(QLSyncHelper::getFileSize(path), 3);
    ASSERT_EQ(truncate(path.c_str(), 0x180000001), 0);
    EXPECT_EQ(QLSyncHelper::getFileSize(path), std::int32_t(0x80000001));
    EXPECT_EXIT(QLSyncHelper::getFileSize("/none/x"), testing::ExitedWithCode(1),
                "'stat' failed for '/none/x': No such file or directory\\.");
}

}  // namespace
}  // namespace quillet::test
