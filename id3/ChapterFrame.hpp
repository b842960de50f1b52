#pragma once

#include <optional>
#include <string>

#include "id3/FrameStore.hpp"

namespace quillet {

/// A frame that holds other frames: CHAP or CTOC (ID3v2 chapter frame addendum 1.0).
struct ChapterFrame {
    std::string front;  ///< identifier and times, or identifier, flags and entries
    FrameArray frames;
};

/// nullopt where it ends early, or one of its frames does or has a format of its own. Standard dialect.
std::optional<ChapterFrame> chapterFrameOf(const id3V2Frame& frame);

}  // namespace quillet
