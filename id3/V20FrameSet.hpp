#pragma once

#include "id3/FrameWalk.hpp"

namespace quillet {

/// The frames of an ID3v2.2 tag (ID3v2.2.0 3.2): three characters, a size of 24 bits, no flags.
class V20FrameSet final : public FrameWalk {
  public:
    /// -init:version:validFrameSet:frameSet:offset:  Files what it finds in `frames`.
    V20FrameSet(const FrameWalkInput& input, FrameStore& frames);

  private:
    std::int32_t frameLength() override;
    std::shared_ptr<id3V2Frame> getFrame() override;
};

}  // namespace quillet
