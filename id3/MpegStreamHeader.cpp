#include "id3/MpegStreamHeader.hpp"

#include <string_view>

#include "util/ByteReader.hpp"

namespace quillet {

namespace {

/// Behind the longest side information, whatever the stream's own is.
constexpr std::size_t kVbriPosition = 36;

constexpr std::uint32_t kHasFrames = 1;
constexpr std::uint32_t kHasBytes = 2;
constexpr std::uint32_t kHasSeekTable = 4;
constexpr std::uint32_t kHasQuality = 8;

/// The encoders that fill the fields behind their name; LAME 3.99 has releases with a name cut short.
bool isKnownEncoder(std::string_view name) {
    return name.starts_with("LAME") || name.starts_with("L3.99") || name.starts_with("Lavf") ||
           name.starts_with("Lavc");
}

void readEncoderDelay(util::ByteReader reader, MpegStreamHeader& header) {
    const auto name = reader.take(9);
    if (!name || !isKnownEncoder(util::charactersOf(*name))) return;
    reader.skip(12);  // from the revision to the bit rate
    const std::uint32_t both = reader.u24BigEndian().value_or(0);
    header.encoderDelay = both >> 12;
    header.encoderPadding = both & 0xFFF;
}

std::optional<MpegStreamHeader> readXing(util::ByteReader reader) {
    MpegStreamHeader header;
    const auto marker = reader.take(4);
    if (!marker) return std::nullopt;
    if (util::charactersOf(*marker) == "Xing") header.source = DurationSource::xing;
    if (util::charactersOf(*marker) == "Info") header.source = DurationSource::info;
    const auto flags = reader.u32BigEndian();
    if (header.source == DurationSource::none || !flags) return std::nullopt;
    if (*flags & kHasFrames) header.frames = reader.u32BigEndian().value_or(0);
    if (*flags & kHasBytes) header.bytes = reader.u32BigEndian().value_or(0);
    const bool tableFits = !(*flags & kHasSeekTable) || reader.skip(100);
    const bool qualityFits = !(*flags & kHasQuality) || reader.skip(4);
    if (tableFits && qualityFits) readEncoderDelay(reader, header);
    return header;
}

std::optional<MpegStreamHeader> readVbri(util::ByteReader reader) {
    const auto marker = reader.take(4);
    if (!marker || util::charactersOf(*marker) != "VBRI") return std::nullopt;
    reader.skip(6);  // version, delay, quality
    const auto bytes = reader.u32BigEndian();
    const auto frames = reader.u32BigEndian();
    if (!bytes || !frames) return std::nullopt;
    MpegStreamHeader header;
    header.source = DurationSource::vbri;
    header.bytes = *bytes;
    header.frames = *frames;
    return header;
}

}  // namespace

std::optional<MpegStreamHeader> MpegStreamHeader::read(const MpegFrameHeader& frame, util::Bytes frameBytes) {
    if (frame.layer != 3) return std::nullopt;
    util::ByteReader xing(frameBytes);
    if (!xing.skip(frame.sideInformationEnd())) return std::nullopt;
    if (const auto header = readXing(xing)) return header;
    util::ByteReader vbri(frameBytes);
    if (!vbri.skip(kVbriPosition)) return std::nullopt;
    return readVbri(vbri);
}

const char* markerOf(DurationSource source) {
    switch (source) {
        case DurationSource::xing:
            return "Xing";
        case DurationSource::info:
            return "Info";
        case DurationSource::vbri:
            return "VBRI";
        default:
            return "";
    }
}

}  // namespace quillet
