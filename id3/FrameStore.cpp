#include "id3/FrameStore.hpp"

#include <algorithm>

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
    // Sorted, since a broken tag can have a million identifiers; then back into the order of the first of each.
    using Place = std::pair<FrameID, std::size_t>;
    std::vector<Place> places;
    places.reserve(frames_.size());
    for (const auto& frame : frames_) places.emplace_back(frame->getFrameID(), places.size());
    std::ranges::sort(places);
    const auto repeated = std::ranges::unique(places, {}, &Place::first);
    places.erase(repeated.begin(), repeated.end());
    std::ranges::sort(places, {}, &Place::second);
    std::vector<FrameID> inOrder;
    inOrder.reserve(places.size());
    for (const auto& [identifier, place] : places) inOrder.push_back(identifier);
    return inOrder;
}

}  // namespace quillet
