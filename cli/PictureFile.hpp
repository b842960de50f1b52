#pragma once

#include <string>
#include <string_view>

#include "util/Bytes.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

/// The extension of a picture's format, with its dot: by its first bytes, else by its MIME type; "" for none known.
std::string pictureExtension(util::Bytes picture, std::string_view mimeType);

/// Puts `content` at `path`, whole or not at all. What is there already stays (EEXIST) unless `replace` is set, and
/// then still where it is no regular file (ENOTSUP; EISDIR for a folder). A link is followed.
util::Status putFile(const std::string& path, util::Bytes content, bool replace);

}  // namespace quillet::cli
