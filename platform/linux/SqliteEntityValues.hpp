#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/DevicePaths.hpp"
#include "platform/linux/SqliteDatabase.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// An entity property that has a column of its own.
struct EntityProperty {
    std::string_view key;
    std::string_view table;
    std::string_view column;
};

inline constexpr EntityProperty kEntityProperties[] = {
    {"album.album", "album", "album"},
    {"album_artist.album_artist", "album_artist", "album_artist"},
    {"disc_number", "item", "disc_number"},
    {"item_artist.item_artist", "item_artist", "item_artist"},
    {"item_extra.disc_count", "item_extra", "disc_count"},
    {"item_extra.title", "item_extra", "title"},
    {"item_extra.total_time_ms", "item_extra", "total_time_ms"},
    {"item_extra.track_count", "item_extra", "track_count"},
    {"item_extra.year", "item_extra", "year"},
    {"track_number", "item", "track_number"},
};
inline constexpr std::size_t kEntityPropertyCount = std::size(kEntityProperties);

/// The index in kEntityProperties; nullopt for a key without a column.
std::optional<std::size_t> entityProperty(std::string_view key);
/// The indexes of the properties that are columns of `table`, ascending.
std::vector<std::size_t> entityPropertiesOf(std::string_view table);

/// Whether a property's own column keeps the value as it is: text, and whole numbers that SQLite's integers hold.
bool columnKeeps(const util::PropertyValue& value);
/// Binds a value that columnKeeps(); it must live until the statement has run.
void bindValue(SqliteStatement& statement, int parameter, const util::PropertyValue& value);
/// The bytes that stand for any other value; nullopt where it is nested too deeply.
std::optional<std::vector<std::uint8_t>> encodedValue(const util::PropertyValue& value);
/// The value of a column, whichever way it was stored; nullopt for NULL. Throws LibraryError for what nobody has
/// stored.
std::optional<util::PropertyValue> valueOf(SqliteStatement& statement, int column);

/// How the library keeps the full path of an asset: without the root, so that the root can be moved, and as the mere
/// file name where it lies in the media folder. Nullopt for a path outside the root, and for one that is no file's.
std::optional<std::string_view> storedAssetPath(const DevicePaths& paths, std::string_view fullPath);
std::string fullAssetPath(const DevicePaths& paths, std::string_view stored);
/// Binds a stored asset path or name: as text where it is UTF-8, as bytes otherwise.
void bindAssetPath(SqliteStatement& statement, int parameter, std::string_view stored);

}  // namespace quillet
