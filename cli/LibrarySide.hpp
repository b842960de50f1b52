#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/BatchReporter.hpp"
#include "cli/DropDoor.hpp"
#include "cli/OriginJournal.hpp"
#include "import/QLSyncHelper.hpp"
#include "platform/linux/LinuxPlatform.hpp"

namespace quillet::cli {

/// What one re-check did, in tracks.
struct RecheckResult {
    std::size_t records = 0;     ///< that the import database held before
    std::size_t addedAgain = 0;  ///< had vanished from the library
    std::size_t dropped = 0;     ///< their files were gone too
    std::size_t found = 0;       ///< imported from files that neither the library nor the import database knew
    std::size_t failed = 0;      ///< the library did not take them, or could not be asked
};

/// The library side of a root: the sync engine with what Linux puts around it. Whoever makes one holds the root's lock.
class LibrarySide {
  public:
    /// Makes the engine. An import database that is no dictionary is set aside first, with one line. Throws UserError
    /// where the root cannot be used. All arguments must outlive this.
    LibrarySide(LinuxPlatform& platform, BatchReporter& reporter);

    /// Adds again what vanished, and imports files of the media folder that nobody knows, as a killed batch leaves
    /// them.
    RecheckResult recheck();

    /// Imports these entries of the drop folder now and in this order, as finished files, and nothing else there.
    void importNow(std::vector<std::string> entries);
    DropDoor& door() { return door_; }

    /// Takes what lies in the drop folder already, as soon as the folder has settled.
    void takeWhatLiesThere();
    /// From now on the loop takes whatever is dropped: also what arrives during a batch, what was still being written,
    /// and what the library could not take at first.
    void takeWhateverComes();
    /// Runs the loop until no entry of the drop folder is new, or the door was told to stop.
    void takeAllOnce();

    enum class Removal { removed, noSuchTrack };
    /// Takes a track out of the library; with `keepFile` its record and its file stay, so that the next re-check brings
    /// it back. Throws LibraryError or UserError where that fails.
    Removal remove(std::uint64_t persistentID, bool keepFile);

  private:
    void makeEngine();
    void setDatabaseAside();
    void recallMoves();
    void finishMove(const OriginJournal::Entry& move);
    void importUnknownFiles(RecheckResult& result);
    void recheckAgainLater();
    void letLeftEntriesTryLater();
    void watchAgain();
    void passOverRecordedIdentifiers();
    void finishRemovals();
    void followUp();
    void awaitWriters();
    void dropCachedArtwork(const std::string& artwork);

    LinuxPlatform& platform_;
    OriginJournal journal_;
    DropDoor door_;
    std::optional<QLSyncHelper> engine_;
    bool retryIsDue_ = false;
    bool leftEntriesAreDue_ = false;
    bool isDeaf_ = false;  ///< the drop folder could not be watched again
    bool awaitsWriters_ = false;
};

}  // namespace quillet::cli
