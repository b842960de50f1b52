#pragma once

#include <cstddef>
#include <string_view>

#include "util/Bytes.hpp"

namespace quillet::cli {

/// How many bytes foreignFormat looks at.
inline constexpr std::size_t kForeignFormatLength = 64;

/// What a file is that begins with these bytes, such as "a FLAC file", where it is of a kind that an ID3 tag does not
/// belong to, or not at its ends; "" for MPEG audio and for what is not known.
std::string_view foreignFormat(util::Bytes beginning);

/// Whether AAC in ADTS frames begins so, which is often taken for MPEG audio (ISO/IEC 13818-7 6.2.1).
bool beginsAdts(util::Bytes beginning);

}  // namespace quillet::cli
