#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

constexpr FrameID kComment2("COM");
constexpr FrameID kComment3("COMM");
/// Frames of this length on, header included, stand behind all others.
constexpr std::uint32_t kFirstLargeFrame = 128;
/// What four synchsafe bytes can say (ID3v2.4.0 structure 3.1).
constexpr std::uint64_t kLargestTag = kLargestPackedLength - 1;

// Where an extended header, without its size field, tells of a checksum and of padding (ID3v2.3.0 3.2, ID3v2.4.0
// structure 3.2).
constexpr std::size_t kFlagsOf24 = 1;
constexpr std::uint8_t kChecksum23 = 0x80;
constexpr std::uint8_t kChecksum24 = 0x20;
constexpr std::size_t kPaddingOf23 = 2;
constexpr std::size_t kLeast23 = 6;
constexpr std::size_t kLeast24 = 2;

}  // namespace

std::optional<std::string> id3V2Tag::writePackedLength(std::uint32_t length) {
    return id3V2Frame::write4FrameLength(length);
}

std::string id3V2Tag::renderHeader() const {
    std::string header = "ID3";
    for (const std::uint32_t byte : {majorVersion_, minorVersion_, flag_}) header += static_cast<char>(byte & 0xFF);
    return header + writePackedLength(tagLength()).value_or("");
}

std::string id3V2Tag::renderExtendedHeader() const {
    const std::string_view content =
        extendedHeader_ ? util::charactersOf(extendedHeader_->bytes()) : std::string_view();
    const auto length = util::lowBits<std::uint32_t>(content.size());
    if (majorVersion_ == 4 && !dialect_->writesExtendedHeaderAsRead)
        return writePackedLength(length + kExtendedSizeLength).value_or("").append(content);
    return id3V2Frame::write3FrameLength(length).append(content);
}

std::string id3V2Tag::extendedHeaderToWrite(std::uint32_t padding) const {
    if (extendedHeaderPresent_ == 0) return "";
    if (dialect_->writesExtendedHeaderAsRead) return renderExtendedHeader();
    const bool version3 = majorVersion_ == 3;
    if (majorVersion_ < 3 || !extendedHeader_ || extendedHeader_->size() < (version3 ? kLeast23 : kLeast24) ||
        holdsChecksum())
        return "";
    std::string rendered = renderExtendedHeader();
    if (version3) rendered.replace(kExtendedSizeLength + kPaddingOf23, 4, id3V2Frame::write3FrameLength(padding));
    return rendered;
}

bool id3V2Tag::holdsChecksum() const {
    const util::Bytes content = extendedHeader_->bytes();
    return majorVersion_ == 3 ? (content[0] & kChecksum23) != 0 : (content[kFlagsOf24] & kChecksum24) != 0;
}

std::uint32_t id3V2Tag::flagsToWrite() const {
    std::uint32_t flags = flag_;
    if (!dialect_->keepsUnsynchronisationFlag) flags &= ~kTagUnsynchronised;
    if (!dialect_->writesFooterAsZeros) flags &= ~kTagFooter;
    if (!dialect_->writesExtendedHeaderAsRead) {
        flags &= ~kTagExtendedOrCompressed;
        if (!extendedHeaderToWrite(0).empty()) flags |= kTagExtendedOrCompressed;
    }
    return flags;
}

FrameArray id3V2Tag::framesInWritingOrder() const {
    // Each identifier's small frames go in front of what is there already, so that the last identifier's stand first.
    const FrameID comment = majorVersion_ < 3 ? kComment2 : kComment3;
    const std::vector<FrameID> identifiers = frameSet_.identifiers();
    std::vector<std::pair<FrameID, std::size_t>> ranks;
    ranks.reserve(identifiers.size());
    for (std::size_t i = 0; i < identifiers.size(); ++i) ranks.emplace_back(identifiers[i], identifiers.size() - i);
    std::ranges::sort(ranks);
    const FrameArray& frames = frameSet_.all();
    std::vector<std::pair<std::size_t, std::size_t>> placed;  // rank, and place in the store
    placed.reserve(frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const FrameID identifier = frames[i]->getFrameID();
        const std::size_t rank = std::ranges::lower_bound(ranks, std::pair(identifier, std::size_t{0}))->second;
        const bool inFront = identifier == comment || frames[i]->length() < kFirstLargeFrame;
        placed.emplace_back(inFront ? rank : 2 * identifiers.size() - rank + 1, i);
    }
    std::ranges::sort(placed);
    FrameArray ordered;
    ordered.reserve(placed.size());
    for (const auto& [rank, place] : placed) ordered.push_back(frames[place]);
    return ordered;
}

std::optional<id3V2Tag::Image> id3V2Tag::renderFrames(const FrameArray& order) {
    std::size_t length = 0;
    for (const auto& frame : order) length += frame->length();
    if (length > kLargestTag) {
        refuse("the tag would be larger than a tag can be");
        return std::nullopt;
    }
    Image image;
    image.flags = flagsToWrite();
    image.framesBegin = kTagHeaderLength + extendedHeaderToWrite(0).size();
    image.bytes = std::make_shared<std::string>();
    image.bytes->reserve(image.framesBegin + length + kSearchBlock);
    image.bytes->resize(image.framesBegin);
    // One style of sizes in a tag, as readers look at all of its frames to find out which it is.
    const bool plain = majorVersion_ == 3 || (majorVersion_ == 4 && std::ranges::any_of(order, [](const auto& frame) {
                                                  return frame->isITunesV24Compat();
                                              }));
    for (const auto& frame : order) {
        if (frame->appendCompleteRawFrame(*image.bytes, plain)) continue;
        refuse("frame " + frame->getFrameID().text() + " cannot be written");
        return std::nullopt;
    }
    image.framesEnd = image.bytes->size();
    return image;
}

bool id3V2Tag::complete(Image& image, std::uint64_t padding, std::string_view behind) {
    const bool footed = footer() && dialect_->writesFooterAsZeros;
    const std::uint64_t size = image.framesEnd + padding + (footed ? kTagHeaderLength : 0);
    if (size - kTagHeaderLength > kLargestTag) return refuse("the tag would be larger than a tag can be");
    image.size = static_cast<std::size_t>(size);

    std::string header = "ID3";
    for (const std::uint32_t byte : {majorVersion_, minorVersion_, image.flags})
        header += static_cast<char>(byte & 0xFF);
    header += writePackedLength(static_cast<std::uint32_t>(size) - kTagHeaderLength).value_or("");
    header += extendedHeaderToWrite(static_cast<std::uint32_t>(padding));
    image.bytes->replace(0, image.framesBegin, header);
    image.bytes->resize(image.framesEnd);
    image.bytes->resize(image.size);
    *image.bytes += behind;
    return true;
}

bool id3V2Tag::readsBack(const Image& image, const FrameArray& order) const {
    AudioFile file;
    auto* begin = reinterpret_cast<std::uint8_t*>(image.bytes->data());
    file.openImage(std::shared_ptr<std::uint8_t[]>(image.bytes, begin), image.bytes->size());
    id3V2Tag found(library_, *dialect_);
    found.iTunesV24CompatabilityMode_ = iTunesV24CompatabilityMode_;
    if (!found.readFrom(file) || found.positionInFile_ != 0 || !found.extent_.isCertain) return false;
    if (found.majorVersion_ != majorVersion_ || found.tagLength_ + kTagHeaderLength != image.size) return false;
    return std::ranges::equal(found.frameSet_.all(), order,
                              [](const auto& a, const auto& b) { return a->isWrittenLike(*b); });
}

}  // namespace quillet
