#pragma once

#include <cstdint>

#include "id3/AudioFile.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/Remarks.hpp"

namespace quillet {

/// What a walk over every frame of a stream finds.
struct MpegFrameCount {
    std::uint64_t frames = 0;    ///< that hold audio: those of a Xing, Info or VBRI header are left out
    std::uint64_t samples = 0;   ///< of each channel
    std::uint64_t bytes = 0;     ///< of these frames
    std::uint64_t bitRates = 0;  ///< the sum of their bit rates; frames play equally long, so the mean is the stream's
    /// A file may hold streams of several formats one after the other: those before the last, and the last.
    std::uint64_t earlierMilliseconds = 0;
    std::uint64_t samplesOfLastFormat = 0;
    std::int32_t lastFrequency = 0;

    /// From `start`, where the frame `first` is, to `end`, in chunks of a fixed size. What is no frame is passed over,
    /// and remarked; so is a last frame that is cut, which is not counted.
    static MpegFrameCount of(const AudioFile& file, std::uint64_t start, std::uint64_t end,
                             const MpegFrameHeader& first, Remarks& remarks);
};

}  // namespace quillet
