#pragma once

#include <cstdint>

#include "id3/AudioFile.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// Where the audio ends that begins at `start`: before the ID3v1, APEv2, Lyrics3 and ID3v2 tags at the file's end, in
/// whatever order they stand. A tag that would reach before `start` is none. Reads the file's last bytes.
std::uint64_t audioEnd(const AudioFile& file, std::uint64_t start);

/// Whether `bytes` begin as a tag at a file's end does.
bool beginsTrailingTag(util::Bytes bytes);

}  // namespace quillet
