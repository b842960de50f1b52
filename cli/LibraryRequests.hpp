#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/LibrarySide.hpp"
#include "platform/MessagingCenter.hpp"

namespace quillet::cli {

/// What another command of the root asks of the library side while a `watch` has the lock.
inline constexpr const char* kLibraryMessagingCenter = "com.quillet.library";

/// Serves requests on the loop until the center is dropped. `side` must outlive that.
std::shared_ptr<MessagingCenter> serveRequests(MessagingCenters& centers, LibrarySide& side);

/// An entry of the drop folder that is a finished audio file, and the name that the user knows it by.
struct FinishedEntry {
    std::string entry;
    std::string fileName;
};
/// Tells the library side of such entries, in the order in which they are wanted, so that it need not wait until the
/// folder is quiet. Does not wait; false where none serves.
bool requestTaking(MessagingCenters& centers, const std::vector<FinishedEntry>& entries);

/// Each asks the library side and waits for its answer; nullopt where none serves.
std::optional<RecheckResult> requestRecheck(MessagingCenters& centers);
struct RemovalAnswer {
    LibrarySide::Removal removal = LibrarySide::Removal::noSuchTrack;
    std::string error;  ///< "" where it went well
};
std::optional<RemovalAnswer> requestRemoval(MessagingCenters& centers, std::uint64_t persistentID, bool keepFile);

}  // namespace quillet::cli
