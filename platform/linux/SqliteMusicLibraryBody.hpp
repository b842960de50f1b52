#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/SqliteDatabase.hpp"
#include "platform/linux/SqliteIdentifiers.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"
#include "platform/linux/SqliteTrackWriter.hpp"

namespace quillet {

struct SqliteMusicLibrary::Body {
    Body(const DevicePaths& devicePaths, Mode mode, std::chrono::milliseconds busyLimit);

    DevicePaths paths;
    std::unique_ptr<SqliteDatabase> database;
    SqliteIdentifiers identifiers;
    SqliteTrackWriter writer;
    bool enabled = false;

    // Importing. These throw LibraryError; whoever catches it calls afterFailure().
    /// The identifier under which the track is stored.
    std::uint64_t importTrack(const TrackImport& track);
    std::uint64_t importInGroup(const TrackImport& track);
    void noteOrigin(const std::string& assetName, const TrackOrigin& origin);
    void endGroup();
    void afterFailure(const std::exception& error);

    // The group: some transactions one after the other, each opened when there is something to write.
    bool grouped = false;
    bool groupWhole = true;  ///< nothing of the group was lost
    bool lockedOut =
        false;  ///< another program had the lock for the whole waiting time; the group waits no second time
    std::optional<SqliteTransaction> transaction;
    std::chrono::steady_clock::time_point transactionBegan;
    int writes = 0;  ///< tracks and origins in the open transaction
    void openTransaction();
    /// Counts one write, and commits when there are enough of them or the first is old enough.
    void wrote();
    void commitTransaction();
    /// The open transaction is gone with all that it held.
    void loseTransaction(const std::string& reason);

    // Reading.
    SqliteStatement selectAll, selectOne, selectProperties, selectIdentifiers, selectOfOrigin, selectAssetPaths,
        selectImage;
    LibraryTrack trackOfRow(SqliteStatement& row);

    // Removal.
    SqliteStatement selectReferences, deleteItem, deleteOrigin, deleteItemArtist, deleteAlbum, deleteAlbumArtist,
        deleteArtwork;
};

}  // namespace quillet
