#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "id3/id3V2Frame.hpp"

namespace quillet {

/// How the body of a frame is laid out behind its encoding byte; "" for one without encoding, which is the same in each
/// version. A digit stands for so many bytes; 'z' for Latin-1 up to its zero, 't' for text up to its terminator, 'm'
/// for a MIME type or, in 2.2, a picture format; up to the end go 'T' text, 'V' values, 'L' texts with 4 bytes each and
/// 'b' bytes (ID3v2.2.0 4, ID3v2.3.0 4, ID3v2.4.0 frames 4).
std::string_view layoutOf(FrameID identifier);

/// A frame's body as another version has it: with an encoding that it knows, one value where it takes but one, and its
/// own way with a picture's format. The very body where nothing of that is needed. What ends early is taken as far as
/// it goes.
///
/// REQUIRES: the frame has a body.
util::Data bodyForVersion(const id3V2Frame& frame, std::string_view layout, std::int32_t version);

/// Whether a version has that encoding: 2 and 3 came with 2.4 (ID3v2.4.0 structure 4).
constexpr bool hasEncoding(std::int32_t version, std::uint8_t coding) {
    return coding <= 1 || (version >= 4 && coding <= 3);
}
/// `coding` where the version has it, and otherwise one that it has and all of `text` fits.
std::uint8_t encodingFor(std::string_view text, std::uint8_t coding, std::int32_t version);
/// The pieces between NULs, each without a byte-order mark and none empty at the end.
std::vector<std::string> valuesOf(std::string_view text);
std::string joined(const std::vector<std::string>& values, std::string_view between);

/// What stands between several values where a version has no way to tell them apart (ID3v2.3.0 4.2.1).
inline constexpr std::string_view kBetweenOldValues = "/";

}  // namespace quillet
