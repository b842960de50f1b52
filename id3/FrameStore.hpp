#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "id3/id3V2Frame.hpp"

namespace quillet {

using FrameArray = std::vector<std::shared_ptr<id3V2Frame>>;

/// The frames of a tag, all in one sequence in tag order; those of one identifier are an array in that order. Tags have
/// tens of frames, so that a search through words beats a map.
class FrameStore {
  public:
    FrameStore() = default;

    void append(std::shared_ptr<id3V2Frame> frame) {
        if (frames_.empty()) frames_.reserve(kUsualFrames);
        frames_.push_back(std::move(frame));
    }
    /// Puts `frame` at `position` among those of its identifier, or behind them where there are fewer.
    void insert(std::shared_ptr<id3V2Frame> frame, std::size_t position);
    /// Takes all frames of an identifier out.
    void removeAll(FrameID identifier);
    /// Takes one frame out, the very object; false where it is not there.
    bool remove(const id3V2Frame* frame);
    /// The first under the identifier, or null.
    const id3V2Frame* first(FrameID identifier) const;
    /// All under the identifier.
    FrameArray titled(FrameID identifier) const;
    std::size_t count(FrameID identifier) const;
    /// The identifiers that are present, each once, in the order in which they were met first.
    std::vector<FrameID> identifiers() const;

    const FrameArray& all() const { return frames_; }
    bool empty() const { return frames_.empty(); }

  private:
    static constexpr std::size_t kUsualFrames = 16;
    FrameArray frames_;
};

}  // namespace quillet
