#include <fmt/format.h>

#include <array>

#include "platform/linux/SqliteEntityValues.hpp"
#include "platform/linux/SqliteMusicLibraryBody.hpp"
#include "platform/linux/SqliteSchema.hpp"
#include "util/Log.hpp"

namespace quillet {

namespace {

enum TrackColumn { kItem, kAssetPath, kArtwork, kOriginDevice, kOriginInode, kOriginName, kFirstProperty };

std::string trackSelection(std::string_view condition) {
    std::string sql =
        "SELECT item.item_pid, item_extra.asset_path, artwork.md5, asset_origin.device, asset_origin.inode, "
        "asset_origin.file_name";
    for (const EntityProperty& property : kEntityProperties)
        sql += fmt::format(", {}.{}", property.table, property.column);
    // CROSS: in this order, so that the rows come by ascending identifier without being sorted.
    return sql +
           " FROM item CROSS JOIN item_extra USING (item_pid)"
           " LEFT JOIN item_artist USING (item_artist_pid)"
           " LEFT JOIN album USING (album_pid)"
           " LEFT JOIN album_artist USING (album_artist_pid)"
           " LEFT JOIN artwork USING (artwork_pid)"
           " LEFT JOIN asset_origin ON asset_origin.asset_name = item_extra.asset_path"
           " " +
           std::string(condition) + " ORDER BY item.item_pid";
}

/// Takes out a row of a shared table that no item uses any more.
std::string unusedDeletion(std::string_view table) {
    return fmt::format("DELETE FROM {0} WHERE {0}_pid = ?1 AND NOT EXISTS (SELECT 1 FROM item WHERE {0}_pid = ?1)",
                       table);
}

}  // namespace

SqliteMusicLibrary::Body::Body(const DevicePaths& devicePaths, Mode mode, std::chrono::milliseconds busyLimit)
    : paths(devicePaths),
      database(openLibraryDatabase(paths.at(kDatabase), mode, busyLimit)),
      identifiers(*database),
      writer(*database),
      selectAll(*database, trackSelection("")),
      selectOne(*database, trackSelection("WHERE item.item_pid = ?1")),
      selectProperties(*database, "SELECT name, value FROM item_property WHERE item_pid = ?1"),
      selectIdentifiers(*database, "SELECT item_pid FROM item"),
      selectOfOrigin(*database,
                     "SELECT min(item_extra.item_pid) FROM asset_origin JOIN item_extra ON asset_path = asset_name "
                     "WHERE inode = ?1 AND device = ?2 AND file_name = ?3 AND item_extra.item_pid > ?4"),
      selectAssetPaths(*database, "SELECT asset_path FROM item_extra"),
      selectImage(*database, "SELECT data FROM artwork WHERE md5 = ?1"),
      selectReferences(*database,
                       "SELECT asset_path, item_artist_pid, album_pid, album_artist_pid, artwork_pid "
                       "FROM item JOIN item_extra USING (item_pid) WHERE item_pid = ?1"),
      deleteItem(*database, "DELETE FROM item_extra WHERE item_pid = ?1"),
      deleteOrigin(*database, "DELETE FROM asset_origin WHERE asset_name = ?1"),
      deleteItemArtist(*database, unusedDeletion("item_artist")),
      deleteAlbum(*database, unusedDeletion("album")),
      deleteAlbumArtist(*database, unusedDeletion("album_artist")),
      deleteArtwork(*database, unusedDeletion("artwork")) {}

LibraryTrack SqliteMusicLibrary::Body::trackOfRow(SqliteStatement& row) {
    LibraryTrack track;
    const std::int64_t item = row.integer(kItem);
    track.persistentID = static_cast<std::uint64_t>(item);
    track.assetPath = fullAssetPath(paths, row.text(kAssetPath));
    if (row.type(kArtwork) != SQLITE_NULL) track.artwork = row.text(kArtwork);
    if (row.type(kOriginName) != SQLITE_NULL)
        track.origin =
            TrackOrigin{std::string(row.text(kOriginName)), static_cast<std::uint64_t>(row.integer(kOriginDevice)),
                        static_cast<std::uint64_t>(row.integer(kOriginInode))};
    for (std::size_t property = 0; property < kEntityPropertyCount; ++property)
        if (auto value = valueOf(row, kFirstProperty + static_cast<int>(property)))
            track.values.emplace(kEntityProperties[property].key, *std::move(value));
    const SqliteStatement::Use use(selectProperties);
    selectProperties.bind(1, item);
    while (selectProperties.step())
        if (auto value = valueOf(selectProperties, 1))
            track.values.insert_or_assign(std::string(selectProperties.text(0)), *std::move(value));
    return track;
}

void SqliteMusicLibrary::forEachTrack(const std::function<void(const LibraryTrack&)>& visit) {
    const SqliteStatement::Use use(body_->selectAll);
    while (body_->selectAll.step()) visit(body_->trackOfRow(body_->selectAll));
}

std::optional<LibraryTrack> SqliteMusicLibrary::track(std::uint64_t persistentID) {
    const SqliteStatement::Use use(body_->selectOne);
    if (!body_->selectOne.bind(1, static_cast<std::int64_t>(persistentID)).step()) return std::nullopt;
    return body_->trackOfRow(body_->selectOne);
}

std::optional<std::vector<std::uint64_t>> SqliteMusicLibrary::persistentIdentifiers() {
    try {
        const SqliteStatement::Use use(body_->selectIdentifiers);
        std::vector<std::uint64_t> identifiers;
        while (body_->selectIdentifiers.step())
            identifiers.push_back(static_cast<std::uint64_t>(body_->selectIdentifiers.integer(0)));
        return identifiers;
    } catch (const std::exception& error) {
        util::log(error.what());
        return std::nullopt;
    }
}

std::optional<std::uint64_t> SqliteMusicLibrary::trackOfOrigin(const TrackOrigin& origin, std::uint64_t after) {
    SqliteStatement& select = body_->selectOfOrigin;
    const SqliteStatement::Use use(select);
    select.bind(1, static_cast<std::int64_t>(origin.inode)).bind(2, static_cast<std::int64_t>(origin.device));
    select.bind(3, util::bytesOf(origin.fileName)).bind(4, static_cast<std::int64_t>(after));
    if (!select.step() || select.type(0) == SQLITE_NULL) return std::nullopt;
    return static_cast<std::uint64_t>(select.integer(0));
}

std::uint64_t SqliteMusicLibrary::lastIdentifier() {
    return body_->identifiers.highestGiven();
}

void SqliteMusicLibrary::passOverIdentifiers(std::uint64_t highest) {
    body_->identifiers.passOver(highest);
}

std::unordered_set<std::string> SqliteMusicLibrary::assetNames() {
    const SqliteStatement::Use use(body_->selectAssetPaths);
    std::unordered_set<std::string> names;
    while (body_->selectAssetPaths.step())
        if (const std::string_view path = body_->selectAssetPaths.text(0); !path.starts_with('/')) names.emplace(path);
    return names;
}

bool SqliteMusicLibrary::remove(std::uint64_t persistentID, bool keepOrigin) {
    SqliteTransaction one(*body_->database);
    body_->writer.forget();  // it may remember rows that go now
    const auto item = static_cast<std::int64_t>(persistentID);
    std::array<std::optional<std::int64_t>, 4> shared;  // in the order of selectReferences
    std::string assetPath;
    {
        SqliteStatement& references = body_->selectReferences;
        const SqliteStatement::Use use(references);
        if (!references.bind(1, item).step()) return false;
        assetPath = references.text(0);
        for (int i = 0; i < 4; ++i)
            if (references.type(i + 1) != SQLITE_NULL) shared[static_cast<std::size_t>(i)] = references.integer(i + 1);
    }
    body_->deleteItem.bind(1, item).run();
    if (shared[0]) body_->deleteItemArtist.bind(1, *shared[0]).run();
    if (shared[1]) body_->deleteAlbum.bind(1, *shared[1]).run();
    if (shared[2]) body_->deleteAlbumArtist.bind(1, *shared[2]).run();
    if (shared[3]) body_->deleteArtwork.bind(1, *shared[3]).run();
    if (!keepOrigin) {
        bindAssetPath(body_->deleteOrigin, 1, assetPath);
        body_->deleteOrigin.run();
    }
    one.commit();
    return true;
}

std::optional<util::Data> SqliteMusicLibrary::artworkData(const std::string& md5) {
    const SqliteStatement::Use use(body_->selectImage);
    if (!body_->selectImage.bind(1, std::string_view(md5)).step()) return std::nullopt;
    return util::Data::copyOf(body_->selectImage.bytes(0));
}

}  // namespace quillet
