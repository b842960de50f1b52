#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "id3/Dialect.hpp"
#include "id3/FrameBody.hpp"
#include "id3/FrameLibrary.hpp"
#include "id3/FrameStore.hpp"
#include "id3/Limits.hpp"
#include "id3/Remarks.hpp"
#include "util/ByteReader.hpp"
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
/// in the store, each identifier's in tag order. Every read is bounded, and every step moves on: a frame for which
/// there is no room, and a step of 0 or less, end the walk.
class FrameWalk {
  public:
    virtual ~FrameWalk() = default;
    FrameWalk(const FrameWalk&) = delete;
    FrameWalk& operator=(const FrameWalk&) = delete;

    /// -getFrameSetLength  Bytes of recognised frames: where the walk stopped, less the frame offset.
    std::uint32_t getFrameSetLength() const { return static_cast<std::uint32_t>(framesEndAt_ - frameOffset()); }
    /// What had to be guessed, cut or left out.
    const Remarks& remarks() const { return remarks_; }
    /// Whether a frame was longer than there is room for, so that its end is a guess; in both dialects.
    bool guessedRoom() const { return guessedRoom_; }
    /// Whether nothing but zeros is behind the frames; not asked where the walk goes past the tag.
    bool endsInPadding() const { return endsInPadding_; }

  protected:
    /// What differs by version.
    struct Layout {
        std::uint32_t identifierLength;
        std::uint32_t headerLength;
        std::int32_t majorVersion;
    };
    /// A frame's header as it stands in the tag.
    struct Header {
        FrameID identifier;
        std::uint32_t size = 0;  ///< as a plain number
        std::uint8_t firstFlag = 0;
        std::uint8_t secondFlag = 0;
    };
    FrameWalk(const FrameWalkInput& input, Layout layout);

    /// Walks and files; to be called once, by the constructor of the version's class.
    void walk(FrameStore& frames);

    /// -nextFrame:  Moves to the first frame or to the next one; whether a frame stands there.
    virtual bool nextFrame(bool first);
    /// Moves to `position`; whether a frame stands there, whose length then says how far the next one is.
    bool moveTo(std::int64_t position);
    /// -atValidFrame  Whether a frame's header stands at the current position; if not, the frames end there.
    bool atValidFrame();
    /// The whole header at `position`; nullopt where there is none, or none whose identifier will do.
    std::optional<Header> validHeaderAt(std::int64_t position) const;
    bool stopsAt(util::Bytes identifier) const;
    bool validAt(std::int64_t position) const { return validHeaderAt(position).has_value(); }
    /// Whether it can be an identifier.
    virtual bool isIdentifier(FrameID identifier) const { return hasCharacters(identifier, layout_.identifierLength); }
    /// Whether its first `count` characters, 3 or 4, can stand in an identifier.
    bool hasCharacters(FrameID identifier, std::uint32_t count) const {
        const auto fits = [&](std::uint32_t place) {
            const std::uint8_t character = identifier.character(place);
            return (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') ||
                   (character == ' ' && dialect().takesSpaceInIdentifiers);
        };
        return fits(0) && fits(1) && fits(2) && (count < 4 || fits(3));
    }
    /// -frameLength  Bytes of the current frame's body, guarded; below 0 where a signed size is.
    virtual std::int32_t frameLength() = 0;
    /// The same, as moveTo found it, where the guard has nothing to log at a second evaluation.
    std::int32_t knownLength() { return dialect().guessesRoomForFrames ? frameLength() : length_; }
    /// -getFrame  The current frame, or null where it cannot be made.
    virtual std::shared_ptr<id3V2Frame> getFrame() = 0;
    virtual FrameID getFrameID() const { return header_.identifier; }

    /// The size that the current frame gets for the one that it states: no more than there is room for.
    std::int32_t guarded(std::int64_t size) {
        const bool guesses = dialect().guessesRoomForFrames || dialect().cutsLargeFrames;
        if (guesses || size > this->size() - currentFramePosition_ - layout_.headerLength) return cutToRoom(size);
        noRoom_ = false;
        return static_cast<std::int32_t>(size);
    }
    std::int32_t cutToRoom(std::int64_t size);
    /// The current frame's size as a plain number.
    std::int64_t plainSize() const;
    /// What the frame keeps of the `size` bytes behind its header, shared; nullopt where they do not fit.
    std::optional<util::Data> content(std::int32_t size) const;
    /// The body of a compressed frame whose length and stream stand at fixed places of `content`, which may go on past
    /// the frame's `size` bytes; nullopt, with log lines, where it cannot be decompressed.
    std::optional<util::Data> uncompressed(util::Bytes content, std::uint32_t lengthAt, std::int32_t size);
    /// The frame whose body the standards' format flags make of `content`; without a body, and with a remark, where
    /// that cannot be read. It keeps `stored`, what stands in the tag.
    std::shared_ptr<id3V2Frame> formattedFrame(const util::Data& content, const FormatFlags& flags,
                                               std::uint8_t firstFlag, std::uint8_t secondFlag, util::Data stored);
    std::optional<util::Data> formattedBody(const util::Data& content, const FormatFlags& flags);
    /// Null without a body.
    std::shared_ptr<id3V2Frame> frameWith(std::optional<util::Data>&& body, std::uint8_t firstFlag,
                                          std::uint8_t secondFlag);

    /// A reader of the tag's bytes from `position` on; of nothing where that is outside of them.
    util::ByteReader readerAt(std::int64_t position) const {
        if (position < 0 || position > size()) return util::ByteReader({});
        return util::ByteReader(input_.tag.bytes().subspan(static_cast<std::size_t>(position)));
    }
    const Dialect& dialect() const { return *input_.dialect; }
    std::int64_t frameOffset() const { return static_cast<std::int32_t>(input_.frameOffset); }
    std::int64_t size() const { return static_cast<std::int64_t>(input_.tag.size()); }
    /// On the current frame: something is lost, or only odd.
    void remark(std::string_view words) { remarks_.add(remarkOf(words)); }
    void note(std::string_view words) { remarks_.note(remarkOf(words)); }
    std::string remarkOf(std::string_view words) const;

    // Positions are indexes into the tag's bytes.
    FrameWalkInput input_;
    Layout layout_;
    std::int64_t tagLength_;                 ///< length of the bytes less the frame offset
    std::int64_t currentFramePosition_ = 0;  ///< of the current frame's header
    Header header_;                          ///< the last one that was moved to
    std::int32_t length_ = 0;                ///< of the body behind it
    std::int64_t step_ = 0;                  ///< from there to the next frame's header
    std::int64_t framesEndAt_ = 0;
    bool guessedRoom_ = false;
    bool endsInPadding_ = false;
    bool noRoom_ = false;  ///< the guard left nothing of the current frame
    FrameInflater inflater_;
    Remarks remarks_;

  private:
    /// Where frames are made, many to an allocation; full, it gives way to another, and lives as long as its frames.
    std::shared_ptr<std::vector<id3V2Frame>> block_;
};

/// Whether all bytes are zero, as padding is.
bool isPadding(util::Bytes bytes);
/// The synchsafe value of 4 bytes, seven bits of each (ID3v2.4.0 structure 6.2).
constexpr std::uint32_t synchsafe(std::uint32_t four) {
    return (four & 0x7F) | (four >> 1 & 0x3F80) | (four >> 2 & 0x1FC000) | (four >> 3 & 0xFE00000);
}
inline std::uint32_t synchsafe(util::Bytes four) {
    return synchsafe(util::ByteReader(four).u32BigEndian().value_or(0));
}

}  // namespace quillet
