#pragma once

#include <string>
#include <string_view>

#include "util/Bytes.hpp"

namespace quillet {

/// The platform's default C-string encoding, which 8-bit text without a stated encoding is in: ISO-8859-1, unless the
/// platform says otherwise at start.
struct CStringEncoding {
    std::string (*decode)(util::Bytes bytes);      ///< answers UTF-8
    std::string (*encode)(std::string_view utf8);  ///< lossy: what it does not have becomes '?'
};

const CStringEncoding& defaultCStringEncoding();
/// Before the first tag is read.
void setDefaultCStringEncoding(const CStringEncoding& encoding);

}  // namespace quillet
