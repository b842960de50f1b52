#include "bench/importing/ImportFloor.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/linux/SqliteSchema.hpp"
#include "util/ByteReader.hpp"
#include "util/Data.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Text.hpp"

namespace quillet::bench {

namespace {

constexpr const char* kTexts[] = {"item_extra.title", "item_artist.item_artist", "album.album",
                                  "album_artist.album_artist"};
constexpr const char* kNumbers[] = {"item_extra.total_time_ms", "track_number",
                                    "item_extra.track_count",   "disc_number",
                                    "item_extra.disc_count",    "item_extra.year"};

void require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

std::int64_t numberAt(const util::PropertyDictionary& values, std::string_view key) {
    const util::PropertyValue* value = util::find(values, key);
    if (value == nullptr) return 0;
    if (const auto* number = value->unsignedInteger()) return static_cast<std::int64_t>(*number);
    return value->signedInteger() == nullptr ? 0 : *value->signedInteger();
}

/// Head, the rest of the tag, the first audio behind it, the last 128 bytes: the bytes before the audio.
util::Bytes readFile(const char* path, std::vector<std::uint8_t>& buffer) {
    constexpr std::size_t kHead = 4096;
    constexpr std::size_t kAudio = 8192;
    const util::FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    struct stat facts;
    require(file.isOpen() && ::fstat(file.number(), &facts) == 0, "cannot open");
    if (buffer.size() < kHead) buffer.resize(kHead);
    require(::pread(file.number(), buffer.data(), kHead, 0) == kHead, "cannot read the head");
    std::size_t end = 0;
    util::ByteReader header(util::Bytes(buffer).first(10));
    if (util::charactersOf(*header.take(3)) == "ID3" && header.skip(3)) {
        for (int i = 0; i < 4; ++i) end = end << 7 | *header.u8();
        end += 10;
    }
    buffer.resize(std::max(buffer.size(), end + kAudio + kHead));
    const auto offset = [](std::size_t at) { return static_cast<off_t>(at); };
    if (end > kHead)
        require(::pread(file.number(), buffer.data() + kHead, end - kHead, offset(kHead)) > 0, "cannot read the tag");
    require(::pread(file.number(), buffer.data() + end, kAudio, offset(end)) > 0, "cannot read the audio");
    std::array<std::uint8_t, 128> tail;
    require(::pread(file.number(), tail.data(), tail.size(), facts.st_size - 128) == 128, "cannot read the tail");
    return util::Bytes(buffer).first(end);
}

/// The rows that tracks share: found again by their text, as an import remembers them.
class SharedRows {
  public:
    SharedRows(SqliteDatabase& database, const std::string& table)
        : database_(database), insert_(database, "INSERT INTO " + table + " (" + table + ") VALUES (?1)") {}

    void bind(SqliteStatement& item, int parameter, const std::string& text) {
        const auto [row, isNew] = rows_.try_emplace(text, 0);
        if (isNew) {
            insert_.bind(1, std::string_view(text)).run();
            row->second = database_.lastRow();
        }
        item.bind(parameter, row->second);
    }

  private:
    SqliteDatabase& database_;
    SqliteStatement insert_;
    std::unordered_map<std::string, std::int64_t> rows_;
};

/// Covers, kept as a file and as a row each. Which bytes of the tag they are makes no difference to the work.
class Images {
  public:
    Images(SqliteDatabase& database, std::string cache)
        : database_(database),
          cache_(std::move(cache)),
          insert_(database, "INSERT INTO artwork (md5, data) VALUES (?, ?)") {}

    std::int64_t rowOf(util::Bytes image) {
        const std::string digest = util::hexadecimal(util::platformMD5(image));
        const auto [row, isNew] = rows_.try_emplace(digest, 0);
        if (!isNew) return row->second;
        const util::FileDescriptor file(
            ::open(util::pathIn(cache_, digest).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        require(file.isOpen() && util::writeAll(file.number(), image).ok(), "cannot write the artwork cache");
        insert_.bind(1, std::string_view(digest)).bind(2, image).run();
        return row->second = database_.lastRow();
    }

  private:
    SqliteDatabase& database_;
    std::string cache_;
    SqliteStatement insert_;
    std::unordered_map<std::string, std::int64_t> rows_;
};

}  // namespace

ImportFloor::ImportFloor(const std::vector<ImportedTrack>& tracks) {
    for (const ImportedTrack& imported : tracks) {
        const LibraryTrack& track = imported.track;
        Track& row = tracks_.emplace_back();
        row.entry = imported.entry;
        row.origin = track.origin;
        row.assetName = util::lastPathComponent(track.assetPath);
        for (std::size_t t = 0; t < row.texts.size(); ++t) row.texts[t] = util::textAt(track.values, kTexts[t]);
        for (std::size_t n = 0; n < row.numbers.size(); ++n) row.numbers[n] = numberAt(track.values, kNumbers[n]);
        row.imageBytes = imported.imageBytes;
    }
}

void ImportFloor::run(const DevicePaths& paths, Transactions transactions) const {
    const auto database = openLibraryDatabase(paths.at(SqliteMusicLibrary::kDatabase),
                                              SqliteMusicLibrary::Mode::readWrite, std::chrono::seconds(1));
    SharedRows artists(*database, "item_artist");
    SharedRows albums(*database, "album");
    SharedRows albumArtists(*database, "album_artist");
    SqliteStatement extra(*database,
                          "INSERT INTO item_extra (item_pid, asset_path, title, total_time_ms, track_count, "
                          "disc_count, year) VALUES (?, ?, ?, ?, ?, ?, ?)");
    SqliteStatement item(*database,
                         "INSERT INTO item (item_pid, media_type, item_artist_pid, album_pid, album_artist_pid, "
                         "artwork_pid, track_number, disc_number) VALUES (?, 8, ?, ?, ?, ?, ?, ?)");
    SqliteStatement origin(*database,
                           "INSERT INTO asset_origin (asset_name, device, inode, file_name) VALUES (?, ?, ?, ?)");
    Images images(*database, paths.at(DevicePaths::kArtworkCache));
    std::vector<std::uint8_t> buffer;
    std::optional<SqliteTransaction> transaction;
    std::int64_t identifier = 0;
    for (const Track& track : tracks_) {
        const std::string media = util::pathIn(paths.at(DevicePaths::kMediaFolder), track.assetName);
        require(std::rename(util::pathIn(paths.at(DevicePaths::kDropFolder), track.entry).c_str(), media.c_str()) == 0,
                "cannot rename");
        const util::Bytes tag = readFile(media.c_str(), buffer);
        if (!transaction) transaction.emplace(*database);
        ++identifier;
        extra.bind(1, identifier).bind(2, std::string_view(track.assetName)).bind(3, std::string_view(track.texts[0]));
        extra.bind(4, track.numbers[0]).bind(5, track.numbers[2]).bind(6, track.numbers[4]).bind(7, track.numbers[5]);
        extra.run();
        item.bind(1, identifier).bindNull(5).bind(6, track.numbers[1]).bind(7, track.numbers[3]);
        artists.bind(item, 2, track.texts[1]);
        albums.bind(item, 3, track.texts[2]);
        if (track.texts[3].empty())
            item.bindNull(4);
        else
            albumArtists.bind(item, 4, track.texts[3]);
        if (track.imageBytes > 0) item.bind(5, images.rowOf(tag.last(std::min(tag.size(), track.imageBytes))));
        item.run();
        if (track.origin) {
            origin.bind(1, std::string_view(track.assetName)).bind(2, static_cast<std::int64_t>(track.origin->device));
            origin.bind(3, static_cast<std::int64_t>(track.origin->inode));
            origin.bind(4, util::bytesOf(track.origin->fileName)).run();
        }
        if (transactions == Transactions::oneEach) {
            transaction->commit();
            transaction.reset();
        }
    }
    if (transaction) transaction->commit();
}

}  // namespace quillet::bench
