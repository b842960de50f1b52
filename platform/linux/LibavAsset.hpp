#pragma once

#include <cstdint>
#include <optional>

#include "platform/MediaFramework.hpp"

namespace quillet {

/// What libavformat knows of one file.
struct LibavAsset {
    std::optional<MediaAsset> asset;  ///< nullopt where the file is not audio
    int error = 0;                    ///< errno of a read that failed, and then there is no asset; else 0
};

/// Reads the regular file open at `descriptor`, `size` bytes long; the descriptor stays the caller's.
///
/// A file is audio by what is in it, never by its name: one of the audio formats, with a stream of sound whose codec
/// and sample rate are known. One that cannot be decoded for want of a key ("drms") is. A file with a moving picture is
/// not, it belongs to no music library; covers and chapter pictures do not count as moving. Fewer than four MPEG frames
/// or three ADTS frames with nothing around them are too little to tell from chance and are not audio either.
///
/// The duration is the header's where that is exact; of a file whose header tells none (raw AAC above all) every packet
/// is counted; of mp3 it is what the Xing header says or the bit rate suggests. 0 where nothing tells, or more than 32
/// bits of milliseconds hold.
LibavAsset readLibavAsset(int descriptor, std::int64_t size);

}  // namespace quillet
