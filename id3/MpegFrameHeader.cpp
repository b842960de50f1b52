#include "id3/MpegFrameHeader.hpp"

#include <array>
#include <string_view>

#include "id3/TrailingTags.hpp"
#include "util/ByteReader.hpp"

namespace quillet {

namespace {

using BitRates = std::array<std::int16_t, 16>;

/// Kilobits per second, MPEG 1 and then MPEG 2 with its 2.5, each for layers 1, 2 and 3.
constexpr std::array<std::array<BitRates, 3>, 2> kBitRates = {{
    {{{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, -1},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, -1},
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, -1}}},
    {{{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, -1},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1}}},
}};

/// Hz, by version.
constexpr std::array<std::array<std::int32_t, 4>, 4> kFrequencies = {{
    {0, 0, 0, 0},
    {44100, 48000, 32000, 0},
    {22050, 24000, 16000, 0},
    {11025, 12000, 8000, 0},
}};

/// The two bits of a version; 01 is reserved.
constexpr std::int32_t versionFromBits(unsigned bits) {
    constexpr std::array<std::int8_t, 4> kVersions = {3, 0, 2, 1};
    return kVersions[bits & 3];
}

constexpr std::int32_t layerFromBits(unsigned bits) {
    return static_cast<std::int32_t>((4 - (bits & 3)) & 3);
}

bool isConfirmed(const MpegFrameHeader& header, util::Bytes frame, bool atEnd) {
    util::ByteReader reader(frame);
    if (!reader.skip(header.frameLength())) return false;
    const auto next = MpegFrameHeader::decode(reader.rest(), kStandardDialect);
    if (next && next->isValid() && next->continues(header)) return true;
    return beginsTrailingTag(reader.rest()) || (atEnd && reader.remaining() < kMpegHeaderLength);
}

}  // namespace

std::optional<MpegFrameHeader> MpegFrameHeader::decode(util::Bytes bytes, const Dialect& dialect) {
    util::ByteReader reader(bytes);
    const auto word = reader.u16BigEndian();
    if (!word) return std::nullopt;
    MpegFrameHeader header;
    header.sync = (*word >> 5) == 0x7FF;
    header.version = versionFromBits(*word >> 3);
    header.layer = layerFromBits(*word >> 1);

    const auto rates = reader.u8();
    if (!rates) return header;
    if (header.version != 0 && header.layer != 0) {
        const auto& layers = kBitRates[header.version == 1 ? 0 : 1];
        header.bitRate = layers[static_cast<std::size_t>(header.layer) - 1][*rates >> 4];
    }
    header.frequency = kFrequencies[static_cast<std::size_t>(header.version)][(*rates >> 2) & 3];
    header.padding = (*rates & 2) != 0;

    const auto modes = reader.u8();
    if (!modes) return header;
    header.channels = dialect.readsChannelsFromWholeByte ? (*modes == 0 ? 0 : 1) : *modes >> 6;
    header.emphasis = *modes & 3;
    return header;
}

bool MpegFrameHeader::isValid() const {
    return sync && version != 0 && layer != 0 && bitRate > 0 && frequency != 0 && emphasis != 2;
}

std::int32_t MpegFrameHeader::samplesPerFrame() const {
    if (layer == 1) return 384;
    return layer == 3 && version != 1 ? 576 : 1152;
}

std::uint32_t MpegFrameHeader::frameLength() const {
    if (!isValid()) return 0;
    // A slot is a byte, in layer 1 four; padding is counted in slots (ISO/IEC 11172-3 2.4.3.1).
    const std::int32_t slotLength = layer == 1 ? 4 : 1;
    const std::int32_t slots = samplesPerFrame() / 8 / slotLength * bitRate * 1000 / frequency + (padding ? 1 : 0);
    return static_cast<std::uint32_t>(slots * slotLength);
}

std::uint32_t MpegFrameHeader::sideInformationEnd() const {
    const bool mono = channels == 3;
    if (version == 1) return mono ? 21 : 36;
    return mono ? 13 : 21;
}

bool MpegFrameHeader::continues(const MpegFrameHeader& first) const {
    return version == first.version && layer == first.layer && frequency == first.frequency;
}

std::optional<std::size_t> findConfirmedFrame(util::Bytes bytes, bool atEnd) {
    const std::string_view text = util::charactersOf(bytes);
    const std::size_t room = atEnd ? 0 : kConfirmationRoom;
    for (std::size_t at = 0; (at = text.find('\xFF', at)) != std::string_view::npos && at + room < text.size(); ++at) {
        const util::Bytes frame = bytes.subspan(at);
        const auto header = MpegFrameHeader::decode(frame, kStandardDialect);
        if (header && header->isValid() && isConfirmed(*header, frame, atEnd)) return at;
    }
    return std::nullopt;
}

}  // namespace quillet
