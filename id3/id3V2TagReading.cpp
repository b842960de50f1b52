#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/Unsynchronisation.hpp"
#include "id3/V20FrameSet.hpp"
#include "id3/V23FrameSet.hpp"
#include "id3/V24FrameSet.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

/// How much two search blocks share, so that a header across their border is found.
constexpr std::uint64_t kBlockOverlap = 15;

/// Whether an MPEG frame stands at the file's start.
bool beginsWithFrame(AudioFile& file) {
    const auto first = MpegFrameHeader::decode(file.read(0, kMpegHeaderLength).bytes(), kStandardDialect);
    return first && first->isValid();
}

}  // namespace

bool id3V2Tag::openPath(const std::string& path) {
    reset(path);
    getTag();
    return true;
}

bool id3V2Tag::openPath(const std::string& path, AudioFile& file) {
    reset(path);
    readFrom(file);
    return true;
}

void id3V2Tag::reset(const std::string& path) {
    path_ = path;
    present_ = false;
    majorVersion_ = minorVersion_ = flag_ = 0;
    tagLength_ = paddingLength_ = positionInFile_ = frameSetLength_ = 0;
    tagChanged_ = 0;
    exhastiveSearch_ = false;
    extendedHeaderPresent_ = 0;
    fileSize_ = 0;
    errorNo_ = 0;
    errorDescription_.reset();
    extendedHeader_.reset();
    frameSet_ = FrameStore();
    remarks_.clear();
    extent_ = {};
    stamp_.reset();
}

bool id3V2Tag::getTag() {
    AudioFile file;
    readFailed_ = !file.open(path_).ok();
    return !readFailed_ && readFrom(file);
}

std::uint64_t id3V2Tag::searchedAtOnce() const {
    return std::min<std::uint64_t>(fileSize_, exhastiveSearch_ ? kExhaustiveSearchBlock : kSearchBlock);
}

bool id3V2Tag::readFrom(AudioFile& file) {
    const bool found = findAndRead(file);
    readFailed_ = file.hasFailed() || !file.isOpen();
    return found;
}

bool id3V2Tag::findAndRead(AudioFile& file) {
    remarks_.clear();
    fileSize_ = file.size();
    stamp_ = file.stamp();
    const std::uint64_t searched = searchedAtOnce();
    bool found = false;
    for (std::uint64_t base = 0;; base += searched - kBlockOverlap) {
        const util::Data block = file.read(base, static_cast<std::size_t>(searched));
        if (const std::int32_t position = scanForHeader(block.bytes()); position >= 0) {
            found = readTag(file, block, base, static_cast<std::uint32_t>(position));
            if (!found) return false;
            if (!dialect_->takesLastTag) break;
        }
        if (!exhastiveSearch_ || searched <= kBlockOverlap || base + searched - kBlockOverlap >= fileSize_) break;
    }
    paddingLength_ = tagLength_ - frameSetLength_;
    if (!dialect_->countsExtendedHeaderAsPadding) paddingLength_ -= extendedHeaderLength();
    return found;
}

bool id3V2Tag::readTag(AudioFile& file, const util::Data& block, std::uint64_t base, std::uint32_t position) {
    const std::uint64_t start = base + position;
    guessedFrames_ = false;
    cutToFile(start);
    positionInFile_ = util::lowBits<std::uint32_t>(start);
    present_ = true;
    // What stands until it is known better: a tag of which nothing can be told.
    extent_ = {start, start + kTagHeaderLength, start + kTagHeaderLength + tagLength_, false};

    beginsWithAudio_ = start > 0 && beginsWithFrame(file);
    const bool large = std::uint64_t{tagLength_} + position + kTagHeaderLength > searchedAtOnce();
    // Not for a tag far into the file: all before it would be read.
    if (large && start < kSearchBlock) file.extendHead(start + kTagHeaderLength + tagLength_ + kAudioBlock);
    util::Data tag = file.read(start + kTagHeaderLength, tagLength_);
    const std::uint32_t removed = synchronise(tag);

    const std::int32_t skip = extendedHeader() ? readExtendedHeader(tag) : 0;
    if (!isReadable()) return false;
    std::int64_t framesBegin = skip;

    FrameWalkInput input;
    if (large || !dialect_->walksPastTheTag) {
        const auto front = static_cast<std::size_t>(std::max(skip, 0));
        input.tag = tag.slice(front, tag.size() - std::min(front, tag.size())).value_or(util::Data());
        // Meant so: what the bytes start behind already is passed over once more.
        if (large && dialect_->passesExtendedHeaderTwice) {
            input.frameOffset = static_cast<std::uint32_t>(skip);
            framesBegin += skip;
        }
    } else {
        input.tag = block;
        input.frameOffset = position + kTagHeaderLength + static_cast<std::uint32_t>(skip);
    }
    if (tagUnsynch() && dialect_->reversesUnsynchronisationInPlace) {
        input.tag = desynchData(input.tag.bytes(), input.frameOffset);
        input.frameOffset = 0;
    }
    walkFrames(std::move(input));
    if (footer() && !dialect_->writesFooterAsZeros) passFooter(file);
    noteExtent(tag, framesBegin + frameSetLength_);
    frameSetLength_ += removed;  // as they stand in the file
    return true;
}

void id3V2Tag::passFooter(AudioFile& file) {
    // As long as a header; what does not look like one is audio.
    if (util::charactersOf(file.read(extent_.end, kTagHeaderLength).bytes()).starts_with("3DI")) {
        extent_.end += kTagHeaderLength;
    } else {
        remarks_.add("the footer is missing");
    }
}

void id3V2Tag::noteExtent(const util::Data& tag, std::int64_t framesEnd) {
    const auto used = static_cast<std::size_t>(std::clamp<std::int64_t>(framesEnd, 0, std::int64_t{tagLength_}));
    extent_.framesEnd = extent_.begin + kTagHeaderLength + used;
    if (dialect_->walksPastTheTag) endsInPadding_ = used <= tag.size() && isPadding(tag.bytes().subspan(used));
    // Further in it may be a chance find in the audio, which must not go.
    const bool isTag =
        extent_.begin == 0 || dialect_->keepsBytesOfDroppedTag || (!frameSet_.empty() && !beginsWithAudio_);
    extent_.isCertain = isTag && !guessedLength_ && !guessedFrames_ && endsInPadding_ && extent_.end <= fileSize_;
}

void id3V2Tag::cutToFile(std::uint64_t start) {
    guessedLength_ = start + kTagHeaderLength + tagLength_ > fileSize_;
    const std::uint32_t header = dialect_->countsHeaderInCutTag ? 0 : kTagHeaderLength;
    if (start + header + tagLength_ <= fileSize_) return;
    tagLength_ = util::lowBits<std::uint32_t>(fileSize_ - start - header);
    if (dialect_->countsHeaderInCutTag)
        util::log(
            "Problem detected when parsing v2 tag: tag length indicates that tag extends beyond end of file, "
            "guessing tag length");
    else
        remarks_.add("the tag is longer than the file");
}

std::uint32_t id3V2Tag::synchronise(util::Data& tag) {
    if (!tagUnsynch() || majorVersion_ >= 4 || dialect_->reversesUnsynchronisationInPlace) return 0;
    const auto reversed = withoutUnsynchronisation(tag);
    if (!reversed) {
        remarks_.add("the tag is not unsynchronised, as it says it is");
        return 0;
    }
    const std::size_t removed = tag.size() - reversed->size();
    tag = *reversed;
    return util::lowBits<std::uint32_t>(removed);
}

bool id3V2Tag::isReadable() {
    if (majorVersion_ > 4) {
        remarks_.add("a tag of version 2." + std::to_string(majorVersion_ & 0xFF) + " cannot be read");
        return false;
    }
    if (!dialect_->readsCompressedTags && compressTag()) {
        remarks_.add("the tag is compressed");
        return false;
    }
    return true;
}

void id3V2Tag::walkFrames(FrameWalkInput input) {
    input.minorVersion = minorVersion_;
    input.tagUnsynchronised = tagUnsynch();
    input.library = &library_;
    input.dialect = dialect_;
    frameSet_ = FrameStore();
    const auto take = [this](const FrameWalk& walk) {
        frameSetLength_ = walk.getFrameSetLength();
        remarks_.add(walk.remarks());
        guessedFrames_ = guessedFrames_ || walk.guessedRoom();
        endsInPadding_ = walk.endsInPadding();
    };
    switch (majorVersion_) {
        case 3:
            return take(V23FrameSet(input, frameSet_));
        case 4:
            return take(V24FrameSet(input, frameSet_, iTunesV24CompatabilityMode_));
        default:
            return take(V20FrameSet(input, frameSet_));
    }
}

util::Data id3V2Tag::desynchData(util::Bytes data, std::size_t offset) {
    const std::size_t size = data.size();
    const auto at = [data](std::size_t index) { return index < data.size() ? data[index] : std::uint8_t{0}; };
    const std::shared_ptr<std::uint8_t[]> result(new (std::nothrow) std::uint8_t[size]());
    if (!result) return {};
    const std::span<std::uint8_t> target(result.get(), size);
    std::size_t skipped = 0;
    // Meant so: indices are kept, and what decides is looked for further on with each byte passed over.
    for (std::size_t i = 0; i < size; ++i) {
        target[i] = at(offset + i);
        if (at(offset + i + skipped) != 0xFF) continue;
        ++skipped;
        ++i;
    }
    return util::Data(result, target.first(size - skipped));
}

std::optional<FrameArray> id3V2Tag::getFramesTitled(FrameID identifier) const {
    FrameArray frames = frameSet_.titled(identifier);
    if (frames.empty()) return std::nullopt;
    return frames;
}

std::vector<std::string> id3V2Tag::frameList() const {
    std::vector<std::string> identifiers;
    for (const FrameID identifier : frameSet_.identifiers()) identifiers.push_back(identifier.text());
    return identifiers;
}

}  // namespace quillet
