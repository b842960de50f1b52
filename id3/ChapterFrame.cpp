#include "id3/ChapterFrame.hpp"

#include <cstdint>
#include <memory>
#include <utility>

#include "id3/FrameWalk.hpp"
#include "id3/Limits.hpp"
#include "util/ByteReader.hpp"

namespace quillet {

namespace {

using util::ByteReader;
using util::Bytes;

constexpr FrameID kTableOfContents("CTOC");
/// Bytes of a chapter's two times and two offsets.
constexpr std::size_t kTimesLength = 16;

bool skipText(ByteReader& reader) {
    while (const auto byte = reader.u8()) {
        if (*byte == 0) return true;
    }
    return false;
}

bool skipFront(ByteReader& reader, bool isTable) {
    if (!skipText(reader)) return false;
    if (!isTable) return reader.skip(kTimesLength);
    const bool hasFlags = reader.skip(1);
    const auto entries = reader.u8();
    if (!hasFlags || !entries) return false;
    for (int i = 0; i < *entries; ++i) {
        if (!skipText(reader)) return false;
    }
    return true;
}

}  // namespace

std::optional<ChapterFrame> chapterFrameOf(const id3V2Frame& frame) {
    const Bytes body = frame.getRawFrameData()->bytes();
    ByteReader reader(body);
    if (!skipFront(reader, frame.getFrameID() == kTableOfContents)) return std::nullopt;
    ChapterFrame chapter;
    chapter.front = util::charactersOf(body.first(body.size() - reader.remaining()));

    const bool plainSizes = frame.majorVersion() == 3 || frame.isITunesV24Compat();
    while (!isPadding(reader.rest())) {
        auto header = reader.child(kFrameHeaderLength);
        if (!header) return std::nullopt;
        const FrameID identifier = FrameID::ofWord(*header->u32BigEndian());
        const std::uint32_t size = *header->u32BigEndian();
        const std::uint8_t statusFlags = *header->u8();
        const std::uint8_t formatFlags = *header->u8();
        const auto content = reader.take(plainSizes ? size : synchsafe(size));
        if (!content || formatFlags != 0) return std::nullopt;
        chapter.frames.push_back(std::make_shared<id3V2Frame>(util::Data::copyOf(*content), identifier, statusFlags,
                                                              formatFlags, frame.majorVersion(), kStandardDialect));
    }
    return chapter;
}

}  // namespace quillet
