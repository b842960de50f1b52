#pragma once

#include <cstdint>

#include "id3/AudioFile.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/Remarks.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// What a playing time was taken from.
enum class DurationSource { none, bitRate, xing, info, vbri, frameCount };

/// How long a stream plays, exactly.
struct MpegDuration {
    DurationSource source = DurationSource::none;
    std::uint64_t frames = 0;   ///< audio frames, a frame that holds only a header left out; 0 unknown
    std::uint64_t samples = 0;  ///< of each channel, encoder delay and padding taken off
    std::uint64_t bytes = 0;    ///< of audio
    std::uint64_t milliseconds = 0;
    std::int32_t averageBitRate = 0;  ///< kilobits per second, rounded; 0 unknown

    /// From the Xing, Info or VBRI header in the first frame, where there is one and the size of the file does not
    /// contradict it; otherwise from a count of all frames, which reads the file to its end in bounded chunks.
    /// `frameBytes` are what was read from `startFrame` on, `startFrame` the first frame's offset in `file`. Tags at
    /// the end of the file (ID3v1, APEv2, Lyrics3) are no audio. What was not as it says is added to `remarks`.
    static MpegDuration measure(AudioFile& file, std::uint64_t startFrame, const MpegFrameHeader& first,
                                util::Bytes frameBytes, Remarks& remarks);
};

/// "xing", "info", "vbri", "frames", "bitRate" or "".
const char* nameOf(DurationSource source);

}  // namespace quillet
