#include "platform/linux/SqliteMusicLibrary.hpp"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <map>
#include <set>

#include "tests/TemporaryFolder.hpp"
#include "util/FilePath.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using util::PropertyDictionary;
using util::PropertyValue;
using Mode = SqliteMusicLibrary::Mode;

/// What another connection gets: the columns of all rows, each as text.
std::vector<std::string> run(sqlite3* database, const std::string& sql) {
    std::vector<std::string> values;
    const auto take = [](void* to, int count, char** columns, char**) {
        auto& taken = *static_cast<std::vector<std::string>*>(to);
        for (int i = 0; i < count; ++i) taken.emplace_back(columns[i] == nullptr ? "NULL" : columns[i]);
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), take, &values, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    return values;
}

std::vector<std::string> run(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    auto values = run(database, sql);
    sqlite3_close(database);
    return values;
}

util::Data dataOf(std::string_view text) {
    return util::Data::copyOf(util::bytesOf(text));
}

/// The content of every file under `folder`, by path.
std::map<std::string, std::string> everythingUnder(const std::string& folder) {
    std::map<std::string, std::string> content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        content[entry.path()] = entry.is_regular_file() ? test::contentOf(entry.path()) : "";
    return content;
}

class SqliteMusicLibraryTest : public testing::Test {
  protected:
    SqliteMusicLibraryTest() {
        util::setLogSink([this](std::string_view line) { lines_.emplace_back(line); });
    }
    ~SqliteMusicLibraryTest() override { util::setLogSink({}); }

    std::unique_ptr<SqliteMusicLibrary> open(milliseconds busyLimit = std::chrono::seconds(60)) const {
        auto library = std::make_unique<SqliteMusicLibrary>(paths_, Mode::readWrite, busyLimit);
        library->setImportationEnabled(true);
        return library;
    }
    std::string mediaPath(const std::string& name) const {
        return util::pathIn(paths_.at(DevicePaths::kMediaFolder), name);
    }
    /// The identifier; 0 where the import failed. Fails the test where the completion did not run once.
    static std::uint64_t importAt(SqliteMusicLibrary& library, const std::string& path, PropertyDictionary values = {},
                                  std::string_view image = "") {
        const auto track = std::make_shared<TrackImport>();
        track->mediaType = 8;
        track->assetFilePath = path;
        track->values = std::move(values);
        if (!image.empty()) track->artworkData = dataOf(image);
        std::vector<std::pair<std::uint32_t, std::uint64_t>> answers;
        library.importTrack(track, [&](std::uint32_t status, std::uint64_t id) { answers.emplace_back(status, id); });
        EXPECT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers.at(0).first == 0, answers.at(0).second != 0);
        return answers.at(0).second;
    }
    std::uint64_t import(SqliteMusicLibrary& library, const std::string& name, PropertyDictionary values = {},
                         std::string_view image = "") const {
        return importAt(library, mediaPath(name), std::move(values), image);
    }

    test::TemporaryFolder folder_;
    DevicePaths paths_{folder_.path()};
    const std::string file_ = paths_.at(SqliteMusicLibrary::kDatabase);
    std::vector<std::string> lines_;
};

PropertyValue nested(int depth) {
    PropertyValue value("core");
    for (int i = 0; i < depth; ++i) value = util::PropertyArray{value};
    return value;
}

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

TEST_F(SqliteMusicLibraryTest, NoIdentifierIsGivenTwice) {
    {
        const auto library = open();
        EXPECT_EQ(library->lastIdentifier(), 0U);
        EXPECT_EQ(import(*library, "1"), 1U);
        EXPECT_TRUE(library->remove(1, false));
        EXPECT_EQ(import(*library, "2"), 2U);
        library->beginGroup();
        EXPECT_EQ(import(*library, "2"), 0U);  // is there already; takes no identifier with it
        EXPECT_EQ(import(*library, "3"), 3U);
        EXPECT_EQ(import(*library, "4"), 4U);
        EXPECT_TRUE(library->remove(4, false));
        EXPECT_TRUE(library->endGroup());
        EXPECT_EQ(import(*library, "5"), 5U);  // the rest of the block came back
        EXPECT_EQ(library->lastIdentifier(), 5U);
    }
    const pid_t child = fork();
    if (child == 0) {
        const auto library = open();
        library->beginGroup();
        if (import(*library, "6") == 6 && import(*library, "7") == 7) kill(getpid(), SIGKILL);
        _exit(1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    const auto library = open();
    EXPECT_THAT(*library->persistentIdentifiers(), ElementsAre(2U, 3U, 5U));
    EXPECT_EQ(library->lastIdentifier(), 5U);
    library->beginGroup();
    const auto first = import(*library, "6");
    EXPECT_GT(first, 7U);
    EXPECT_EQ(library->lastIdentifier(), first);
    EXPECT_TRUE(library->endGroup());
    EXPECT_EQ(import(*library, "7"), first + 1);
}

TEST_F(SqliteMusicLibraryTest, ABlockThatOthersFollowedIsNotGivenBack) {
    const auto ours = open();
    const auto theirs = open(milliseconds(0));
    std::set<std::uint64_t> given;
    std::size_t count = 0;
    const auto add = [&](SqliteMusicLibrary& library, const std::string& name) {
        const std::uint64_t identifier = import(library, name);
        if (identifier == 0) return false;
        given.insert(identifier);
        return ++count != 0;
    };
    ours->beginGroup();
    int names = 0;
    for (const char* name : {"b", "c"}) {
        // Until a transaction of the group has ended and the next has not begun; then more than is left of the block.
        do ASSERT_TRUE(add(*ours, std::to_string(++names)));
        while (!add(*theirs, name));
        for (int i = 0; i < 600; ++i) EXPECT_TRUE(add(*ours, std::to_string(++names)));
    }
    do ASSERT_TRUE(add(*ours, std::to_string(++names)));
    while (!add(*theirs, "d"));
    EXPECT_TRUE(ours->endGroup());
    const std::uint64_t highest = *given.rbegin();
    EXPECT_TRUE(add(*theirs, "e"));
    EXPECT_GT(*given.rbegin(), highest);
    EXPECT_TRUE(add(*ours, "f"));
    EXPECT_EQ(given.size(), count);
}

TEST_F(SqliteMusicLibraryTest, ABadTrackLeavesTheOthersOfItsGroup) {
    const auto library = open();
    library->beginGroup();
    EXPECT_EQ(import(*library, "good", {{"album.album", "A"}}), 1U);
    EXPECT_EQ(import(*library, "good", {{"album.album", "B"}}), 0U);
    EXPECT_EQ(importAt(*library, "/somewhere/else.mp3"), 0U);
    EXPECT_EQ(import(*library, "deep\n.mp3", {{"album.album", nested(65)}}), 0U);
    EXPECT_EQ(import(*library, "later", {{"album.album", "C"}}), 2U);
    EXPECT_TRUE(library->endGroup());
    EXPECT_THAT(lines_, ElementsAre(mediaPath("good") + " is not added to the music library: it is there already",
                                    testing::StartsWith("/somewhere/else.mp3 is not added"),
                                    mediaPath("deep?.mp3") +
                                        " is not added to the music library: its property album.album is nested too "
                                        "deeply or too large"));
    EXPECT_THAT(run(file_, "SELECT album FROM album"), ElementsAre("A", "C"));
    library->setImportationEnabled(false);
    EXPECT_EQ(import(*library, "late"), 0U);
}

/// Makes writes in a folder fail, until its end: as on a file system that has 600 kB left, or where no file may grow
/// beyond 200 kB.
class FullDisk {
  public:
    FullDisk(const std::string& folder, bool isMounted) : folder_(isMounted ? folder : "") {
        getrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{200'000, before_.rlim_max};
        works = isMounted ? mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=2m") == 0
                          : setrlimit(RLIMIT_FSIZE, &small) == 0;
        if (works && isMounted) std::ofstream(folder + "/filler") << std::string(1'400'000, 'x');
    }
    ~FullDisk() {
        end();
        if (works && !folder_.empty()) umount2(folder_.c_str(), MNT_DETACH);
    }
    void end() {
        setrlimit(RLIMIT_FSIZE, &before_);
        if (works && !folder_.empty()) std::filesystem::remove(folder_ + "/filler");
    }
    bool works = false;

  private:
    std::string folder_;
    rlimit before_{};
};

class FullDiskTest : public SqliteMusicLibraryTest, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(, FullDiskTest, testing::Bool(),
                         [](const auto& each) { return each.param ? "SmallFileSystem" : "SmallFiles"; });

TEST_P(FullDiskTest, WhatAGroupLosesIsToldAndLaterTracksArrive) {
    const std::string folder(util::deletingLastPathComponent(file_));
    std::filesystem::create_directories(folder);
    FullDisk disk(folder, GetParam());
    if (!disk.works) GTEST_SKIP() << "only root can mount";
    const auto library = open();
    std::set<std::uint64_t> told{import(*library, "before")};
    library->beginGroup();
    told.insert(import(*library, "small"));  // is in, as far as it knows
    std::string big(1'000'000, 'i');
    for (int i = 0; i < 30; ++i) {
        big[0] = static_cast<char>(i);
        told.insert(import(*library, "big" + std::to_string(i), {{"album.album", i}}, big));
    }
    EXPECT_EQ(told.erase(0), 1U);  // some heard of the failure themselves
    disk.end();
    const auto after = import(*library, "after");
    EXPECT_GT(after, *told.rbegin());
    told.insert(after);
    const bool whole = library->endGroup();
    const auto stored = *library->persistentIdentifiers();
    EXPECT_THAT(stored, testing::IsSupersetOf({*told.begin(), after}));
    EXPECT_TRUE(std::ranges::includes(told, std::set(stored.begin(), stored.end())));
    // How much was in the transaction that failed is a matter of time.
    EXPECT_EQ(whole, stored.size() == told.size());
    EXPECT_EQ(testing::Matches(testing::Contains(HasSubstr("changes to the music library are lost")))(lines_), !whole);
    EXPECT_GT(import(*library, "at last"), after);
    EXPECT_THAT(run(file_, "PRAGMA integrity_check; PRAGMA foreign_key_check"), ElementsAre("ok"));
}

TEST_F(SqliteMusicLibraryTest, ALockedLibraryIsWaitedForAndThenGivenUp) {
    const auto patient = open();
    const auto impatient = open(milliseconds(20));
    sqlite3* other = nullptr;
    sqlite3_open(file_.c_str(), &other);
    run(other, "BEGIN IMMEDIATE");
    EXPECT_EQ(import(*impatient, "a"), 0U);
    EXPECT_THROW(impatient->remove(1, false), LibraryError);
    EXPECT_EQ(impatient->persistentIdentifiers()->size(), 0U);  // readers do not wait
    EXPECT_THAT(lines_, ElementsAre(HasSubstr("locked by another program")));

    std::vector<std::string> said;
    util::setLogSink([&](std::string_view line) {
        said.emplace_back(line);
        run(other, "COMMIT");
    });
    EXPECT_EQ(import(*patient, "a"), 1U);
    EXPECT_THAT(said, ElementsAre("the music library is locked by another program; waiting"));
    sqlite3_close(other);
}

TEST_F(SqliteMusicLibraryTest, ProcessesThatMakeTheLibraryAtOnceShareIt) {
    constexpr std::size_t kProcesses = 4;
    std::vector<pid_t> children;
    for (std::size_t process = 0; process < kProcesses; ++process) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        try {
            const auto library = open();
            for (int i = 0; i < 5; ++i)
                if (import(*library, std::to_string(process) + std::to_string(i), {{"album.album", i}}) == 0) _exit(1);
        } catch (const LibraryError&) {
            _exit(1);
        }
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(open()->persistentIdentifiers()->size(), kProcesses * 5);
    EXPECT_THAT(run(file_, "SELECT count(*) FROM album"), ElementsAre("5"));
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
}  // namespace quillet
