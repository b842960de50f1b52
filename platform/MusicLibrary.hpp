#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "util/Data.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// The library's media type for music.
inline constexpr std::uint32_t kMusicMediaType = 8;

/// One track on its way into the library (MLTrackImport).
struct TrackImport {
    std::string assetFilePath;    ///< full path of the audio file, already in the media folder
    std::uint32_t mediaType = 0;  ///< `kMusicMediaType`
    bool shouldAddToPurchasedPlaylist = false;
    std::optional<util::Data> artworkData;
    util::PropertyDictionary values;  ///< entity property ("item_extra.title") to value; types are kept
};

/// The music library (ML3MusicLibrary, ML3TrackImporter, MPMediaQuery).
class MusicLibrary {
  public:
    /// `status` 0 means that the track is in the library under `persistentID`, never 0 then. On any other status
    /// nothing of the track is in the library and the identifier is 0.
    using Completion = std::function<void(std::uint32_t status, std::uint64_t persistentID)>;

    virtual ~MusicLibrary() = default;

    /// +setImportationEnabled:  Nothing can be imported before this was called with true.
    virtual void setImportationEnabled(bool enabled) = 0;

    /// -importTrack:withCompletionBlock:  Adds one track, all of it or nothing. `completion` runs once, on this thread
    /// before the call returns (SQLite) or at any later time on any thread (the device). An identifier is never given
    /// twice, not even after its track was removed.
    virtual void importTrack(std::shared_ptr<TrackImport> track, Completion completion) = 0;

    /// The persistent identifiers of all tracks, in no order; nullopt where the library cannot be read, which is not
    /// the same as an empty one.
    virtual std::optional<std::vector<std::uint64_t>> persistentIdentifiers() = 0;
};

}  // namespace quillet
