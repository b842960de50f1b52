#pragma once

#include "id3/FrameWalk.hpp"

namespace quillet {

/// The frames of an ID3v2.4 tag (ID3v2.4.0 structure 4): four characters, a synchsafe size, two flag bytes. Some
/// taggers write plain sizes; such tags are read as well.
class V24FrameSet final : public FrameWalk {
  public:
    /// -init:version:validFrameSet:frameSet:offset:iTunes:  Files what it finds in `frames`. With `iTunes`, frames with
    /// plain sizes are marked so.
    V24FrameSet(const FrameWalkInput& input, FrameStore& frames, bool iTunes);

  private:
    bool nextFrame(bool first) override;
    bool toFirstFrame();
    /// Where the current frame's step leads to no frame, tries its size as a plain one.
    bool toNextFrame();
    /// -readPackedLengthFrom: 4  Plain sizes, once seen, are taken for plain to the end.
    std::int32_t frameLength() override;
    std::shared_ptr<id3V2Frame> getFrame() override;

    /// -readLargeByteLengthFrom: 4
    std::int32_t plainLength();
    /// The same, which may come to nothing.
    std::int32_t triedPlainLength();
    /// -validFrameAt:  Whether an identifier stands `distance` bytes from the current frame's.
    bool validFrameAt(std::int64_t distance) const;
    /// The current frame, made of the `length` bytes behind its header as its format flags say; null where they are not
    /// all there.
    std::shared_ptr<id3V2Frame> formattedFrameOf(std::int32_t length, std::uint8_t first, std::uint8_t second);
    /// `rest` is what stands behind the current frame's header, of which `length` bytes are its own: with
    /// unsynchronisation reversed where `flags`, the second flag byte, or the tag say so. Corrects the length.
    util::Data synchronised(const util::Data& rest, std::uint8_t flags, std::int32_t& length);

    /// What comes of reading the size of every frame in one way.
    struct Reading {
        bool fits = false;       ///< nothing but padding is left over
        bool malformed = false;  ///< a size cannot be of that kind
        std::size_t frames = 0;
    };
    Reading readSizes(bool plain) const;
    /// Which way fits the whole tag better.
    bool hasPlainSizes() const;

    bool iTunes_;
    bool iTunesFlag_ = false;  ///< the sizes are plain
};

}  // namespace quillet
