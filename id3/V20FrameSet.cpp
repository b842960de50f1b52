#include "id3/V20FrameSet.hpp"

#include "id3/Limits.hpp"

namespace quillet {

V20FrameSet::V20FrameSet(const FrameWalkInput& input, FrameStore& frames)
    : FrameWalk(input, {.identifierLength = 3, .headerLength = kFrameHeaderLength20, .majorVersion = 2}) {
    walk(frames);
}

std::int32_t V20FrameSet::frameLength() {
    return guarded(header_.size);
}

std::shared_ptr<id3V2Frame> V20FrameSet::getFrame() {
    return frameWith(content(knownLength()), 0, 0);
}

}  // namespace quillet
