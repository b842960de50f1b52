#include "platform/linux/SqliteMusicLibrary.hpp"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <map>
#include <set>

#include "tests/TemporaryFolder.hpp"
#include "util/FilePath.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using util::PropertyDictionary;
using util::PropertyValue;
using Mode = SqliteMusicLibrary::Mode;

/// A connection of somebody else.
class Connection {
  public:
    explicit Connection(const std::string& path) { sqlite3_open(path.c_str(), &database_); }
    ~Connection() { sqlite3_close(database_); }
    /// The columns of all rows, each as text.
    std::vector<std::string> run(const std::string& sql) {
        std::vector<std::string> values;
        const auto take = [](void* to, int count, char** columns, char**) {
            for (int i = 0; i < count; ++i)
                static_cast<std::vector<std::string>*>(to)->emplace_back(columns[i] == nullptr ? "NULL" : columns[i]);
            return 0;
        };
        char* message = nullptr;
        if (sqlite3_exec(database_, sql.c_str(), take, &values, &message) != SQLITE_OK) ADD_FAILURE() << message;
        sqlite3_free(message);
        return values;
    }

  private:
    sqlite3* database_ = nullptr;
};

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
    static std::uint64_t import(SqliteMusicLibrary& library, TrackImport track) {
        std::vector<std::pair<std::uint32_t, std::uint64_t>> answers;
        track.mediaType = 8;
        library.importTrack(std::make_shared<TrackImport>(std::move(track)),
                            [&](std::uint32_t status, std::uint64_t id) { answers.emplace_back(status, id); });
        EXPECT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers.at(0).first == 0, answers.at(0).second != 0);
        return answers.at(0).second;
    }
    std::uint64_t import(SqliteMusicLibrary& library, const std::string& name, PropertyDictionary values = {},
                         std::string_view image = "") const {
        TrackImport track;
        track.assetFilePath = mediaPath(name);
        track.values = std::move(values);
        if (!image.empty()) track.artworkData = util::Data::copyOf(util::bytesOf(image));
        return import(library, std::move(track));
    }
    /// Runs `work` in a process of its own that is killed when it calls `die`; what it hands to `die` comes back.
    template <typename Work>
    static std::vector<std::uint64_t> inKilledProcess(Work work) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            work([&ends](const std::vector<std::uint64_t>& words) {
                const auto size = words.size() * sizeof(std::uint64_t);
                if (write(ends[1], words.data(), size) != static_cast<ssize_t>(size)) _exit(1);
                kill(getpid(), SIGKILL);
            });
            _exit(1);
        }
        close(ends[1]);
        std::vector<std::uint64_t> words;
        for (std::uint64_t word = 0; read(ends[0], &word, sizeof word) == sizeof word;) words.push_back(word);
        close(ends[0]);
        waitpid(child, nullptr, 0);
        return words;
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

TEST_F(SqliteMusicLibraryTest, EveryValueComesBackAsItWasUnderEveryKey) {
    const PropertyValue values[] = {"",
                                    "2009",
                                    "Ünïcödé \xF0\x9F\x98\x80",
                                    std::string("a\0b", 3),
                                    "\xFF not UTF-8",
                                    2009,
                                    0,
                                    -1,
                                    4294967295U,
                                    std::numeric_limits<std::int64_t>::min(),
                                    std::uint64_t{1} << 63,
                                    ~std::uint64_t{0},
                                    true,
                                    false,
                                    1.0,
                                    -0.25,
                                    1e300,
                                    util::PropertyDate{0.125},
                                    util::PropertyDate{1e11},
                                    util::Data::copyOf(util::bytesOf("\x01\x02")),
                                    util::Data(),
                                    util::PropertyArray{1, "1", true, util::PropertyArray{}},
                                    nested(64),
                                    PropertyDictionary{{"a", 1}, {"\x01", PropertyDictionary{{"", -7}}}}};
    const char* const keys[] = {"item_extra.title",
                                "item_artist.item_artist",
                                "album.album",
                                "album_artist.album_artist",
                                "item_extra.total_time_ms",
                                "track_number",
                                "item_extra.track_count",
                                "disc_number",
                                "item_extra.disc_count",
                                "item_extra.year",
                                "unknown",
                                "",
                                "item_pid",
                                "item_extra.asset_path",
                                "x'); DROP TABLE item; --"};
    std::vector<std::pair<std::uint64_t, PropertyDictionary>> imported;
    {
        const auto library = open();
        library->beginGroup();
        for (const PropertyValue& value : values) {
            for (const char* key : keys) {
                const PropertyDictionary one{{key, value}};
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
    import(*library, "a.mp3",
           {{"item_extra.title", "T"},
            {"item_artist.item_artist", "A"},
            {"album.album", 7},
            {"album_artist.album_artist", "AA"},
            {"item_extra.total_time_ms", 4294967295U},
            {"track_number", 3},
            {"item_extra.track_count", "12"},
            {"disc_number", 1},
            {"item_extra.disc_count", 2},
            {"item_extra.year", "2009"}});
    Connection other(file_);
    EXPECT_THAT(other.run("SELECT item_extra.title, item_artist.item_artist, typeof(album.album), "
                          "album_artist.album_artist, total_time_ms, track_number, typeof(item_extra.track_count), "
                          "item.disc_number, disc_count, typeof(year), item.media_type "
                          "FROM item JOIN item_extra USING (item_pid) JOIN item_artist USING (item_artist_pid) "
                          "JOIN album USING (album_pid) JOIN album_artist USING (album_artist_pid)"),
                ElementsAre("T", "A", "integer", "AA", "4294967295", "3", "text", "1", "2", "text", "8"));
    EXPECT_THAT(other.run("PRAGMA journal_mode; PRAGMA user_version; PRAGMA foreign_key_check; PRAGMA integrity_check"),
                ElementsAre("wal", "1", "ok"));
}

TEST_F(SqliteMusicLibraryTest, WhatTracksShareIsStoredOnceAndGoesWithTheLast) {
    const auto library = open();
    const auto counts = [this] {
        return Connection(file_).run(
            "SELECT (SELECT count(*) FROM item_artist), (SELECT count(*) FROM album), "
            "(SELECT count(*) FROM album_artist), (SELECT count(*) FROM artwork), (SELECT count(*) FROM "
            "item_property), "
            "(SELECT count(*) FROM item_extra), (SELECT count(*) FROM asset_origin)");
    };
    const PropertyDictionary shared{
        {"item_artist.item_artist", "5"}, {"album.album", "B"}, {"album_artist.album_artist", "C"}, {"extra", true}};
    library->noteOrigin("a", {"origin", 1, 2});
    const auto a = import(*library, "a", shared, "image");
    const auto b = import(*library, "b", shared, "image");
    const auto c = import(*library, "c", {{"item_artist.item_artist", 5}}, "another image");
    EXPECT_THAT(counts(), ElementsAre("2", "1", "1", "2", "2", "3", "1"));
    const std::string md5 = library->track(b).value().artwork.value();
    EXPECT_EQ(md5, util::Data::copyOf(util::bytesOf("image")).MD5());
    EXPECT_EQ(library->artworkData(md5), util::Data::copyOf(util::bytesOf("image")));
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
    EXPECT_THAT(Connection(file_).run("PRAGMA foreign_key_check"), IsEmpty());
}

TEST_F(SqliteMusicLibraryTest, AFileThatIsNotThisLibraryIsRefusedAndNotTouched) {
    struct Case {
        const char* name;
        std::function<void(const std::string& path)> make;
        std::vector<const char*> said;
    };
    const Case cases[] = {
        {"text", [](const auto& path) { std::ofstream(path) << std::string(5000, 'x'); }, {"no SQLite database"}},
        {"short", [](const auto& path) { std::ofstream(path) << "SQLite format 3"; }, {"no SQLite database"}},
        {"foreign", [](const auto& path) { Connection(path).run("CREATE TABLE item (a)"); }, {"another program"}},
        {"foreign with a log",
         [](const auto& path) { Connection(path).run("PRAGMA journal_mode = WAL; CREATE TABLE item (a)"); },
         {"another program"}},
        {"folder", [](const auto& path) { std::filesystem::create_directory(path); }, {"no music library"}},
        {"FIFO", [](const auto& path) { mkfifo(path.c_str(), 0600); }, {"no music library"}},
        {"newer",
         [](const auto& path) {
             const std::string root = path.substr(0, path.size() - SqliteMusicLibrary::kDatabase.size());
             SqliteMusicLibrary(DevicePaths(root), Mode::readWrite);
             Connection(path).run("PRAGMA user_version = 12");
         },
         {"newer Quillet", "12", "up to 1"}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        std::filesystem::remove_all(util::deletingLastPathComponent(file_));
        std::filesystem::create_directories(util::deletingLastPathComponent(file_));
        each.make(file_);
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
    const auto lost = inKilledProcess([this](auto die) {
        const auto library = open();
        library->beginGroup();
        die({import(*library, "6"), import(*library, "7")});
    });
    EXPECT_THAT(lost, ElementsAre(6U, 7U));
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
        ++count;
        return true;
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
    TrackImport outside;
    outside.assetFilePath = "/somewhere/else.mp3";
    library->beginGroup();
    EXPECT_EQ(import(*library, "good", {{"album.album", "A"}}), 1U);
    EXPECT_EQ(import(*library, "good", {{"album.album", "B"}}), 0U);
    EXPECT_EQ(import(*library, std::move(outside)), 0U);
    EXPECT_EQ(import(*library, "deep\n.mp3", {{"album.album", nested(65)}}), 0U);
    EXPECT_EQ(import(*library, "later", {{"album.album", "C"}}), 2U);
    EXPECT_TRUE(library->endGroup());
    EXPECT_THAT(lines_, ElementsAre(mediaPath("good") + " is not added to the music library: it is there already",
                                    testing::StartsWith("/somewhere/else.mp3 is not added"),
                                    mediaPath("deep?.mp3") +
                                        " is not added to the music library: its property album.album is nested too "
                                        "deeply or too large"));
    EXPECT_THAT(Connection(file_).run("SELECT album FROM album"), ElementsAre("A", "C"));
    library->setImportationEnabled(false);
    EXPECT_EQ(import(*library, "late"), 0U);
}

/// What makes writes fail in the folder of the library.
class FullDisk {
  public:
    virtual ~FullDisk() = default;
    virtual bool begin(const std::string& folder) = 0;
    virtual void end() = 0;
};

/// A file system of 2 MB; `end` takes away the file that filled it.
class SmallFileSystem : public FullDisk {
  public:
    ~SmallFileSystem() override {
        if (!folder_.empty()) umount2(folder_.c_str(), MNT_DETACH);
    }
    bool begin(const std::string& folder) override {
        if (geteuid() != 0 || mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=2m") != 0) return false;
        folder_ = folder;
        std::ofstream(folder_ + "/filler") << std::string(1'400'000, 'x');
        return true;
    }
    void end() override { std::filesystem::remove(folder_ + "/filler"); }

  private:
    std::string folder_;
};

/// No file may grow beyond 200 kB.
class SmallFiles : public FullDisk {
  public:
    ~SmallFiles() override { setrlimit(RLIMIT_FSIZE, &before_); }
    bool begin(const std::string&) override {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{200'000, before_.rlim_max};
        return setrlimit(RLIMIT_FSIZE, &small) == 0;
    }
    void end() override { setrlimit(RLIMIT_FSIZE, &before_); }

  private:
    rlimit before_{};
};

class FullDiskTest : public SqliteMusicLibraryTest, public testing::WithParamInterface<const char*> {};

TEST_P(FullDiskTest, WhatAGroupLosesIsToldAndLaterTracksArrive) {
    std::unique_ptr<FullDisk> disk;
    if (GetParam() == std::string("SmallFileSystem"))
        disk = std::make_unique<SmallFileSystem>();
    else
        disk = std::make_unique<SmallFiles>();
    const std::string folder(util::deletingLastPathComponent(file_));
    std::filesystem::create_directories(folder);
    if (!disk->begin(folder)) GTEST_SKIP() << "only root can mount";
    {
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
        disk->end();
        const auto after = import(*library, "after");
        EXPECT_GT(after, *told.rbegin());
        told.insert(after);
        const bool whole = library->endGroup();
        const auto stored = *library->persistentIdentifiers();
        EXPECT_THAT(stored, testing::IsSupersetOf({*told.begin(), after}));
        EXPECT_TRUE(std::ranges::includes(told, std::set(stored.begin(), stored.end())));
        // How much was in the transaction that failed is a matter of time.
        EXPECT_EQ(whole, stored.size() == told.size());
        EXPECT_EQ(std::ranges::any_of(lines_,
                                      [](const std::string& line) {
                                          return line.find("changes to the music library are lost") != line.npos;
                                      }),
                  !whole);
        EXPECT_GT(import(*library, "at last"), after);
        EXPECT_THAT(Connection(file_).run("PRAGMA integrity_check; PRAGMA foreign_key_check"), ElementsAre("ok"));
    }
}

INSTANTIATE_TEST_SUITE_P(Disks, FullDiskTest, testing::Values("SmallFileSystem", "SmallFiles"),
                         [](const auto& each) { return std::string(each.param); });

TEST_F(SqliteMusicLibraryTest, ALockedLibraryIsWaitedForAndThenGivenUp) {
    const auto patient = open();
    const auto impatient = open(milliseconds(20));
    Connection other(file_);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(import(*impatient, "a"), 0U);
    EXPECT_THROW(impatient->remove(1, false), LibraryError);
    EXPECT_EQ(impatient->persistentIdentifiers()->size(), 0U);  // readers do not wait
    EXPECT_THAT(lines_, ElementsAre(HasSubstr("locked by another program")));

    std::vector<std::string> said;
    util::setLogSink([&](std::string_view line) {
        said.emplace_back(line);
        other.run("COMMIT");
    });
    EXPECT_EQ(import(*patient, "a"), 1U);
    EXPECT_THAT(said, ElementsAre("the music library is locked by another program; waiting"));
}

TEST_F(SqliteMusicLibraryTest, ProcessesThatMakeTheLibraryAtOnceShareIt) {
    constexpr int kProcesses = 4;
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            bool good = true;
            try {
                const auto library = open();
                for (int i = 0; i < 5; ++i)
                    good = import(*library, std::to_string(process * 5 + i), {{"album.album", i}}) != 0 && good;
            } catch (const LibraryError&) {
                good = false;
            }
            _exit(good ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(open()->persistentIdentifiers()->size(), std::size_t{kProcesses} * 5);
    EXPECT_THAT(Connection(file_).run("SELECT count(*) FROM album"), ElementsAre("5"));
}

TEST_F(SqliteMusicLibraryTest, ARootCanBeMoved) {
    const std::string names[] = {"a.mp3", "no UTF-8 \xFF.mp3", "'quoted'%20?#.mp3"};
    const DevicePaths before(folder_ / "be?fore#%20");
    const DevicePaths after(folder_ / "after");
    {
        SqliteMusicLibrary library(before, Mode::readWrite);
        library.setImportationEnabled(true);
        for (const std::string& path :
             {std::string(DevicePaths::kMediaFolder) + "/" + names[0],
              std::string(DevicePaths::kMediaFolder) + "/" + names[1],
              std::string(DevicePaths::kMediaFolder) + "/" + names[2], std::string("/elsewhere/in the root.mp3")}) {
            TrackImport track;
            track.assetFilePath = before.at(path);
            EXPECT_NE(import(library, std::move(track)), 0U);
        }
    }
    std::filesystem::rename(before.root(), after.root());
    SqliteMusicLibrary library(after, Mode::readOnly);
    std::vector<std::string> found;
    library.forEachTrack([&](const LibraryTrack& track) { found.push_back(track.assetPath); });
    const std::string media = after.at(DevicePaths::kMediaFolder) + "/";
    EXPECT_THAT(found, ElementsAre(media + names[0], media + names[1], media + names[2],
                                   after.root() + "/elsewhere/in the root.mp3"));
    EXPECT_THAT(library.assetNames(), testing::UnorderedElementsAre(names[0], names[1], names[2]));
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
