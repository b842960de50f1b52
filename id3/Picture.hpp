#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "util/Data.hpp"

namespace quillet {

/// A picture dictionary: one picture of a tag. The members stand for its keys. To be written it may also be raw data,
/// an image and nothing else: then it is a front cover of the format that its first bytes tell.
struct Picture {
    util::Data image;         ///< "Image": a view on the frame's bytes
    std::string pictureType;  ///< "Picture Type": a name from decodeImageType
    std::string mimeType;     ///< "Mime Type"
    std::string description;  ///< "Description", "" for none
};

/// How many picture types have a name.
inline constexpr std::int32_t kPictureTypes = 21;

/// -decodeImageType:  The name of a picture type, 0 to 20; "Unknown" for every other value (ID3v2.4.0 frames 4.14).
std::string_view decodeImageType(std::int32_t type);

}  // namespace quillet
