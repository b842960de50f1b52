#include <algorithm>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"

namespace quillet {

namespace {

void setMask(std::uint32_t& flags, std::uint32_t mask, bool value) {
    flags = value ? flags | mask : flags & ~mask;
}

}  // namespace

bool id3V2Tag::addUpdateFrame(std::shared_ptr<id3V2Frame> frame, bool replace, std::int32_t position) {
    if (!frame) return false;
    if (replace) dropFrame(frame->getFrameID(), position);
    tagChanged_ = 1;
    frameSetLength_ += frame->length();
    frameSet_.insert(std::move(frame), static_cast<std::size_t>(std::max(position, 0)));
    return true;
}

bool id3V2Tag::setFrames(FrameArray frames) {
    if (frames.empty() || std::ranges::find(frames, nullptr) != frames.end()) return false;
    dropFrame(frames.front()->getFrameID(), -1);
    tagChanged_ = 1;
    for (auto& frame : frames) {
        frameSetLength_ += frame->length();
        frameSet_.append(std::move(frame));
    }
    return true;
}

bool id3V2Tag::dropFrame(FrameID identifier, std::int32_t index) {
    std::int32_t met = 0;
    std::uint32_t length = 0;
    for (const auto& frame : frameSet_.all()) {
        if (frame->getFrameID() != identifier) continue;
        if (met++ == index) return dropFrame(frame);
        length += frame->length();
    }
    if (met == 0) return true;
    if (index >= 0) return false;
    frameSetLength_ -= length;
    frameSet_.removeAll(identifier);
    noteDrop();
    return true;
}

bool id3V2Tag::dropFrame(const std::shared_ptr<id3V2Frame>& frame) {
    if (!frame) return false;
    const std::uint32_t length = frame->length();  // now, since `frame` may be what the store itself holds
    const FrameID identifier = frame->getFrameID();
    if (!frameSet_.remove(frame.get())) return frameSet_.first(identifier) == nullptr;
    frameSetLength_ -= length;
    noteDrop();
    return true;
}

void id3V2Tag::noteDrop() {
    if (!dialect_->ignoresDropsAsChange) tagChanged_ = 1;
}

bool id3V2Tag::setTagUnsynch(bool value) {
    setMask(flag_, kTagUnsynchronised, value);
    return true;
}

bool id3V2Tag::setCompressTag(bool value) {
    if (majorVersion_ > 2) return false;
    setMask(flag_, kTagExtendedOrCompressed, value);
    return true;
}

bool id3V2Tag::setExtendedHeader(bool value) {
    if (majorVersion_ != 3 && majorVersion_ != 4) return false;
    setMask(flag_, kTagExtendedOrCompressed, value);
    if (value) return true;
    extendedHeader_.reset();
    if (!dialect_->keepsExtendedHeaderMark) extendedHeaderPresent_ = 0;
    return true;
}

bool id3V2Tag::setFooter(bool value) {
    if (majorVersion_ != 4) return false;
    setMask(flag_, dialect_->takesExperimentForFooter ? kTagExperimental : kTagFooter, value);
    return true;
}

bool id3V2Tag::setPath(const std::string& path) {
    path_ = path;
    return true;
}

}  // namespace quillet
