#include "platform/linux/SqliteMusicLibrary.hpp"

#include "tests/platform/LibraryFixture.hpp"
#include "util/Text.hpp"

namespace quillet::test {
namespace {

using namespace std::string_literals;

using SqliteMusicLibraryTest = LibraryFixture;

constexpr std::string_view kAddresses =
    "item_extra.title item_artist.item_artist album.album album_artist.album_artist item_extra.total_time_ms "
    "track_number item_extra.track_count disc_number item_extra.disc_count item_extra.year";

TEST_F(SqliteMusicLibraryTest, EveryValueComesBackAsItWasUnderEveryKey) {
    util::PropertyArray values = {"",   "2009", "Ünï 😀",   "a\0b"s,   "\xFF",     2009, 0,    -1,
                                  true, false,  UINT32_MAX, INT64_MIN, UINT64_MAX, 1.0,  1e300};
    for (const PropertyValue& value : {PropertyValue(std::uint64_t{1} << 63), PropertyValue(util::PropertyDate{0.125}),
                                       PropertyValue(dataOf("\x01\x02")), PropertyValue(util::Data()), nested(64),
                                       PropertyValue(util::PropertyArray{1, "1", true, util::PropertyArray{}}),
                                       PropertyValue(PropertyDictionary{{"", PropertyDictionary{{"\x01", -7}}}})})
        values.push_back(value);
    const std::string text =
        std::string(kAddresses) + " unknown  item_pid item_extra.asset_path x');DROP\tTABLE\titem;--";
    const auto keys = util::split(text, ' ');  // the empty one as well
    std::vector<std::pair<std::uint64_t, PropertyDictionary>> imported;
    {
        const auto library = open();
        library->beginGroup();
        for (const PropertyValue& value : values) {
            for (const std::string_view key : keys) {
                const PropertyDictionary one{{std::string(key), value}};
                imported.emplace_back(import(*library, std::to_string(imported.size()), one), one);
            }
        }
        EXPECT_TRUE(library->endGroup());
    }
    SqliteMusicLibrary library(paths_, Mode::readOnly);
    std::vector<PropertyDictionary> visited;
    library.forEachTrack([&](const LibraryTrack& track) { visited.push_back(track.values); });
    ASSERT_EQ(visited.size(), imported.size());
    for (std::size_t i = 0; i < imported.size(); ++i) {
        EXPECT_EQ(imported[i].first, i + 1);
        EXPECT_EQ(visited[i], imported[i].second) << i;
        EXPECT_EQ(library.track(i + 1).value().values, imported[i].second) << i;
    }
    EXPECT_FALSE(library.track(imported.size() + 1));
    EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(SqliteMusicLibraryTest, ThePropertyNameIsTheAddress) {
    const auto library = open();
    PropertyDictionary values;
    int position = 0;
    for (const std::string_view address : util::split(kAddresses, ' ')) values[std::string(address)] = position++;
    import(*library, "a.mp3", values);
    EXPECT_THAT(run(file_,
                    "SELECT title, item_artist, album, album_artist, total_time_ms, track_number, track_count, "
                    "disc_number, disc_count, year, media_type "
                    "FROM item JOIN item_extra USING (item_pid) JOIN item_artist USING (item_artist_pid) "
                    "JOIN album USING (album_pid) JOIN album_artist USING (album_artist_pid)"),
                ElementsAre("0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "8"));
    EXPECT_THAT(
        run(file_, "PRAGMA journal_mode; PRAGMA user_version; PRAGMA foreign_key_check; PRAGMA integrity_check"),
        ElementsAre("wal", "1", "ok"));
}

TEST_F(SqliteMusicLibraryTest, WhatTracksShareIsStoredOnceAndGoesWithTheLast) {
    const auto library = open();
    const auto counts = [this] {
        std::string sql = "PRAGMA foreign_key_check; SELECT ";
        for (const char* table : {"item_artist", "album", "album_artist", "artwork", "item_property", "item_extra"})
            sql += "(SELECT count(*) FROM "s + table + "), ";
        return run(file_, sql + "(SELECT count(*) FROM asset_origin)");
    };
    const PropertyDictionary shared{
        {"item_artist.item_artist", "5"}, {"album.album", "B"}, {"album_artist.album_artist", "C"}, {"extra", true}};
    library->noteOrigin("a", {"origin", 1, 2});
    const auto a = import(*library, "a", shared, "image");
    const auto b = import(*library, "b", shared, "image");
    const auto c = import(*library, "c", {{"item_artist.item_artist", 5}}, "another image");
    EXPECT_THAT(counts(), ElementsAre("2", "1", "1", "2", "2", "3", "1"));
    const std::string md5 = library->track(b).value().artwork.value();
    EXPECT_EQ(md5, dataOf("image").MD5());
    EXPECT_EQ(library->artworkData(md5), dataOf("image"));
    EXPECT_EQ(library->artworkData("none"), std::nullopt);
    EXPECT_TRUE(library->remove(a, true));
    EXPECT_FALSE(library->remove(a, true));
    EXPECT_THAT(counts(), ElementsAre("2", "1", "1", "2", "1", "2", "1"));
    const auto again = import(*library, "a", shared, "image");
    EXPECT_EQ(library->track(again).value().origin.value().fileName, "origin");
    EXPECT_TRUE(library->remove(again, false));
    EXPECT_TRUE(library->remove(b, false));
    EXPECT_THAT(counts(), ElementsAre("1", "0", "0", "1", "0", "1", "0"));
    // Rows that were taken away are not remembered.
    library->beginGroup();
    const auto d = import(*library, "d", shared, "image");
    EXPECT_TRUE(library->remove(d, false));
    EXPECT_NE(import(*library, "e", shared, "image"), 0U);
    EXPECT_TRUE(library->endGroup());
    EXPECT_THAT(counts(), ElementsAre("2", "1", "1", "2", "1", "2", "0"));
    EXPECT_THAT(*library->persistentIdentifiers(), testing::UnorderedElementsAre(c, d + 1));
}

TEST_F(SqliteMusicLibraryTest, AFileThatIsNotThisLibraryIsRefusedAndNotTouched) {
    struct Case {
        const char* name;
        std::function<void()> make;
        std::vector<const char*> said;
    };
    const Case cases[] = {
        {"text", [this] { std::ofstream(file_) << std::string(5000, 'x'); }, {"no SQLite database"}},
        {"short", [this] { std::ofstream(file_) << "SQLite format 3"; }, {"no SQLite database"}},
        {"foreign", [this] { run(file_, "PRAGMA journal_mode = WAL; CREATE TABLE item (a)"); }, {"another program"}},
        {"FIFO", [this] { mkfifo(file_.c_str(), 0600); }, {"no music library"}},
        {"newer", [this] { open(), run(file_, "PRAGMA user_version = 12"); }, {"newer Quillet", "12", "up to 1"}}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        std::filesystem::remove_all(util::deletingLastPathComponent(file_));
        std::filesystem::create_directories(util::deletingLastPathComponent(file_));
        each.make();
        const auto before = everythingUnder(folder_.path());
        for (const Mode mode : {Mode::readOnly, Mode::readWrite}) {
            try {
                SqliteMusicLibrary library(paths_, mode);
                ADD_FAILURE() << "was opened";
            } catch (const LibraryError& error) {
                EXPECT_THAT(error.what(), HasSubstr(file_));
                for (const char* said : each.said) EXPECT_THAT(error.what(), HasSubstr(said));
            }
            EXPECT_EQ(everythingUnder(folder_.path()), before);
        }
    }
}

TEST_F(SqliteMusicLibraryTest, OpeningToReadMakesNothing) {
    EXPECT_THROW(SqliteMusicLibrary(paths_, Mode::readOnly), LibraryError);
    EXPECT_FALSE(SqliteMusicLibrary::exists(paths_));
    EXPECT_THAT(everythingUnder(folder_.path()), IsEmpty());
    import(*open(), "a");
    EXPECT_TRUE(SqliteMusicLibrary::exists(paths_));
    const auto before = everythingUnder(folder_.path());
    {
        SqliteMusicLibrary library(paths_, Mode::readOnly);
        library.setImportationEnabled(true);
        EXPECT_EQ(library.persistentIdentifiers()->size(), 1U);
        EXPECT_EQ(import(library, "b"), 0U);
        EXPECT_THROW(library.remove(1, false), LibraryError);
    }
    EXPECT_EQ(everythingUnder(folder_.path()), before);
}

TEST_F(SqliteMusicLibraryTest, ARootCanBeMoved) {
    const std::string media(DevicePaths::kMediaFolder);
    const std::string paths[] = {media + "/a.mp3", media + "/no UTF-8 \xFF.mp3", media + "/'quoted'%20?#.mp3",
                                 "/elsewhere/in the root.mp3"};
    const DevicePaths before(folder_ / "be?fore#%20"), after(folder_ / "after");
    {
        SqliteMusicLibrary library(before, Mode::readWrite);
        library.setImportationEnabled(true);
        for (const std::string& path : paths) EXPECT_NE(importAt(library, before.at(path)), 0U);
    }
    std::filesystem::rename(before.root(), after.root());
    SqliteMusicLibrary library(after, Mode::readOnly);
    std::size_t found = 0;
    library.forEachTrack([&](const LibraryTrack& track) { EXPECT_EQ(track.assetPath, after.at(paths[found++])); });
    EXPECT_EQ(found, std::size(paths));
    EXPECT_THAT(library.assetNames(), testing::UnorderedElementsAre("a.mp3", "no UTF-8 \xFF.mp3", "'quoted'%20?#.mp3"));
}

TEST_F(SqliteMusicLibraryTest, ATrackIsFoundByWhatItWas) {
    const TrackOrigin origin{"line\nbreak \xFF.mp3", 7, ~std::uint64_t{0}};
    const auto library = open();
    library->noteOrigin("a.mp3", {"replaced", 1, 1});
    library->noteOrigin("a.mp3", origin);
    EXPECT_EQ(library->trackOfOrigin(origin, 0), std::nullopt);
    library->beginGroup();
    const auto first = import(*library, "a.mp3");
    library->noteOrigin("b.mp3", origin);
    EXPECT_EQ(library->lastIdentifier(), first);
    const auto second = import(*library, "b.mp3");
    EXPECT_TRUE(library->endGroup());
    EXPECT_EQ(library->trackOfOrigin(origin, 0), first);
    EXPECT_EQ(library->trackOfOrigin(origin, first), second);
    EXPECT_EQ(library->trackOfOrigin(origin, second), std::nullopt);
    for (const TrackOrigin& other : {TrackOrigin{origin.fileName, 8, origin.inode}, TrackOrigin{origin.fileName, 7, 1},
                                     TrackOrigin{"another", 7, origin.inode}, TrackOrigin{"replaced", 1, 1}})
        EXPECT_EQ(library->trackOfOrigin(other, 0), std::nullopt);
    const auto kept = library->track(second).value().origin.value();
    EXPECT_EQ(kept.fileName, origin.fileName);
    EXPECT_EQ(kept.inode, origin.inode);
}

}  // namespace
}  // namespace quillet::test
