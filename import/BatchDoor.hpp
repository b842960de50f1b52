#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "util/Files.hpp"

namespace quillet {

/// Stands at the drop folder's side of a batch. This one is the system's own rule: every entry is taken as it comes and
/// no result is looked at. A machine with more to lose than a rule puts a stricter one in its place. No call may throw.
class BatchDoor {
  public:
    virtual ~BatchDoor() = default;

    /// Before the drop folder is listed.
    virtual void batchWillBegin() {}
    /// May put the listed entries into another order, or leave some out.
    virtual void arrange(std::vector<std::string>& /*entries*/) {}
    /// Whether the entry is taken now; one that is not stays where the door left it.
    virtual bool admits(const std::string& /*entry*/) { return true; }
    /// Before the entry is moved to `assetName` in the media folder.
    virtual void willMove(const std::string& /*entry*/, const std::string& /*assetName*/) {}
    /// After the move. False leaves the entry at that: no record is made and no track imported.
    virtual bool didMove(const std::string& /*entry*/, const std::string& /*assetName*/,
                         const util::Status& /*moved*/) {
        return true;
    }
    /// After the import; `persistentID` is 0 where the library has not taken the track (yet).
    virtual void didImport(const std::string& /*entry*/, const std::string& /*assetName*/,
                           std::uint64_t /*persistentID*/) {}
    /// After the import database was written; the drop folder is watched again.
    virtual void batchDidEnd() {}
};

}  // namespace quillet
