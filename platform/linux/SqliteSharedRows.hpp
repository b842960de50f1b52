#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/linux/SqliteDatabase.hpp"
#include "util/Data.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// The rows of a table of values that tracks share, such as "album": one row for each value that differs in type or
/// content. Rows that were found are remembered until forget(), which must be called when a transaction ends (another
/// process may take rows away then) and when anything was taken back.
class SqliteSharedRows {
  public:
    /// `table` has the columns TABLE_pid and TABLE.
    SqliteSharedRows(SqliteDatabase& database, std::string_view table);

    /// The row of `value`, which its column must keep; made where there is none. Throws SqliteError.
    std::int64_t rowOf(const util::PropertyValue& value);
    void forget() noexcept { remembered_.clear(); }

  private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
    };
    std::int64_t findOrMake(const util::PropertyValue& value);

    SqliteDatabase& database_;
    SqliteStatement insert_, select_;
    std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> remembered_;
};

/// The images, one row for each that differs.
class SqliteImages {
  public:
    explicit SqliteImages(SqliteDatabase& database);

    /// The row of the image; made where there is none. Throws SqliteError.
    std::int64_t rowOf(const util::Data& image);
    void forget() noexcept { lastRow_ = 0; }

  private:
    SqliteDatabase& database_;
    SqliteStatement insert_, select_;
    // Tracks of an album come one after the other and bear the same image.
    util::Data last_;
    std::string lastDigest_;
    std::int64_t lastRow_ = 0;  ///< 0 where it is not known
};

}  // namespace quillet
