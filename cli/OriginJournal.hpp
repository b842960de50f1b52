#pragma once

#include <string>
#include <vector>

#include "platform/linux/SqliteMusicLibrary.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

/// Remembers, across a process that was killed, which file of the drop folder became which file of the media folder. A
/// line is written before each move and all are forgotten when their batch is safe in the library. Survives the end of
/// the process, not of the machine.
class OriginJournal {
  public:
    struct Entry {
        std::string assetName;  ///< the name in the media folder
        TrackOrigin origin;
        std::string dropEntry;  ///< the name in the drop folder
    };

    explicit OriginJournal(std::string path) : path_(std::move(path)) {}

    /// What an earlier process wrote and did not forget; a line that is cut off or not ours is passed over.
    std::vector<Entry> entries() const;
    void add(const Entry& entry);
    void forgetAll();

  private:
    std::string path_;
    util::FileDescriptor file_;
};

}  // namespace quillet::cli
