#pragma once

#include <string_view>

namespace quillet::cli {

/// What a frame is, in a few words, by its identifier in ID3v2.2, 2.3 or 2.4; "" for one that is not known. Identifiers
/// with a meaning of their own in wide use, such as TCMP, are known too.
std::string_view frameName(std::string_view identifier);

}  // namespace quillet::cli
