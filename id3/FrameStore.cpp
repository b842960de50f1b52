#include "id3/FrameStore.hpp"

#include <algorithm>
#include <set>

namespace quillet {

const id3V2Frame* FrameStore::first(FrameID identifier) const {
    for (const auto& frame : frames_) {
        if (frame->getFrameID() == identifier) return frame.get();
    }
    return nullptr;
}

FrameArray FrameStore::titled(FrameID identifier) const {
    FrameArray found;
    for (const auto& frame : frames_) {
        if (frame->getFrameID() == identifier) found.push_back(frame);
    }
    return found;
}

std::size_t FrameStore::count(FrameID identifier) const {
    const auto found =
        std::ranges::count_if(frames_, [identifier](const auto& frame) { return frame->getFrameID() == identifier; });
    return static_cast<std::size_t>(found);
}

std::vector<FrameID> FrameStore::identifiers() const {
    std::vector<FrameID> inOrder;
    std::set<FrameID> met;  // a broken tag can have a million identifiers
    for (const auto& frame : frames_) {
        if (met.insert(frame->getFrameID()).second) inOrder.push_back(frame->getFrameID());
    }
    return inOrder;
}

}  // namespace quillet
