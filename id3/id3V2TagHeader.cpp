#include <algorithm>
#include <cstring>
#include <optional>

#include "id3/FrameWalk.hpp"
#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/ByteReader.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

constexpr std::uint32_t kNewTagPadding = 2048;

/// A byte as the signed number that a tag's header is made of.
std::uint32_t signedByte(std::uint8_t byte) {
    return static_cast<std::uint32_t>(std::int32_t{static_cast<std::int8_t>(byte)});
}

/// Whether `header`, 10 bytes, says what no version's header can.
bool isImpossible(util::Bytes header) {
    return header[3] == 0xFF || header[4] == 0xFF ||
           std::ranges::any_of(header.subspan(6, 4), [](std::uint8_t byte) { return byte >= 0x80; });
}

}  // namespace

std::int32_t id3V2Tag::scanForHeader(util::Bytes block) {
    for (std::size_t at = 0; at + kTagHeaderLength <= block.size(); ++at) {
        const std::size_t starts = block.size() - at - kTagHeaderLength + 1;
        const void* marker = std::memchr(block.data() + at, 'I', starts);
        if (marker == nullptr) return -1;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(marker) - block.data());
        const util::Bytes header = block.subspan(at, kTagHeaderLength);
        if (util::charactersOf(header.first(3)) != "ID3") continue;
        if (!dialect_->takesAnyHeader && isImpossible(header)) continue;
        majorVersion_ = signedByte(header[3]);
        minorVersion_ = signedByte(header[4]);
        flag_ = signedByte(header[5]);
        tagLength_ = readPackedLengthFrom(header.subspan(6));
        return static_cast<std::int32_t>(at);
    }
    return -1;
}

std::uint32_t id3V2Tag::readPackedLengthFrom(util::Bytes four) {
    std::uint32_t value = 0;  // unsigned, so that what is below zero wraps around and is capped
    for (std::size_t i = 0; i < 4; ++i) value = value * 128 + (i < four.size() ? signedByte(four[i]) : 0);
    return std::min(value, kLargestPackedLength);
}

std::int32_t id3V2Tag::readExtendedHeader(const util::Data& tag) {
    const util::Bytes size = tag.bytes().first(std::min<std::size_t>(tag.size(), kExtendedSizeLength));
    std::int64_t length = 0;
    if (dialect_->readsExtendedHeaderInOneWay) {
        const std::int64_t room = std::int64_t{tagLength_} - kTagHeaderLength - kExtendedSizeLength;
        length = readPackedLengthFrom(size);
        if (length > room) {
            util::log(
                "Problem detected when parsing v2 tag: extendedHeaderLength > tag length, guessing extended "
                "header length");
            length = room;
            guessedFrames_ = true;
        }
    } else {
        // Some taggers set the flag and write none; no size is as large as an identifier would be.
        if (size.size() < kExtendedSizeLength || std::ranges::all_of(size, [](std::uint8_t character) {
                return (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9');
            })) {
            remarks_.add("the extended header is missing");
            return 0;
        }
        const std::int64_t room = static_cast<std::int64_t>(tag.size()) - kExtendedSizeLength;
        length = majorVersion_ == 3 ? std::int64_t{util::ByteReader(size).u32BigEndian().value_or(0)}
                                    : std::int64_t{synchsafe(size)} - kExtendedSizeLength;
        if (length < 0 || length > room) {
            remarks_.add("the extended header does not have the length it states");
            guessedFrames_ = true;
            length = length < 0 ? 0 : room;
        }
    }
    extendedHeaderPresent_ = 1;
    extendedHeader_ = tag.slice(kExtendedSizeLength, static_cast<std::size_t>(std::max<std::int64_t>(length, 0)))
                          .value_or(util::Data());
    return static_cast<std::int32_t>(length + kExtendedSizeLength);
}

std::uint32_t id3V2Tag::extendedHeaderLength() const {
    if (extendedHeaderPresent_ == 0) return 0;
    return static_cast<std::uint32_t>(extendedHeader_ ? extendedHeader_->size() : 0) + kExtendedSizeLength;
}

std::uint32_t id3V2Tag::tagLength() const {
    return frameSetLength_ + paddingLength_ + extendedHeaderLength() + (footer() ? kTagHeaderLength : 0);
}

std::uint32_t id3V2Tag::audioStart() const {
    if (!present_) return 0;
    if (dialect_->leavesHeaderOutOfAudioStart) return positionInFile_ + tagLength();
    // What the file has, whatever was changed in memory.
    return util::lowBits<std::uint32_t>(extent_.end);
}

bool id3V2Tag::tagUnsynch() const {
    return (flag_ & kTagUnsynchronised) != 0;
}

bool id3V2Tag::extendedHeader() const {
    return (majorVersion_ == 3 || majorVersion_ == 4) && (flag_ & kTagExtendedOrCompressed) != 0;
}

bool id3V2Tag::compressTag() const {
    return majorVersion_ <= 2 && (flag_ & kTagExtendedOrCompressed) != 0;
}

bool id3V2Tag::footer() const {
    return majorVersion_ == 4 && (flag_ & (dialect_->takesExperimentForFooter ? kTagExperimental : kTagFooter)) != 0;
}

bool id3V2Tag::newTag(std::uint32_t major, std::uint32_t minor) {
    majorVersion_ = major;
    minorVersion_ = minor;
    flag_ = 0;
    extendedHeader_.reset();
    if (!dialect_->keepsExtendedHeaderMark) extendedHeaderPresent_ = 0;
    frameSet_ = FrameStore();
    frameSetLength_ = 0;
    paddingLength_ = kNewTagPadding;
    if (present_) noteDrop();
    return true;
}

}  // namespace quillet
