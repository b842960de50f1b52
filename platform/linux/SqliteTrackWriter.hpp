#pragma once

#include <cstdint>
#include <vector>

#include "platform/DevicePaths.hpp"
#include "platform/MusicLibrary.hpp"
#include "platform/linux/SqliteDatabase.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"
#include "platform/linux/SqliteSharedRows.hpp"

namespace quillet {

/// Writes tracks and origins, within the transaction of whoever calls.
class SqliteTrackWriter {
  public:
    /// Both must outlive this.
    SqliteTrackWriter(SqliteDatabase& database, const DevicePaths& paths);

    /// Throws LibraryError, with the rows of the track in part written, where it cannot be stored.
    void insert(std::uint64_t persistentID, const TrackImport& track);
    /// Throws SqliteError. Replaces what was noted for the name before.
    void note(std::string_view assetName, const TrackOrigin& origin);
    /// To be called when a transaction ends and when anything was taken back.
    void forget() noexcept;

  private:
    void insertItem(std::int64_t item, const TrackImport& track, const util::PropertyValue* const* values);
    void insertExtra(std::int64_t item, const TrackImport& track, const util::PropertyValue* const* values);
    void insertProperty(std::int64_t item, std::string_view name, const util::PropertyValue& value);

    const DevicePaths& paths_;
    SqliteStatement item_, extra_, property_, origin_;
    SqliteSharedRows itemArtists_, albums_, albumArtists_;
    SqliteImages images_;
};

}  // namespace quillet
