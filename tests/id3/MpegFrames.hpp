#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "id3/MpegFrameHeader.hpp"
#include "util/Bytes.hpp"

namespace quillet::test {

inline constexpr std::string_view kFrame128{"\xFF\xFB\x90\x64", 4};  ///< MPEG 1 layer 3, 128 kbit/s, 44,100 Hz, joint

/// `count` frames with this header, silent: zeros up to the next one.
inline std::string frames(std::size_t count, std::string_view header = kFrame128) {
    const auto decoded = MpegFrameHeader::decode(util::bytesOf(header), kStandardDialect);
    std::string frame(header);
    frame.resize(decoded->frameLength());
    std::string stream;
    for (std::size_t i = 0; i < count; ++i) stream += frame;
    return stream;
}

inline std::string bigEndian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

/// A frame with `text` at `position`, from the frame's start.
inline std::string frameWith(std::string_view text, std::size_t position, std::string_view header = kFrame128) {
    return frames(1, header).replace(position, text.size(), text);
}

/// A Xing or Info header with frame and byte count, and the fields of LAME behind it.
inline std::string xing(std::string_view marker, std::uint32_t frameCount, std::uint32_t bytes, std::uint32_t delay = 0,
                        std::uint32_t padding = 0) {
    std::string text = std::string(marker) + bigEndian(3) + bigEndian(frameCount) + bigEndian(bytes);
    text += "LAME3.100" + std::string(12, '\0') + bigEndian(delay << 12 | padding).substr(1);
    return text;
}

/// Enough audio for either dialect.
inline const std::string kMpegAudio = frames(60);

}  // namespace quillet::test
