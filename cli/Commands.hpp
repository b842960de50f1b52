#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/Console.hpp"
#include "cli/FrameArgument.hpp"
#include "platform/DevicePaths.hpp"

namespace quillet::cli {

/// What a command ends with.
enum ExitStatus { kAllDone = 0, kSomeFailed = 1, kWrongUsage = 2, kNothingToDo = 3, kInterrupted = 130 };

struct ImportOptions {
    std::vector<std::string> paths;
    bool move = false;
    bool naming = true;  ///< copies of MP3 files from their file names, where their tags lack title or artist
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

/// What the commands that change tags are asked to change, and how.
struct EditFiles {
    std::vector<std::string> paths;  ///< files and folders
    bool dryRun = false;             ///< tell what would change, and write nothing
    bool keepTimes = false;
    bool force = false;  ///< also a tag that was not read faithfully, and a file in which no audio is found
    bool breakLinks = false;
    bool unsynced = false;  ///< do not wait for the disk
};

/// "3/12" or "3".
struct NumberOfTotal {
    std::int32_t number = 0;            ///< 0 takes both away
    std::optional<std::int32_t> total;  ///< nullopt leaves it as it is
};
/// What is nullopt stays as it is; what is empty, or 0, is taken away.
struct SetOptions {
    EditFiles files;
    std::optional<std::string> title, artist, album, albumArtist, composer, comment;
    std::optional<std::int32_t> year;
    std::optional<NumberOfTotal> track, disc;
    std::optional<std::vector<std::string>> genres;
    std::optional<std::string> cover;  ///< an image's path
    std::vector<FrameArgument> frames;
};
int runTagSet(Console& console, const SetOptions& options);

/// Versions of tags, as a user says them.
enum class TagKind { v1, v2 };
int runTagCopy(Console& console, const EditFiles& files, TagKind from);
/// To ID3v2.`minor`.
int runTagConvert(Console& console, const EditFiles& files, std::uint32_t minor);
int runTagDrop(Console& console, const EditFiles& files, TagKind which);

}  // namespace quillet::cli
