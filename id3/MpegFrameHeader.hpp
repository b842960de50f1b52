#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "id3/Dialect.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// The four bytes that begin an MPEG audio frame, decoded (ISO/IEC 11172-3 2.4.1.3 and 2.4.2.3, ISO/IEC
/// 13818-3 2.4.2.3; MPEG 2.5 is the well-known extension to 8 to 12 kHz).
struct MpegFrameHeader {
    std::int32_t version = 0;    ///< 0 reserved, 1 MPEG 1, 2 MPEG 2, 3 MPEG 2.5
    std::int32_t layer = 0;      ///< 0 reserved, 1, 2 or 3
    std::int32_t bitRate = 0;    ///< kilobits per second; 0 free format or unknown, -1 the invalid index
    std::int32_t frequency = 0;  ///< Hz; 0 reserved or unknown
    std::int32_t channels = 0;   ///< 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel
    bool padding = false;        ///< one slot more than the bit rate asks for
    bool sync = false;           ///< all eleven bits of the sync word are set
    std::uint8_t emphasis = 0;   ///< 2 is reserved

    /// Of the bytes that are there: a field whose byte is missing stays 0. nullopt for fewer than the two of the sync.
    static std::optional<MpegFrameHeader> decode(util::Bytes bytes, const Dialect& dialect);

    /// Whether every field is one that a frame can have, free format left out (its length cannot be told).
    bool isValid() const;
    /// Samples of each channel in the frame: 384, 576 or 1152.
    std::int32_t samplesPerFrame() const;
    /// Bytes from this header to the next; 0 where not valid.
    std::uint32_t frameLength() const;
    /// Where a Xing or Info header stands, from the frame's start: behind header and side information of layer 3.
    std::uint32_t sideInformationEnd() const;
    /// Whether another frame can belong to the same stream: version, layer and frequency are the same.
    bool continues(const MpegFrameHeader& first) const;
};

inline constexpr std::size_t kMpegHeaderLength = 4;
/// The longest frame (MPEG 2.5 layer 2, 160 kbit/s at 8 kHz) and the header behind it, in bytes.
inline constexpr std::size_t kConfirmationRoom = 2881 + kMpegHeaderLength;

/// Where in `bytes` the first frame begins that the next frame's header, the beginning of a tag or the end of the audio
/// confirms. Unless `atEnd` says that the audio ends with `bytes`, the last kConfirmationRoom of them only confirm.
std::optional<std::size_t> findConfirmedFrame(util::Bytes bytes, bool atEnd);

}  // namespace quillet
