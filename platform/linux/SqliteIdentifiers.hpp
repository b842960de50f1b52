#pragma once

#include <cstdint>

#include "platform/linux/SqliteDatabase.hpp"

namespace quillet {

/// Gives out persistent identifiers: up from 1, none of them twice. One that was told to somebody before the
/// transaction of its track is committed must not come again though that transaction is lost; so a group takes
/// identifiers from a block that was reserved in a transaction of its own. All throw SqliteError.
class SqliteIdentifiers {
  public:
    explicit SqliteIdentifiers(SqliteDatabase& database);

    /// Sees to it that at least `count` are at hand for next(). No transaction may be open. What it reserves stays
    /// reserved though the machine loses power.
    void reserve(std::uint64_t count);
    /// The identifier for the next track, out of the reserved ones; used() says that the track was stored.
    std::uint64_t next() const noexcept { return next_; }
    void used() noexcept { highestUsed_ = next_++; }
    /// Within the transaction that stores the tracks: how far the identifiers were used, for other processes to know.
    void recordUsed();
    /// Within the last transaction of a group: those that are left can be given again, if nobody has reserved after
    /// them.
    void giveBackRest();
    bool anyLeft() const noexcept { return next_ < end_; }
    /// Never gives an identifier up to `highest`. Writes only where one could be given.
    void passOver(std::uint64_t highest);
    /// Forgets those that are left.
    void forgetRest() noexcept;

    /// The next identifier, given within the transaction that stores its track and told after that was committed.
    std::uint64_t giveOne();
    /// The highest that was ever given to a track.
    std::uint64_t highestGiven();

  private:
    SqliteDatabase& database_;
    SqliteStatement reserve_, giveOne_, recordUsed_, giveBack_, highestGiven_, passOver_, isAbove_;
    std::uint64_t next_ = 0;
    std::uint64_t end_ = 0;  ///< behind the last reserved one
    std::uint64_t block_ = 0;
    std::uint64_t highestUsed_ = 0;
};

}  // namespace quillet
