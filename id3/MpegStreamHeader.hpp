#pragma once

#include <cstdint>
#include <optional>

#include "id3/MpegDuration.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// What a Xing, Info or VBRI header in the first frame says of the stream. The frame that holds it has no audio.
struct MpegStreamHeader {
    DurationSource source = DurationSource::none;  ///< xing, info or vbri
    std::uint64_t frames = 0;                      ///< without the one that holds the header; 0 where it does not say
    std::uint64_t bytes = 0;                       ///< of all frames, with that one or without; 0 where it does not say
    std::uint64_t encoderDelay = 0;                ///< samples before the audio
    std::uint64_t encoderPadding = 0;              ///< samples behind it

    /// Of layer 3 alone; nullopt where the frame that `frameBytes` begin with holds none.
    static std::optional<MpegStreamHeader> read(const MpegFrameHeader& frame, util::Bytes frameBytes);
};

/// "Xing", "Info" or "VBRI", the header's first four bytes; "" for another source.
const char* markerOf(DurationSource source);

}  // namespace quillet
