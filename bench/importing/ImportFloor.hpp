#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/DevicePaths.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"

namespace quillet::bench {

/// Whether all tracks share one transaction or each has its own.
enum class Transactions { one, oneEach };

/// What an import made of one file.
struct ImportedTrack {
    LibraryTrack track;
    std::string entry;           ///< the file's name in the drop folder
    std::size_t imageBytes = 0;  ///< of its cover; 0 for none
};

/// What any import must ask of the machine: each file is renamed from the drop folder into the media folder and read as
/// far as a reader of its tag must, and its rows go into the library's own tables through prepared statements. A cover
/// is digested, written into the artwork cache and inserted, once for each image.
class ImportFloor {
  public:
    /// The values of `tracks` are inserted as they are, so that nothing is decoded.
    explicit ImportFloor(const std::vector<ImportedTrack>& tracks);

    /// The library at `paths` stands and is empty; nobody has it open. Throws where a call fails.
    void run(const DevicePaths& paths, Transactions transactions) const;

  private:
    struct Track {
        std::string entry;
        std::string assetName;
        std::array<std::string, 4> texts;     ///< title, artist, album, album artist
        std::array<std::int64_t, 6> numbers;  ///< time, track, tracks, disc, discs, year
        std::size_t imageBytes = 0;
        std::optional<TrackOrigin> origin;
    };
    std::vector<Track> tracks_;
};

}  // namespace quillet::bench
