#pragma once

#include <string>
#include <string_view>

#include "util/Bytes.hpp"

namespace quillet {

/// The MIME type of an image that begins with these bytes; "" for a format that is not known. Known are JPEG, PNG, GIF,
/// WebP and BMP.
std::string_view mimeTypeOfImage(util::Bytes image);
/// What ID3v2.2 calls a format, in three characters: "JPG" for "image/jpeg" (ID3v2.2.0 4.15).
std::string formatOfMimeType(std::string_view mimeType);
/// The MIME type of such a format; any other text stays as it is.
std::string mimeTypeOfFormat(std::string_view format);

}  // namespace quillet
