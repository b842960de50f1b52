#include "platform/linux/SqliteTrackWriter.hpp"

#include <fmt/format.h>

#include "platform/linux/SqliteEntityValues.hpp"

namespace quillet {

namespace {

const std::vector<std::size_t>& itemColumns() {
    static const std::vector<std::size_t> columns = entityPropertiesOf("item");
    return columns;
}

const std::vector<std::size_t>& extraColumns() {
    static const std::vector<std::size_t> columns = entityPropertiesOf("item_extra");
    return columns;
}

/// An insertion into `table` with the columns `first`, then those of the properties, all of them parameters in this
/// order.
std::string insertion(std::string_view table, std::string_view first, const std::vector<std::size_t>& properties) {
    std::string columns(first);
    for (const std::size_t property : properties) columns += fmt::format(", {}", kEntityProperties[property].column);
    std::string parameters = "?";
    for (const char character : columns)
        if (character == ',') parameters += ", ?";
    return fmt::format("INSERT INTO {} ({}) VALUES ({})", table, columns, parameters);
}

constexpr std::string_view kItemFirst =
    "item_pid, media_type, item_artist_pid, album_pid, album_artist_pid, artwork_pid";
constexpr int kItemFirstCount = 6;
constexpr std::string_view kExtraFirst = "item_pid, asset_path";
constexpr int kExtraFirstCount = 2;

// A row of SQLite's holds a thousand million bytes; this leaves room for its own.
constexpr std::size_t kLargestTrack = 900'000'000;

using Columns = std::array<const util::PropertyValue*, kEntityPropertyCount>;

void bindColumns(SqliteStatement& statement, int after, const std::vector<std::size_t>& properties,
                 const Columns& columns) {
    for (const std::size_t property : properties) {
        ++after;
        if (columns[property] == nullptr)
            statement.bindNull(after);
        else
            bindValue(statement, after, *columns[property]);
    }
}

void bindShared(SqliteStatement& statement, int parameter, SqliteSharedRows& rows, const util::PropertyValue* value) {
    if (value == nullptr)
        statement.bindNull(parameter);
    else
        statement.bind(parameter, rows.rowOf(*value));
}

}  // namespace

SqliteTrackWriter::SqliteTrackWriter(SqliteDatabase& database)
    : item_(database, insertion("item", kItemFirst, itemColumns())),
      extra_(database, insertion("item_extra", kExtraFirst, extraColumns())),
      property_(database, "INSERT INTO item_property (item_pid, name, value) VALUES (?1, ?2, ?3)"),
      origin_(database,
              "INSERT INTO asset_origin (asset_name, device, inode, file_name) VALUES (?1, ?2, ?3, ?4) "
              "ON CONFLICT (asset_name) DO UPDATE "
              "SET device = excluded.device, inode = excluded.inode, file_name = excluded.file_name"),
      itemArtists_(database, "item_artist"),
      albums_(database, "album"),
      albumArtists_(database, "album_artist"),
      images_(database) {}

void SqliteTrackWriter::forget() noexcept {
    itemArtists_.forget();
    albums_.forget();
    albumArtists_.forget();
    images_.forget();
}

TrackRows SqliteTrackWriter::rowsOf(const DevicePaths& paths, const TrackImport& track) {
    TrackRows rows;
    const auto path = storedAssetPath(paths, track.assetFilePath);
    if (!path) throw LibraryError("it does not lie under the library's root");
    rows.assetPath = *path;
    rows.mediaType = track.mediaType;
    if (track.artworkData && !track.artworkData->empty()) rows.artwork = &*track.artworkData;
    std::size_t size = path->size() + (rows.artwork == nullptr ? 0 : rows.artwork->size());
    for (const auto& [name, value] : track.values) {
        if (const std::string* text = value.text()) size += text->size();
        const auto property = entityProperty(name);
        if (property && columnKeeps(value)) {
            rows.columns[*property] = &value;
            continue;
        }
        TrackRows::Property& other = rows.properties.emplace_back(TrackRows::Property{name, &value, {}});
        if (!columnKeeps(value)) {
            auto encoded = encodedValue(value);
            if (!encoded) throw LibraryError(fmt::format("its property {} is nested too deeply or too large", name));
            other.value = nullptr;
            other.encoded = *std::move(encoded);
        }
        size += name.size() + other.encoded.size();
    }
    if (size > kLargestTrack) throw LibraryError("it is too large");
    return rows;
}

void SqliteTrackWriter::insertExtra(std::uint64_t persistentID, const TrackRows& rows) {
    extra_.bind(1, static_cast<std::int64_t>(persistentID));
    bindAssetPath(extra_, 2, rows.assetPath);
    bindColumns(extra_, kExtraFirstCount, extraColumns(), rows.columns);
    try {
        extra_.run();
    } catch (const SqliteError& error) {
        if (error.code() == SQLITE_CONSTRAINT_UNIQUE) throw LibraryError("it is there already");
        throw;
    }
}

void SqliteTrackWriter::insertItem(std::uint64_t persistentID, const TrackRows& rows) {
    static const std::size_t itemArtist = *entityProperty("item_artist.item_artist");
    static const std::size_t album = *entityProperty("album.album");
    static const std::size_t albumArtist = *entityProperty("album_artist.album_artist");
    const auto item = static_cast<std::int64_t>(persistentID);
    item_.bind(1, item).bind(2, std::int64_t{rows.mediaType});
    bindShared(item_, 3, itemArtists_, rows.columns[itemArtist]);
    bindShared(item_, 4, albums_, rows.columns[album]);
    bindShared(item_, 5, albumArtists_, rows.columns[albumArtist]);
    if (rows.artwork == nullptr)
        item_.bindNull(6);
    else
        item_.bind(6, images_.rowOf(*rows.artwork));
    bindColumns(item_, kItemFirstCount, itemColumns(), rows.columns);
    item_.run();
    for (const TrackRows::Property& property : rows.properties) {
        property_.bind(1, item).bind(2, property.name);
        if (property.value != nullptr)
            bindValue(property_, 3, *property.value);
        else
            property_.bind(3, util::Bytes(property.encoded));
        property_.run();
    }
}

void SqliteTrackWriter::note(std::string_view assetName, const TrackOrigin& origin) {
    bindAssetPath(origin_, 1, assetName);
    origin_.bind(2, static_cast<std::int64_t>(origin.device)).bind(3, static_cast<std::int64_t>(origin.inode));
    origin_.bind(4, util::bytesOf(origin.fileName)).run();
}

}  // namespace quillet
