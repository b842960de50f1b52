#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "id3/TagAPI.hpp"
#include "platform/Platform.hpp"
#include "util/Data.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// The library's property values of one file, and its cover.
struct AssetValues {
    util::PropertyDictionary values;
    std::optional<util::Data> artworkData;
};

/// What the tag facade answers for one file; the numbers as it gives them, wrap-around included.
struct TagFacts {
    std::optional<std::string> title;
    std::optional<std::string> artist;
    std::optional<std::string> album;
    std::optional<std::string> albumArtist;
    std::uint32_t durationMs = 0;
    std::uint32_t track = 0;
    std::uint32_t totalNumberTracks = 0;
    std::uint32_t disk = 0;
    std::uint32_t totalNumberDisks = 0;
    std::uint32_t year = 0;
    std::optional<util::Data> image;  ///< of the first picture

    /// What `tags` says of the file it examined last. The image is a view on what was read of that file.
    static TagFacts of(TagAPI& tags);
};

/// Turns an audio file into an asset record: a dictionary of "assetPath" (file name), "mediaType" (8, music, for the
/// four known extensions), "values" (library property to value) and, with a cover, "artwork" (its name in the artwork
/// cache). It keeps no state, but the shared TagAPI is left with the last MP3 file. A file that nothing can read still
/// gets a record.
class QLAssetHelper {
  public:
    /// +newAssetFromPath:  The record of the file at `path`. Its cover, if any, is in the artwork cache afterwards,
    /// once for all files that share it.
    static util::PropertyDictionary newAssetFromPath(const std::string& path, Platform& platform);

    /// +getValuesFromID3:artworkData:  From the file's own tag. Every value is there but an empty album artist; numbers
    /// are unsigned. Without a title the file's name stands for it. The image is the cover.
    static AssetValues getValuesFromID3(const std::string& path, const TagFacts& tag);

    /// +getValuesFromAV:artworkData:  From the media framework. A value is there only where the file has it, but the
    /// duration always is; numbers are signed, the year of a creation date is text.
    static AssetValues getValuesFromAV(const std::string& path, MediaFramework& media);
};

}  // namespace quillet
