#pragma once

#include <functional>
#include <string>

#include "cli/Console.hpp"
#include "cli/LibraryRequests.hpp"
#include "cli/LibrarySide.hpp"

namespace quillet::cli {

/// Has something done by the library side of the root: by `direct` in this process where the root is free, else by
/// `request` to the process that has it, which answers false while none serves. Waits while a process has the root that
/// serves none (an import ends soon), and says so. Throws UserError and LibraryError.
void withLibrarySide(Console& console, const DevicePaths& paths, const std::string& command,
                     const std::function<void(LibrarySide&)>& direct,
                     const std::function<bool(MessagingCenters&)>& request);

}  // namespace quillet::cli
