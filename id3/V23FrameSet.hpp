#pragma once

#include "id3/FrameWalk.hpp"

namespace quillet {

/// The frames of an ID3v2.3 tag (ID3v2.3.0 3.3): four characters, a plain size, two flag bytes.
class V23FrameSet final : public FrameWalk {
  public:
    /// -init:version:validFrameSet:frameSet:offset:  Files what it finds in `frames`.
    V23FrameSet(const FrameWalkInput& input, FrameStore& frames);

  private:
    /// -readPackedLengthFrom: 4
    std::int32_t frameLength() override { return guarded(plainSize()); }
    std::shared_ptr<id3V2Frame> getFrame() override;
    bool isIdentifier(FrameID identifier) const override;
    FrameID getFrameID() const override;
};

}  // namespace quillet
