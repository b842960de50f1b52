#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "id3/Dialect.hpp"
#include "id3/FrameLibrary.hpp"
#include "id3/FrameStore.hpp"
#include "id3/Remarks.hpp"
#include "util/Data.hpp"

namespace quillet {

/// What a walk is made with.
struct FrameWalkInput {
    util::Data tag;                                           ///< the bytes that hold the frames
    std::uint32_t frameOffset = 0;                            ///< where in them the first frame's header stands
    std::uint32_t minorVersion = 0;                           ///< kept, not used
    const util::PropertyDictionary* validFrameSet = nullptr;  ///< identifiers at which the walk stops, or null
    bool tagUnsynchronised = false;         ///< standard dialect, 2.4: every frame may be unsynchronised
    const FrameLibrary* library = nullptr;  ///< standard dialect, 2.3: to translate identifiers of 2.2
    const Dialect* dialect = &kSystemDialect;
};

/// The walk over the frames of a tag, front to back, written once; the versions differ in how long identifier and
/// header are, how a size is read and how a body is made of its bytes. Done when it is made: the frames found are then
/// in the store, each identifier's in tag order. Every read is bounded, and every step moves on: a size of 0 or less
/// than the position demands ends the walk.
class FrameWalk {
  public:
    virtual ~FrameWalk() = default;
    FrameWalk(const FrameWalk&) = delete;
    FrameWalk& operator=(const FrameWalk&) = delete;

    /// -getFrameSetLength  Bytes of recognised frames: where the walk stopped, less the frame offset.
    std::uint32_t getFrameSetLength() const { return static_cast<std::uint32_t>(framesEndAt_) - input_.frameOffset; }
    /// What had to be guessed, cut or left out.
    const Remarks& remarks() const { return remarks_; }

  protected:
    /// What differs by version.
    struct Layout {
        std::uint32_t identifierLength;
        std::uint32_t headerLength;
        std::int32_t majorVersion;
    };
    FrameWalk(const FrameWalkInput& input, Layout layout);

    /// Walks and files; to be called once, by the constructor of the version's class.
    void walk(FrameStore& frames);

    /// -nextFrame:  Moves to the first frame or to the next one; whether a frame stands there.
    virtual bool nextFrame(bool first);
    /// -atValidFrame  Whether a frame's header stands at the current position; if not, the frames end there.
    bool atValidFrame();
    /// -frameLength  The current frame's length as the version keeps it in `currentFrameLength`.
    virtual std::uint32_t frameLength() = 0;
    /// -getFrame  The current frame, or null where it cannot be made.
    virtual std::shared_ptr<id3V2Frame> getFrame() = 0;

    // For the versions: see FrameWalk.cpp. Positions are indexes into the tag's bytes.
    FrameWalkInput input_;
    Layout layout_;
    std::uint32_t tagLength_ = 0;  ///< length of the bytes less the frame offset
    std::int32_t currentFramePosition_ = 0;
    std::uint32_t currentFrameLength_ = 0;
    std::int32_t framesEndAt_ = 0;
    Remarks remarks_;
};

}  // namespace quillet
