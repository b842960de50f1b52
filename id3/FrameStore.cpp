#include "id3/FrameStore.hpp"

#include <algorithm>
#include <set>

namespace quillet {

void FrameStore::insert(std::shared_ptr<id3V2Frame> frame, std::size_t position) {
    const FrameID identifier = frame->getFrameID();
    auto place = frames_.end();
    std::size_t met = 0;
    for (auto at = frames_.begin(); at != frames_.end(); ++at) {
        if ((*at)->getFrameID() != identifier) continue;
        place = at + 1;
        if (met++ < position) continue;
        place = at;
        break;
    }
    frames_.insert(place, std::move(frame));
}

void FrameStore::removeAll(FrameID identifier) {
    std::erase_if(frames_, [identifier](const auto& frame) { return frame->getFrameID() == identifier; });
}

bool FrameStore::remove(const id3V2Frame* frame) {
    const auto found = std::ranges::find(frames_, frame, [](const auto& one) { return one.get(); });
    if (found == frames_.end()) return false;
    frames_.erase(found);
    return true;
}

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
