#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "id3/FrameStore.hpp"

namespace quillet {

class id3V2Tag;

/// What a conversion cannot take over, and why.
struct FrameLoss {
    std::string identifier;  ///< of the frame; of one inside of a chapter "CHAP/TIT2"
    std::string reason;
};

struct ConvertedFrames {
    FrameArray frames;
    std::vector<FrameLoss> losses;
};

/// The number of a genre's name in ID3v1, where it has one.
using GenreNumbers = std::function<std::optional<std::int64_t>(std::string_view)>;

/// The frames of a tag of another version as the version of `target` has them, in their order: under the identifiers
/// that the frame library knows, bodies laid out and encoded anew where that is needed and shared with the old frames
/// where it is not. Dates, involved people, genres, chapters, pictures and several values change their form. Status
/// flags, groups and compression stay where the version has them; what is encrypted stays as it is, or is lost.
/// Standard dialect.
ConvertedFrames convertFrames(const FrameArray& frames, const id3V2Tag& target, const GenreNumbers& numberOf);

}  // namespace quillet
