#include "platform/linux/SqliteIdentifiers.hpp"

#include <algorithm>

namespace quillet {

namespace {

// A long group reserves ever larger blocks, since each costs a write that waits for the disk.
constexpr std::uint64_t kSmallestBlock = 2048;
constexpr std::uint64_t kLargestBlock = 65536;

// SQLite counts identifiers in 63 bits; nobody lives to see the end of them.
std::int64_t signedOf(std::uint64_t identifier) {
    return static_cast<std::int64_t>(identifier);
}
std::uint64_t unsignedOf(std::int64_t identifier) {
    return static_cast<std::uint64_t>(identifier);
}

}  // namespace

SqliteIdentifiers::SqliteIdentifiers(SqliteDatabase& database)
    : database_(database),
      reserve_(database, "UPDATE identifiers SET highest_reserved = highest_reserved + ?1 RETURNING highest_reserved"),
      giveOne_(database,
               "UPDATE identifiers SET highest_reserved = highest_reserved + 1, highest_given = highest_reserved + 1"),
      recordUsed_(database, "UPDATE identifiers SET highest_given = max(highest_given, ?1)"),
      giveBack_(database, "UPDATE identifiers SET highest_reserved = ?1 WHERE highest_reserved = ?2"),
      highestGiven_(database, "SELECT highest_given FROM identifiers"),
      passOver_(database, "UPDATE identifiers SET highest_reserved = max(highest_reserved, ?1)"),
      isAbove_(database, "SELECT 1 FROM identifiers WHERE highest_reserved >= ?1") {}

void SqliteIdentifiers::reserve(std::uint64_t count) {
    if (end_ - next_ >= count) return;
    const std::uint64_t block = std::max(count, std::clamp(block_ * 4, kSmallestBlock, kLargestBlock));
    struct FullSync {
        explicit FullSync(SqliteDatabase& of) : database(of) { database.execute("PRAGMA synchronous = FULL"); }
        ~FullSync() { sqlite3_exec(database.handle(), "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr); }
        SqliteDatabase& database;
    };
    const FullSync fullSync(database_);
    SqliteTransaction transaction(database_);
    const SqliteStatement::Use use(reserve_);
    reserve_.bind(1, signedOf(block)).step();
    const std::uint64_t highest = unsignedOf(reserve_.integer(0));
    reserve_.run();
    transaction.commit();
    // The rest of the block before is passed over, unless this one follows on it.
    if (end_ == 0 || highest - block + 1 != end_) next_ = highest - block + 1;
    end_ = highest + 1;
    block_ = block;
}

void SqliteIdentifiers::recordUsed() {
    recordUsed_.bind(1, signedOf(highestUsed_)).run();
}

void SqliteIdentifiers::giveBackRest() {
    if (anyLeft()) giveBack_.bind(1, signedOf(next_ - 1)).bind(2, signedOf(end_ - 1)).run();
}

void SqliteIdentifiers::passOver(std::uint64_t highest) {
    {
        const SqliteStatement::Use use(isAbove_);
        if (isAbove_.bind(1, signedOf(highest)).step()) return;
    }
    passOver_.bind(1, signedOf(highest)).run();
}

void SqliteIdentifiers::forgetRest() noexcept {
    next_ = end_ = block_ = 0;
}

std::uint64_t SqliteIdentifiers::giveOne() {
    giveOne_.run();
    // Not by RETURNING, which takes ten times as long.
    const SqliteStatement::Use use(highestGiven_);
    highestGiven_.step();
    return unsignedOf(highestGiven_.integer(0));
}

std::uint64_t SqliteIdentifiers::highestGiven() {
    const SqliteStatement::Use use(highestGiven_);
    const bool found = highestGiven_.step();
    return std::max(found ? unsignedOf(highestGiven_.integer(0)) : 0, highestUsed_);
}

}  // namespace quillet
