#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/SaveProblem.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

/// What a rewrite leaves behind the frames.
constexpr std::uint64_t kRewritePadding = 1024;
/// A file needs one spare byte in its tag for so many of its own, or the tag gets new padding.
constexpr std::uint64_t kFileBytesForSpareByte = 100'000;

// How a dropped tag's file is copied in the system dialect.
constexpr std::int64_t kCopyChunk = 409'600;
constexpr double kFirstChunkUnit = 4096;

/// Where `bytes` and `before`, which are equally long, differ: from the first such byte to the last.
util::FileRange differenceOf(util::Bytes bytes, util::Bytes before) {
    // Blocks first: byte by byte, a tag with a picture would take longer to compare than to write.
    constexpr std::size_t kBlock = 64;
    const auto same = [&](std::size_t at, std::size_t count) {
        return std::ranges::equal(bytes.subspan(at, count), before.subspan(at, count));
    };
    std::size_t begin = 0;
    std::size_t end = bytes.size();
    while (end - begin >= kBlock && same(begin, kBlock)) begin += kBlock;
    while (begin < end && same(begin, 1)) ++begin;
    while (end - begin >= kBlock && same(end - kBlock, kBlock)) end -= kBlock;
    while (begin < end && same(end - 1, 1)) --end;
    return {begin, end};
}

/// As much of what will stand behind a tag as a reader of the tag looks at.
std::string beginningOf(AudioFile& file, const std::vector<util::FileRange>& ranges) {
    std::string beginning;
    for (const util::FileRange& range : ranges) {
        const std::uint64_t wanted = std::min<std::uint64_t>(range.end - range.begin, kSearchBlock - beginning.size());
        beginning += util::charactersOf(file.read(range.begin, static_cast<std::size_t>(wanted)).bytes());
    }
    return beginning;
}

}  // namespace

bool id3V2Tag::writeTag() {
    if (tagChanged_ == 0) return true;
    AudioFile file;
    return openForSave(file) && writeTag(file);
}

bool id3V2Tag::writeTag(AudioFile& file) {
    if (tagChanged_ == 0) return true;
    if (!canBeWritten() || !isSaveable(file)) return false;

    const FrameArray order = framesInWritingOrder();
    auto image = renderFrames(order);
    return image && saveImage(file, *image, order);
}

bool id3V2Tag::canBeWritten() {
    errorDescription_.reset();
    errorNo_ = 0;
    if (majorVersion_ < 2 || majorVersion_ > 4)
        return refuse("a tag of version 2." + std::to_string(majorVersion_ & 0xFF) + " cannot be written");
    return isKnown();
}

bool id3V2Tag::isSaveable(const AudioFile& file) {
    if (readFailed_) return refuse(std::string("could not be read"));
    if (stamp_ && *stamp_ != file.stamp()) return refuse(util::Status::failure(EBUSY));
    if (file.linkCount() > 1 && !saveOptions_.breakLinks) return refuse(saveProblemOfLinks(file.linkCount()));
    return true;
}

bool id3V2Tag::isKnown() {
    const bool forced = saveOptions_.force && !dialect_->system;
    if (!remarks_.faithful() && !forced) {
        std::string reasons;
        for (const std::string& remark : remarks_.all()) reasons += (reasons.empty() ? "" : ", ") + remark;
        return refuse("its tag was not read faithfully: " + reasons);
    }
    if (!present_ || extent_.isCertain) return true;
    // Forced, what is behind the frames stays in the file; where even their end is a guess there is no way.
    if (!forced || guessedFrames_ || beginsWithAudio_ || tagUnsynch())
        return refuse("it cannot be told where its tag ends and its audio begins");
    return true;
}

std::int64_t id3V2Tag::spareRoom(const Image& image) const {
    if (!present_) return 0;
    if (dialect_->countsExtendedHeaderAsPadding)
        return std::int64_t{tagLength_} - static_cast<std::int64_t>(image.framesEnd - image.framesBegin);
    return static_cast<std::int64_t>(extent_.end - extent_.begin) - static_cast<std::int64_t>(image.framesEnd);
}

bool id3V2Tag::saveImage(AudioFile& file, Image& image, const FrameArray& order) {
    const std::int64_t spare = spareRoom(image);
    const bool fits = present_ && extent_.isCertain && spare >= 0 &&
                      static_cast<std::uint64_t>(spare) >= file.size() / kFileBytesForSpareByte;
    const auto kept = rangesWithoutTag(file.size());
    if (!kept) return false;
    const std::string behind = beginningOf(file, *kept);
    if (!complete(image, fits ? static_cast<std::uint64_t>(spare) : kRewritePadding, behind)) return false;

    const bool inPlace =
        fits && positionInFile_ == 0 && extent_.begin == 0 && image.size == extent_.end && file.linkCount() == 1;
    if (inPlace && readsBack(image, order)) return saveInPlace(file, image);
    if (inPlace && !complete(image, kRewritePadding, behind)) return false;
    if (!readsBack(image, order)) return refuse("the changed tag could not be read back as it is meant");
    if (!replaceFile(file, image.tag(), *kept)) return false;
    takeOver(image);
    return true;
}

bool id3V2Tag::saveInPlace(AudioFile& file, const Image& image) {
    const util::Data before = file.read(0, image.size);
    if (before.size() != image.size) return refuse(util::Status::failure(EIO));
    const util::FileRange changed = differenceOf(image.tag(), before.bytes());
    const auto length = static_cast<std::size_t>(changed.end - changed.begin);
    if (length > 0) {
        const auto part = [&](util::Bytes bytes) {
            return bytes.subspan(static_cast<std::size_t>(changed.begin), length);
        };
        const util::Status written =
            util::overwriteFile(file.descriptor(), file.stamp(), changed.begin, part(image.tag()), part(before.bytes()),
                                {.durability = util::Durability::unsynced, .keepTimes = saveOptions_.file.keepTimes});
        if (!written.ok()) return refuse(written);
        if (const util::Status known = file.refresh(); !known.ok()) return refuse(known);
    } else {
        const util::FileStamp expected = file.stamp();
        if (const util::Status known = file.refresh(); !known.ok()) return refuse(known);
        if (file.stamp() != expected) return refuse(util::Status::failure(EBUSY));
    }
    stamp_ = file.stamp();
    takeOver(image);
    return true;
}

void id3V2Tag::takeOver(const Image& image) {
    present_ = true;
    positionInFile_ = 0;
    flag_ = image.flags;
    tagLength_ = static_cast<std::uint32_t>(image.size) - kTagHeaderLength;
    frameSetLength_ = static_cast<std::uint32_t>(image.framesEnd - image.framesBegin);
    paddingLength_ = static_cast<std::uint32_t>(image.size - image.framesEnd);
    if (footer()) paddingLength_ -= kTagHeaderLength;
    if (!dialect_->writesExtendedHeaderAsRead && image.framesBegin == kTagHeaderLength) {
        extendedHeaderPresent_ = 0;
        extendedHeader_.reset();
    }
    extent_ = {0, image.framesEnd, image.size, true};
    guessedLength_ = guessedFrames_ = false;
    remarks_.clear();
}

std::optional<std::vector<util::FileRange>> id3V2Tag::rangesWithoutTag(std::uint64_t fileSize) {
    if (!present_) return {{{0, fileSize}}};
    const std::uint64_t tagEnd = extent_.isCertain ? extent_.end : extent_.framesEnd;
    if (tagEnd > fileSize) {
        refuse("it cannot be told where its tag ends and its audio begins");
        return std::nullopt;
    }
    if (!dialect_->keepsBytesOfDroppedTag) return {{{0, extent_.begin}, {tagEnd, fileSize}}};
    // A tag further in is dropped first, which leaves its bytes where they are.
    if (extent_.begin == 0) return {{{tagEnd, fileSize}}};
    if (!statedCopyReachesEnd(fileSize)) {
        refuse("its tag cannot be dropped without loss");
        return std::nullopt;
    }
    return {{{0, fileSize}}};
}

bool id3V2Tag::statedCopyReachesEnd(std::uint64_t fileSize) const {
    // Meant so: what is counted is not what is copied, since a first chunk below zero is all of the file.
    const auto size = static_cast<std::int64_t>(fileSize);
    const auto position = std::int64_t{positionInFile_};
    std::int64_t counted = 0;
    std::int64_t copied = 0;
    const auto copyChunk = [&] {
        counted += kCopyChunk;
        copied = std::min(copied + kCopyChunk, size);
    };
    if (position >= 1) {
        counted = static_cast<std::int64_t>(std::remainder(static_cast<double>(position), kFirstChunkUnit));
        copied = counted < 0 ? size : std::min(counted, size);
        while (counted < position) copyChunk();
    }
    while (std::int64_t{tagLength_} + counted < size) copyChunk();
    return copied == size;
}

bool id3V2Tag::dropTag(bool newTag) {
    AudioFile file;
    const util::Status opened = file.open(path_, AudioFile::Access::update);
    return opened.ok() ? dropTag(file, newTag) : refuse(opened);
}

bool id3V2Tag::dropTag(AudioFile& file, bool newTag) {
    errorDescription_.reset();
    errorNo_ = 0;
    if (!present_ || positionInFile_ > file.size()) return refuse("has no ID3v2 tag");
    if (!isSaveable(file)) return false;
    std::optional<std::vector<util::FileRange>> kept;
    if (!dialect_->keepsBytesOfDroppedTag) {
        if (!isKnown()) return false;
        kept = rangesWithoutTag(file.size());
    } else if (statedCopyReachesEnd(file.size())) {
        kept = {{0, file.size()}};
    } else {
        refuse("its tag cannot be dropped without loss");
    }
    if (!kept || !replaceFile(file, {}, *kept)) return false;

    present_ = false;
    positionInFile_ = tagLength_ = 0;
    extent_ = {};
    guessedLength_ = guessedFrames_ = false;
    remarks_.clear();
    if (newTag) this->newTag(majorVersion_, minorVersion_);
    return true;
}

bool id3V2Tag::openForSave(AudioFile& file) {
    const util::Status opened = file.open(path_, AudioFile::Access::update);
    if (opened.ok()) return true;
    util::log("File : " + path_ + " is not writable");
    return refuse(opened);
}

bool id3V2Tag::replaceFile(AudioFile& file, util::Bytes front, const std::vector<util::FileRange>& kept) {
    const util::Status replaced =
        util::rewriteFile(path_, file.descriptor(), file.stamp(), front, kept, saveOptions_.file);
    if (!replaced.ok()) {
        const bool folderIsReadOnly =
            replaced.error() == EACCES || replaced.error() == EROFS || replaced.error() == EPERM;
        if (folderIsReadOnly) util::log("Can't repad: File " + path_ + " is not deleteable");
        return refuse(replaced);
    }
    // What was open is the old file.
    const util::Status known = file.open(path_, AudioFile::Access::update);
    std::uint64_t size = front.size();
    for (const util::FileRange& range : kept) size += range.end - range.begin;
    stamp_ = file.stamp();
    fileSize_ = size;
    if (!known.ok()) return refuse(known);
    return file.size() == size || refuse(util::Status::failure(EBUSY));
}

void id3V2Tag::takePlaceOf(const id3V2Tag& old) {
    path_ = old.path_;
    present_ = old.present_;
    positionInFile_ = old.positionInFile_;
    tagLength_ = old.tagLength_;
    fileSize_ = old.fileSize_;
    extent_ = old.extent_;
    guessedLength_ = old.guessedLength_;
    guessedFrames_ = old.guessedFrames_;
    beginsWithAudio_ = old.beginsWithAudio_;
    stamp_ = old.stamp_;
    readFailed_ = old.readFailed_;
    remarks_ = old.remarks_;
    tagChanged_ = 1;
}

void id3V2Tag::followFile(const util::FileStamp& before, const util::FileStamp& after) {
    if (!stamp_ || *stamp_ != before) return;
    stamp_ = after;
    fileSize_ = after.size;
}

bool id3V2Tag::refuse(std::string reason) {
    errorNo_ = 1;
    errorDescription_ = std::move(reason);
    return false;
}

bool id3V2Tag::refuse(util::Status status) {
    return refuse(saveProblem(status));
}

}  // namespace quillet
