#include "platform/linux/SqliteTrackWriter.hpp"

#include <fmt/format.h>

#include <array>

#include "platform/linux/SqliteEntityValues.hpp"
#include "util/Narrow.hpp"

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

void bindColumns(SqliteStatement& statement, int after, const std::vector<std::size_t>& properties,
                 const util::PropertyValue* const* values) {
    for (const std::size_t property : properties) {
        ++after;
        if (values[property] == nullptr)
            statement.bindNull(after);
        else
            bindValue(statement, after, *values[property]);
    }
}

}  // namespace

SqliteTrackWriter::SqliteTrackWriter(SqliteDatabase& database, const DevicePaths& paths)
    : paths_(paths),
      item_(database, insertion("item", kItemFirst, itemColumns())),
      extra_(database, insertion("item_extra", kExtraFirst, extraColumns())),
      property_(database, "INSERT INTO item_property (item_pid, name, value) VALUES (?1, ?2, ?3)"),
      origin_(database,
              "INSERT OR REPLACE INTO asset_origin (asset_name, device, inode, file_name) VALUES (?1, ?2, ?3, ?4)"),
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

void SqliteTrackWriter::insert(std::uint64_t persistentID, const TrackImport& track) {
    const auto item = util::narrow<std::int64_t>(persistentID);
    if (!item) throw LibraryError("the library has no identifiers left");
    std::array<const util::PropertyValue*, kEntityPropertyCount> values{};
    bool allInColumns = true;
    for (const auto& [name, value] : track.values) {
        const auto property = entityProperty(name);
        if (property && columnKeeps(value))
            values[*property] = &value;
        else
            allInColumns = false;
    }
    insertItem(*item, track, values.data());
    insertExtra(*item, track, values.data());
    if (allInColumns) return;
    for (const auto& [name, value] : track.values)
        if (!entityProperty(name) || !columnKeeps(value)) insertProperty(*item, name, value);
}

void SqliteTrackWriter::insertItem(std::int64_t item, const TrackImport& track,
                                   const util::PropertyValue* const* values) {
    struct Shared {
        std::string_view key;
        SqliteSharedRows& rows;
    };
    item_.bind(1, item).bind(2, std::int64_t{track.mediaType});
    int parameter = 2;
    for (const Shared& shared : {Shared{"item_artist.item_artist", itemArtists_}, Shared{"album.album", albums_},
                                 Shared{"album_artist.album_artist", albumArtists_}}) {
        ++parameter;
        const util::PropertyValue* value = values[*entityProperty(shared.key)];
        if (value == nullptr)
            item_.bindNull(parameter);
        else
            item_.bind(parameter, shared.rows.rowOf(*value));
    }
    ++parameter;
    if (track.artworkData && !track.artworkData->empty())
        item_.bind(parameter, images_.rowOf(*track.artworkData));
    else
        item_.bindNull(parameter);
    bindColumns(item_, kItemFirstCount, itemColumns(), values);
    item_.run();
}

void SqliteTrackWriter::insertExtra(std::int64_t item, const TrackImport& track,
                                    const util::PropertyValue* const* values) {
    const auto path = storedAssetPath(paths_, track.assetFilePath);
    if (!path) throw LibraryError("it does not lie under the library's root");
    extra_.bind(1, item);
    bindAssetPath(extra_, 2, *path);
    bindColumns(extra_, kExtraFirstCount, extraColumns(), values);
    try {
        extra_.run();
    } catch (const SqliteError& error) {
        if (error.code() == SQLITE_CONSTRAINT_UNIQUE) throw LibraryError("it is there already");
        throw;
    }
}

void SqliteTrackWriter::insertProperty(std::int64_t item, std::string_view name, const util::PropertyValue& value) {
    property_.bind(1, item).bind(2, name);
    if (columnKeeps(value)) {
        bindValue(property_, 3, value);
        property_.run();
        return;
    }
    const auto bytes = encodedValue(value);
    if (!bytes) throw LibraryError(fmt::format("its property {} is nested too deeply", name));
    property_.bind(3, util::Bytes(*bytes)).run();
}

void SqliteTrackWriter::note(std::string_view assetName, const TrackOrigin& origin) {
    bindAssetPath(origin_, 1, assetName);
    origin_.bind(2, static_cast<std::int64_t>(origin.device)).bind(3, static_cast<std::int64_t>(origin.inode));
    origin_.bind(4, util::bytesOf(origin.fileName)).run();
}

}  // namespace quillet
