#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace quillet::bench {

/// What a program has to find in each file. Absent is "", 0 and an empty picture; all text is UTF-8.
struct Values {
    std::string title;
    std::string artist;
    std::string album;
    std::string albumArtist;
    std::string genre;
    std::string comment;
    std::int64_t track = 0;
    std::int64_t disc = 0;
    std::int64_t year = 0;
    std::int64_t durationMs = 0;
    std::span<const std::uint8_t> picture;  ///< the first one's bytes, valid as long as the program says
};

/// Takes in what was found in one file: as a line of JSON, or else as a share of a checksum that touches every text and
/// the two ends of the picture. The picture's bytes have to be valid while `take` runs.
class Report {
  public:
    explicit Report(bool print) : print_(print) {}

    void take(std::string_view path, const Values& values);
    std::uint64_t checksum() const { return checksum_; }

  private:
    bool print_;
    std::uint64_t checksum_ = 0;
};

/// Reads the file at `path` and gives what it found to the report, once; one that cannot be read gives empty values.
using ReadFile = std::function<void(const std::string& path, Report& report)>;

/// The main of every program here: NAME [--print] LIST, where LIST has a path a line. With --print, a JSON object a
/// file; without it, one JSON object with the checksum, what the reading took in nanoseconds (of the wall and of the
/// processor) and the most memory that the process held, in KiB.
int runReader(int argc, char** argv, const ReadFile& readFile);

}  // namespace quillet::bench
