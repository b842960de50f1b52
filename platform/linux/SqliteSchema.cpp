#include "platform/linux/SqliteSchema.hpp"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>

#include "util/ByteReader.hpp"
#include "util/Files.hpp"

namespace quillet {

namespace {

// The columns that bear the name of an entity property are ANY: they keep text as text and a whole number as a number.
// item_property has what they cannot keep. item_extra.asset_path is told at storedAssetPath().
constexpr const char* kTables = R"(
CREATE TABLE identifiers (
    highest_given INTEGER NOT NULL,     -- to a track that was stored
    highest_reserved INTEGER NOT NULL,  -- never given again, whether it was given or not
    only_row INTEGER PRIMARY KEY CHECK (only_row = 1)
) STRICT;
INSERT INTO identifiers VALUES (0, 0, 1);

CREATE TABLE item_artist  (item_artist_pid  INTEGER PRIMARY KEY, item_artist  ANY NOT NULL UNIQUE) STRICT;
CREATE TABLE album        (album_pid        INTEGER PRIMARY KEY, album        ANY NOT NULL UNIQUE) STRICT;
CREATE TABLE album_artist (album_artist_pid INTEGER PRIMARY KEY, album_artist ANY NOT NULL UNIQUE) STRICT;
CREATE TABLE artwork (artwork_pid INTEGER PRIMARY KEY, md5 TEXT NOT NULL UNIQUE, data BLOB NOT NULL) STRICT;

-- The row that can be refused comes first: the rest of a track then fails only where the database itself does.
CREATE TABLE item_extra (
    item_pid INTEGER PRIMARY KEY,
    asset_path ANY NOT NULL UNIQUE,
    title ANY,
    total_time_ms ANY,
    track_count ANY,
    disc_count ANY,
    year ANY
) STRICT;

CREATE TABLE item (
    item_pid INTEGER PRIMARY KEY REFERENCES item_extra ON DELETE CASCADE,
    media_type INTEGER NOT NULL,
    track_number ANY,
    disc_number ANY,
    item_artist_pid INTEGER REFERENCES item_artist,
    album_pid INTEGER REFERENCES album,
    album_artist_pid INTEGER REFERENCES album_artist,
    artwork_pid INTEGER REFERENCES artwork
) STRICT;
CREATE INDEX item_by_item_artist ON item (item_artist_pid) WHERE item_artist_pid IS NOT NULL;
CREATE INDEX item_by_album ON item (album_pid) WHERE album_pid IS NOT NULL;
CREATE INDEX item_by_album_artist ON item (album_artist_pid) WHERE album_artist_pid IS NOT NULL;
CREATE INDEX item_by_artwork ON item (artwork_pid) WHERE artwork_pid IS NOT NULL;

CREATE TABLE item_property (
    item_pid INTEGER NOT NULL REFERENCES item ON DELETE CASCADE,
    name TEXT NOT NULL,
    value ANY NOT NULL,  -- text, a whole number, or the property list of any other value
    PRIMARY KEY (item_pid, name)
) STRICT, WITHOUT ROWID;

CREATE TABLE asset_origin (
    asset_name ANY NOT NULL UNIQUE,  -- as in item_extra.asset_path
    device INTEGER NOT NULL,         -- both unsigned, kept in two's complement
    inode INTEGER NOT NULL,
    file_name BLOB NOT NULL
) STRICT;
CREATE INDEX asset_origin_by_inode ON asset_origin (inode, device);
)";

void checkVersion(const std::string& path, std::int64_t applicationID, std::int64_t version) {
    if (applicationID != kLibraryApplicationID)
        throw LibraryError(fmt::format("{} is no music library: it is the database of another program", path));
    if (version > kLibrarySchemaVersion)
        throw LibraryError(
            fmt::format("a newer Quillet wrote the music library {}: its version is {}, and this Quillet "
                        "knows versions up to {}",
                        path, version, kLibrarySchemaVersion));
    if (version < kLibrarySchemaVersion)
        throw LibraryError(fmt::format("{} is no music library: its version {} was never used", path, version));
}

void checkIsLibrary(SqliteDatabase& database) {
    checkVersion(database.path(), database.number("PRAGMA application_id"), database.number("PRAGMA user_version"));
}

bool hasContent(const std::string& path) {
    const auto facts = util::factsOf(path);
    return facts && facts->size > 0;
}

/// Before SQLite opens the file, which makes other files beside it: by the file's head alone (SQLite file format, 1.3).
/// With a journal or log beside it the head is not the whole truth, and what it holds must be brought in first.
void checkUntouched(const std::string& path) {
    if (hasContent(path + "-journal") || hasContent(path + "-wal")) return;
    constexpr std::size_t kHeadSize = 100;
    constexpr std::size_t kUserVersion = 60;
    constexpr std::size_t kApplicationID = 68;
    std::array<char, kHeadSize> head = {};
    std::ifstream file(path, std::ios::binary);
    if (!file) throw LibraryError(fmt::format("the music library {} cannot be read: {}", path, std::strerror(errno)));
    file.read(head.data(), head.size());
    const util::Bytes bytes = util::bytesOf({head.data(), static_cast<std::size_t>(file.gcount())});
    const auto numberAt = [&](std::size_t offset) {
        util::ByteReader reader(bytes);
        return reader.skip(offset) ? reader.u32BigEndian().value_or(0) : 0;
    };
    if (!util::charactersOf(bytes).starts_with(std::string_view("SQLite format 3\0", 16)))
        throw LibraryError(fmt::format("{} is no music library: it is no SQLite database", path));
    checkVersion(path, numberAt(kApplicationID), numberAt(kUserVersion));
}

/// In the journal of old, so that the file's head tells what it is from the first moment; the write-ahead log comes
/// after.
void makeTables(SqliteDatabase& database) {
    SqliteTransaction transaction(database);
    if (database.number("SELECT count(*) FROM sqlite_schema") > 0) return;  // another process was faster
    database.execute(kTables);
    database.execute(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", kLibraryApplicationID,
                                 kLibrarySchemaVersion)
                         .c_str());
    transaction.commit();
}

std::unique_ptr<SqliteDatabase> openToRead(const std::string& path, std::chrono::milliseconds busyLimit) {
    // Not opened as read-only: such a connection could not clear away the log and its index when it is the last to
    // close.
    auto database = std::make_unique<SqliteDatabase>(path, SqliteDatabase::Opening::existing, busyLimit);
    try {
        checkIsLibrary(*database);
    } catch (const SqliteError& error) {
        // A log cannot be made beside the file, and there is none: the file alone is the library.
        const bool cannotWriteBeside = error.code() == SQLITE_CANTOPEN || (error.code() & 0xFF) == SQLITE_READONLY;
        if (!cannotWriteBeside || hasContent(path + "-wal") || hasContent(path + "-journal")) throw;
        database = std::make_unique<SqliteDatabase>(path, SqliteDatabase::Opening::peek, busyLimit);
        checkIsLibrary(*database);
    }
    database->execute("PRAGMA query_only = ON");
    return database;
}

}  // namespace

std::unique_ptr<SqliteDatabase> openLibraryDatabase(const std::string& path, SqliteMusicLibrary::Mode mode,
                                                    std::chrono::milliseconds busyLimit) {
    const auto facts = util::factsOf(path);
    if (facts && facts->kind != util::FileKind::regular && facts->kind != util::FileKind::symbolicLink)
        throw LibraryError(fmt::format("{} is no music library: it is no file", path));
    const bool readOnly = mode == SqliteMusicLibrary::Mode::readOnly;
    const bool empty = !facts || facts->size == 0;  // empty: one that another process is about to make
    if (empty && readOnly) throw LibraryError(fmt::format("there is no music library at {}", path));
    if (!empty) checkUntouched(path);

    if (readOnly) return openToRead(path, busyLimit);
    auto database = std::make_unique<SqliteDatabase>(path, SqliteDatabase::Opening::create, busyLimit);
    // Empty too where a process was killed while it made the tables, and they have just been taken back.
    if (database->number("SELECT count(*) FROM sqlite_schema") == 0) makeTables(*database);
    checkIsLibrary(*database);
    database->useWriteAheadLog();
    // A cache of 16 MB holds all that a group writes at random; the log goes over into the file every 16 MB.
    database->execute(
        "PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON; PRAGMA cache_size = -16000; "
        "PRAGMA wal_autocheckpoint = 4000");
    return database;
}

}  // namespace quillet
