#include "id3/V24FrameSet.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "id3/Limits.hpp"
#include "id3/Unsynchronisation.hpp"

namespace quillet {

namespace {

// The second flag byte (ID3v2.4.0 structure 4.1.2).
constexpr std::uint8_t kV24Grouped = 0x40;
constexpr std::uint8_t kV24Compressed = 0x08;
constexpr std::uint8_t kV24Encrypted = 0x04;
constexpr std::uint8_t kV24Unsynchronised = 0x02;
constexpr std::uint8_t kV24StatesLength = 0x01;
constexpr std::uint8_t kV24FormatFlags =
    kV24Grouped | kV24Compressed | kV24Encrypted | kV24Unsynchronised | kV24StatesLength;

/// From this size on a synchsafe and a plain size differ.
constexpr std::int64_t kFirstAmbiguousSize = 128;

constexpr bool isSynchsafe(std::uint32_t size) {
    return (size & 0x80808080) == 0;
}

/// What the copy of an unsynchronised frame holds behind its header. Meant so: the frame's length without its header is
/// taken for its length with it, the byte behind each FF stays zero, and the rest keeps its place.
util::Data withPairsBlanked(util::Bytes rest, std::int32_t& length) {
    const std::size_t size = std::min(
        rest.size(), static_cast<std::size_t>(std::max<std::int64_t>(std::int64_t{length} - kFrameHeaderLength, 0)));
    const std::shared_ptr<std::uint8_t[]> copy(new (std::nothrow) std::uint8_t[size]());
    if (!copy) return {};
    const std::span<std::uint8_t> target(copy.get(), size);
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = rest[i];
        if (rest[i] != 0xFF) continue;
        --length;
        ++i;
    }
    return util::Data(copy, target);
}

}  // namespace

V24FrameSet::V24FrameSet(const FrameWalkInput& input, FrameStore& frames, bool iTunes)
    : FrameWalk(input, {.identifierLength = 4, .headerLength = kFrameHeaderLength, .majorVersion = 4}),
      iTunes_(iTunes) {
    if (!dialect().switchesToPlainSizesMidway && hasPlainSizes()) {
        iTunesFlag_ = true;
        remarks_.note("the sizes of the frames are plain numbers");
    }
    walk(frames);
}

bool V24FrameSet::nextFrame(bool first) {
    if (!dialect().switchesToPlainSizesMidway) return FrameWalk::nextFrame(first);
    return first ? toFirstFrame() : toNextFrame();
}

bool V24FrameSet::toFirstFrame() {
    if (!FrameWalk::nextFrame(true)) return false;
    if (!iTunesFlag_ && step_ >= kFirstAmbiguousSize && tagLength_ - kFrameHeaderLength > step_ &&
        !validFrameAt(step_)) {
        const std::int32_t length = triedPlainLength();
        if (validFrameAt(length)) step_ = length;  // meant so: without the header's bytes, and for this frame alone
    }
    return true;
}

bool V24FrameSet::toNextFrame() {
    const std::int64_t position = currentFramePosition_;
    if (FrameWalk::nextFrame(false)) return true;
    const std::int64_t failedAt = currentFramePosition_;
    if (failedAt == position || step_ < kFirstAmbiguousSize) return false;

    currentFramePosition_ = position;
    const std::int32_t length = triedPlainLength();
    if (length > 0 && validAt(position + length)) {  // meant so: the header's bytes do not count
        iTunesFlag_ = true;
        return moveTo(position + length);
    }
    framesEndAt_ = failedAt;
    return false;
}

bool V24FrameSet::validFrameAt(std::int64_t distance) const {
    // Meant so: a stop list is asked about the current frame.
    return validAt(input_.validFrameSet ? currentFramePosition_ : currentFramePosition_ + distance);
}

std::int32_t V24FrameSet::frameLength() {
    if (dialect().switchesToPlainSizesMidway && !isSynchsafe(header_.size)) iTunesFlag_ = true;
    return iTunesFlag_ ? plainLength() : guarded(synchsafe(header_.size));
}

std::int32_t V24FrameSet::triedPlainLength() {
    const bool guessed = guessedRoom_;
    const std::int32_t length = plainLength();
    guessedRoom_ = guessed;
    return length;
}

std::int32_t V24FrameSet::plainLength() {
    return guarded(std::min<std::int64_t>(plainSize(), kLargestPackedLength));
}

std::shared_ptr<id3V2Frame> V24FrameSet::getFrame() {
    const std::int32_t length = knownLength();
    if (length < 0 || noRoom_) return nullptr;
    const std::uint8_t first = header_.firstFlag;
    const std::uint8_t second = header_.secondFlag;
    const bool unsynchronised = input_.tagUnsynchronised && !dialect().reversesUnsynchronisationInPlace;
    auto frame = (second & kV24FormatFlags) == 0 && !unsynchronised ? frameWith(content(length), first, second)
                                                                    : formattedFrameOf(length, first, second);
    if (frame && iTunesFlag_ && iTunes_) frame->iTunesV24Compat();
    return frame;
}

std::shared_ptr<id3V2Frame> V24FrameSet::formattedFrameOf(std::int32_t length, std::uint8_t first,
                                                          std::uint8_t second) {
    const auto header = static_cast<std::size_t>(currentFramePosition_) + kFrameHeaderLength;
    const auto rest = input_.tag.slice(header, input_.tag.size() - header);
    if (!rest || length < 0) return nullptr;
    const auto stated = std::min(static_cast<std::size_t>(length), rest->size());
    const util::Data bytes = synchronised(*rest, second, length);
    if (dialect().readsFormatFieldsAtFixedPlaces && (second & kV24Compressed) != 0)
        // Meant so: the length is looked for one byte late; its last byte is the stream's first.
        return frameWith(uncompressed(bytes.bytes(), 1, length), first, second);
    if (length < 0) return nullptr;
    auto body = bytes.slice(0, static_cast<std::size_t>(length));
    if (!body || dialect().readsFormatFieldsAtFixedPlaces) return frameWith(std::move(body), first, second);
    const FormatFlags flags{.grouped = (second & kV24Grouped) != 0,
                            .encrypted = (second & kV24Encrypted) != 0,
                            .compressed = (second & kV24Compressed) != 0,
                            .statesLength = (second & kV24StatesLength) != 0};
    if ((second & kV24FormatFlags) == 0) return frameWith(std::move(body), first, second);
    // What is not marked so is written without unsynchronisation, as the whole tag is.
    util::Data stored = (second & kV24Unsynchronised) != 0 ? *rest->slice(0, stated) : *body;
    return formattedFrame(*body, flags, first, second, std::move(stored));
}

util::Data V24FrameSet::synchronised(const util::Data& rest, std::uint8_t flags, std::int32_t& length) {
    const bool marked = (flags & kV24Unsynchronised) != 0;
    if (dialect().reversesUnsynchronisationInPlace) return marked ? withPairsBlanked(rest.bytes(), length) : rest;
    if (!marked && !input_.tagUnsynchronised) return rest;
    const auto own = rest.slice(0, static_cast<std::size_t>(length));
    if (!own) return rest;
    const auto reversed = withoutUnsynchronisation(*own);
    if (!reversed) {
        remark("is not unsynchronised, as it says it is");
        return rest;
    }
    length = static_cast<std::int32_t>(reversed->size());
    return *reversed;
}

V24FrameSet::Reading V24FrameSet::readSizes(bool plain) const {
    Reading reading;
    std::int64_t position = frameOffset();
    while (const auto header = validHeaderAt(position)) {
        reading.malformed = reading.malformed || (!plain && !isSynchsafe(header->size));
        ++reading.frames;
        position += std::int64_t{kFrameHeaderLength};
        position += plain ? header->size : synchsafe(header->size);
    }
    reading.fits = !reading.malformed && position <= size() && isPadding(readerAt(position).rest());
    return reading;
}

bool V24FrameSet::hasPlainSizes() const {
    const Reading packed = readSizes(false);
    if (packed.fits) return false;
    const Reading plain = readSizes(true);
    return plain.fits || plain.frames > packed.frames || (plain.frames == packed.frames && packed.malformed);
}

}  // namespace quillet
