#include "id3/V23FrameSet.hpp"

#include "id3/Limits.hpp"

namespace quillet {

namespace {

// The second flag byte (ID3v2.3.0 3.3.1).
constexpr std::uint8_t kV23Compressed = 0x80;
constexpr std::uint8_t kV23Encrypted = 0x40;
constexpr std::uint8_t kV23Grouped = 0x20;

/// Whether an identifier of 2.2 stands in the place of one of 2.3.
constexpr bool isOld(FrameID identifier) {
    return identifier == identifier.firstThree();
}

}  // namespace

V23FrameSet::V23FrameSet(const FrameWalkInput& input, FrameStore& frames)
    : FrameWalk(input, {.identifierLength = 4, .headerLength = kFrameHeaderLength, .majorVersion = 3}) {
    walk(frames);
}

std::shared_ptr<id3V2Frame> V23FrameSet::getFrame() {
    const std::int32_t length = knownLength();
    if (isOld(header_.identifier)) {
        note("stands under an identifier of version 2.2");
        // Laid out unlike the frame whose name it gets.
        if (header_.identifier == FrameID("PIC") || header_.identifier == FrameID("LNK"))
            remark("is laid out as in version 2.2");
    }
    const std::uint8_t first = header_.firstFlag;
    const std::uint8_t second = header_.secondFlag;
    if (dialect().readsFormatFieldsAtFixedPlaces && (second & kV23Compressed) != 0) {
        if (length < 0 || noRoom_) return nullptr;
        const util::Bytes rest = readerAt(currentFramePosition_ + kFrameHeaderLength).rest();
        return frameWith(uncompressed(rest, 0, length), first, second);
    }
    auto body = content(length);
    const bool hasFormat = (second & (kV23Compressed | kV23Encrypted | kV23Grouped)) != 0;
    if (!body || !hasFormat || dialect().readsFormatFieldsAtFixedPlaces)
        return frameWith(std::move(body), first, second);
    const FormatFlags flags{.grouped = (second & kV23Grouped) != 0,
                            .encrypted = (second & kV23Encrypted) != 0,
                            .compressed = (second & kV23Compressed) != 0};
    return formattedFrame(*body, flags, first, second, *body);
}

bool V23FrameSet::isIdentifier(FrameID identifier) const {
    return hasCharacters(identifier, isOld(identifier) && !dialect().stopsAtOldIdentifiers ? 3 : 4);
}

FrameID V23FrameSet::getFrameID() const {
    const FrameID identifier = header_.identifier;
    if (!isOld(identifier) || !input_.library) return identifier;
    const auto* record = input_.library->record(FrameLibrary::versionKey(2), identifier.text());
    const std::string translated = record ? util::textAt(*record, FrameLibrary::versionKey(3)) : std::string();
    return translated.empty() ? identifier : FrameID(translated);
}

}  // namespace quillet
