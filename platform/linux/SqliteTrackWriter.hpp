#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/DevicePaths.hpp"
#include "platform/MusicLibrary.hpp"
#include "platform/linux/SqliteDatabase.hpp"
#include "platform/linux/SqliteEntityValues.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"
#include "platform/linux/SqliteSharedRows.hpp"

namespace quillet {

/// What of a track goes where; borrows from the track.
struct TrackRows {
    struct Property {
        std::string_view name;
        const util::PropertyValue* value;  ///< null where its encoding is stored
        std::vector<std::uint8_t> encoded;
    };
    std::string_view assetPath;
    std::uint32_t mediaType = 0;
    const util::Data* artwork = nullptr;
    std::array<const util::PropertyValue*, kEntityPropertyCount> columns{};  ///< by index; null where there is none
    std::vector<Property> properties;                                        ///< those without a column that keeps them
};

/// Writes tracks and origins, within the transaction of whoever calls. A track that cannot be stored is refused by
/// rowsOf() or insertExtra(), with nothing written; so the tracks of one transaction need no savepoints, which would
/// copy every page that a track touches.
class SqliteTrackWriter {
  public:
    explicit SqliteTrackWriter(SqliteDatabase& database);

    /// Throws LibraryError where the track cannot be stored. `paths` and `track` must outlive the rows.
    static TrackRows rowsOf(const DevicePaths& paths, const TrackImport& track);
    /// The first part of a track. Throws LibraryError where it is in the library already; nothing is written then.
    void insertExtra(std::uint64_t persistentID, const TrackRows& rows);
    /// All the rest. Throws SqliteError where the database fails, with the rest written in part.
    void insertItem(std::uint64_t persistentID, const TrackRows& rows);
    /// Throws SqliteError, and nothing is written. Replaces what was noted for the name before.
    void note(std::string_view assetName, const TrackOrigin& origin);
    /// To be called when a transaction begins and when anything was taken back.
    void forget() noexcept;

  private:
    SqliteStatement item_, extra_, property_, origin_;
    SqliteSharedRows itemArtists_, albums_, albumArtists_;
    SqliteImages images_;
};

}  // namespace quillet
