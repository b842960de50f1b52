#include <algorithm>
#include <cerrno>
#include <vector>

#include "id3/SaveProblem.hpp"
#include "id3/id3V1Tag.hpp"

namespace quillet {

namespace {

/// The last byte of a comment beside a track, as the system dialect has it.
constexpr std::size_t kZeroedByte = 124;

}  // namespace

bool id3V1Tag::writeTag() {
    if (!changed_) return true;
    AudioFile file;
    const util::Status opened = file.open(path_, AudioFile::Access::update);
    if (opened.ok()) return writeTag(file);
    clearError();
    if (!dialect_->takesUnopenableForWritten) return refuse(opened);
    present_ = true;
    changed_ = false;
    return true;
}

bool id3V1Tag::writeTag(AudioFile& file) {
    if (!changed_) return true;
    clearError();
    if (!tag_) return setError(1, "writeTag: No data in V1tag");
    if (dialect_->readsV1TrackAtByte125) (*tag_)[kZeroedByte] = 0;

    // The file as it is now: what was known of its size when the record was read may be long gone.
    Record there{};
    bool isThere = false;
    if (!readLast(file, there, isThere)) return false;
    if (!isThere || there != *tag_) {
        if (!isAlone(file) && !partFrom(file, file.size())) return false;
        const util::Bytes before = isThere ? util::Bytes(there) : util::Bytes();
        const util::Status written =
            util::overwriteFile(file.descriptor(), file.stamp(), file.size() - before.size(), *tag_, before, inPlace());
        if (!written.ok()) return refuse(written);
        follow(file);
    }
    present_ = true;
    changed_ = false;
    return true;
}

bool id3V1Tag::dropTag() {
    AudioFile file;
    const util::Status opened = file.open(path_, AudioFile::Access::update);
    if (opened.ok()) return dropTag(file);
    clearError();
    return refuse(opened);
}

bool id3V1Tag::dropTag(AudioFile& file) {
    clearError();
    if (file.size() < kV1Length || !tag_) return setError(1, "has no ID3v1 tag");
    Record there{};
    bool isThere = false;
    if (!readLast(file, there, isThere)) return false;
    if (isThere) {
        const std::uint64_t size = file.size() - kV1Length;
        if (!isAlone(file)) {
            if (!partFrom(file, size)) return false;
        } else {
            const util::Status cut = util::truncateFile(file.descriptor(), file.stamp(), size, inPlace());
            if (!cut.ok()) return refuse(cut);
            follow(file);
        }
    }
    present_ = false;
    return true;
}

bool id3V1Tag::readLast(const AudioFile& file, Record& record, bool& isThere) {
    isThere = false;
    fileSize_ = file.size();
    if (fileSize_ < kV1Length) return true;
    // What cannot be read must not be taken for the end of the audio.
    if (file.readInto(fileSize_ - kV1Length, record) != kV1Length) return setError(1, "cannot be read to its end");
    isThere = isRecord(file, record);
    return true;
}

bool id3V1Tag::partFrom(AudioFile& file, std::uint64_t size) {
    if (!saveOptions_.breakLinks) return setError(1, saveProblemOfLinks(file.linkCount()));
    const util::FileRange kept[] = {{0, size}};
    const util::Status rewritten =
        util::rewriteFile(path_, file.descriptor(), file.stamp(), {}, kept, saveOptions_.file);
    if (!rewritten.ok()) return refuse(rewritten);
    // What is open is the old file, under its other names.
    const util::Status opened = file.open(path_, AudioFile::Access::update);
    if (!opened.ok()) return refuse(opened);
    fileSize_ = file.size();
    return fileSize_ == size || refuse(util::Status::failure(EBUSY));
}

void id3V1Tag::follow(AudioFile& file) {
    // Should that fail, the next save finds a file that it does not know, and leaves it alone.
    static_cast<void>(file.refresh());
    fileSize_ = file.size();
}

bool id3V1Tag::isAlone(const AudioFile& file) {
    return file.linkCount() <= 1;
}

util::RewriteOptions id3V1Tag::inPlace() const {
    return {.durability = util::Durability::unsynced, .keepTimes = saveOptions_.file.keepTimes};
}

bool id3V1Tag::refuse(const util::Status& failure) {
    return setError(1, saveProblem(failure));
}

}  // namespace quillet
