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

/// What the commands that read tags are asked to read.
struct TagFiles {
    std::vector<std::string> paths;  ///< files and folders
    unsigned jobs = 0;               ///< how many are read at a time; 0 for as many as the machine has cores
};
int runInfo(Console& console, const TagFiles& files);
int runTagShow(Console& console, const TagFiles& files);
int runTagFrames(Console& console, const TagFiles& files);

struct CoverOptions {
    TagFiles files;
    std::string output;  ///< a file, "-" for standard output, or a folder
    bool force = false;  ///< write over what is there
};
int runTagCover(Console& console, const CoverOptions& options);

}  // namespace quillet::cli
