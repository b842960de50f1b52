#include "platform/linux/SqliteSharedRows.hpp"

#include <fmt/format.h>

#include "platform/linux/SqliteEntityValues.hpp"

namespace quillet {

namespace {
constexpr std::size_t kMostRemembered = 4096;
}

SqliteSharedRows::SqliteSharedRows(SqliteDatabase& database, std::string_view table)
    : database_(database),
      insert_(database, fmt::format("INSERT INTO {0} ({0}) VALUES (?1) ON CONFLICT DO NOTHING", table)),
      select_(database, fmt::format("SELECT {0}_pid FROM {0} WHERE {0} = ?1", table)) {}

std::int64_t SqliteSharedRows::rowOf(const util::PropertyValue& value) {
    const std::string* text = value.text();
    if (text == nullptr) return findOrMake(value);
    if (const auto found = remembered_.find(std::string_view(*text)); found != remembered_.end()) return found->second;
    const std::int64_t row = findOrMake(value);
    if (remembered_.size() == kMostRemembered) remembered_.clear();
    remembered_.emplace(*text, row);
    return row;
}

std::int64_t SqliteSharedRows::findOrMake(const util::PropertyValue& value) {
    bindValue(insert_, 1, value);
    insert_.run();
    if (database_.changes() > 0) return database_.lastRow();
    const SqliteStatement::Use use(select_);
    bindValue(select_, 1, value);
    select_.step();
    return select_.integer(0);
}

SqliteImages::SqliteImages(SqliteDatabase& database)
    : database_(database),
      insert_(database, "INSERT INTO artwork (md5, data) VALUES (?1, ?2)"),
      select_(database, "SELECT artwork_pid FROM artwork WHERE md5 = ?1") {}

std::int64_t SqliteImages::rowOf(const util::Data& image) {
    if (!(image == last_)) {
        lastDigest_ = image.MD5();
        last_ = image;
        lastRow_ = 0;
    }
    if (lastRow_ != 0) return lastRow_;
    const SqliteStatement::Use use(select_);
    if (select_.bind(1, std::string_view(lastDigest_)).step()) return lastRow_ = select_.integer(0);
    insert_.bind(1, std::string_view(lastDigest_)).bind(2, image.bytes()).run();
    return lastRow_ = database_.lastRow();
}

}  // namespace quillet
