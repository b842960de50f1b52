#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Console.hpp"
#include "platform/DevicePaths.hpp"

namespace quillet::cli {

/// What a command ends with.
enum ExitStatus { kAllDone = 0, kSomeFailed = 1, kWrongUsage = 2, kNothingToDo = 3, kInterrupted = 130 };

struct ImportOptions {
    std::vector<std::string> paths;
    bool move = false;
};
int runImport(Console& console, const DevicePaths& paths, const ImportOptions& options);

struct WatchOptions {
    bool polling = false;
};
int runWatch(Console& console, const DevicePaths& paths, const WatchOptions& options);

int runRecheck(Console& console, const DevicePaths& paths);

int runLibraryList(Console& console, const DevicePaths& paths);
int runLibraryShow(Console& console, const DevicePaths& paths, const std::vector<std::uint64_t>& identifiers);
int runLibraryRemove(Console& console, const DevicePaths& paths, const std::vector<std::uint64_t>& identifiers,
                     bool keepFile);

}  // namespace quillet::cli
