#include "id3/FrameWalk.hpp"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "id3/Limits.hpp"
#include "util/Log.hpp"

namespace quillet {

namespace {

/// Where the stream of a compressed frame is taken to begin, counted from behind the frame's header.
constexpr std::size_t kStreamAt = 4;

constexpr std::size_t kFramesInBlock = 16;

/// A log line about the largest frame, which both guards tell in the same words.
void logClipping(const char* start) {
    util::log(std::string(start) + " size > maximum allowable frame size, clipping frame to " +
              std::to_string(kLargestFrame) + " bytes.");
}

}  // namespace

bool isPadding(util::Bytes bytes) {
    // All are equal where each equals the one before it; memcmp sees to many at a time.
    return bytes.empty() || (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

FrameWalk::FrameWalk(const FrameWalkInput& input, Layout layout)
    : input_(input),
      layout_(layout),
      tagLength_(size() - frameOffset()),
      currentFramePosition_(frameOffset()),
      framesEndAt_(frameOffset()) {}

void FrameWalk::walk(FrameStore& frames) {
    if (size() >= layout_.headerLength) {
        for (bool more = nextFrame(true); more; more = nextFrame(false)) {
            if (frames.all().size() >= kMostFrames) {
                remarks_.add("the tag has more frames than are read");
                framesEndAt_ = currentFramePosition_;
                break;
            }
            if (auto frame = getFrame()) frames.append(std::move(frame));
        }
    }
    if (dialect().walksPastTheTag) return;
    endsInPadding_ = isPadding(readerAt(framesEndAt_).rest());
    if (!endsInPadding_) remarks_.add("bytes behind the last frame are no padding");
}

bool FrameWalk::nextFrame(bool first) {
    if (first) return moveTo(frameOffset());
    if (currentFramePosition_ >= size() || noRoom_ || step_ <= 0) {
        framesEndAt_ = currentFramePosition_;
        return false;
    }
    return moveTo(currentFramePosition_ + step_);
}

bool FrameWalk::moveTo(std::int64_t position) {
    currentFramePosition_ = position;
    if (!atValidFrame()) return false;
    length_ = frameLength();
    step_ = std::int64_t{length_} + layout_.headerLength;
    return true;
}

bool FrameWalk::atValidFrame() {
    const auto header = validHeaderAt(currentFramePosition_);
    if (header) {
        header_ = *header;
    } else {
        framesEndAt_ = currentFramePosition_;
    }
    return header.has_value();
}

std::optional<FrameWalk::Header> FrameWalk::validHeaderAt(std::int64_t position) const {
    const auto bytes = readerAt(position).take(layout_.headerLength);
    if (!bytes) return std::nullopt;
    Header header;
    if (layout_.headerLength == kFrameHeaderLength20) {
        const std::span<const std::uint8_t, kFrameHeaderLength20> whole(*bytes);
        header.identifier = FrameID::ofWord(util::bigEndianNumber(whole.first<3>()) << 8);
        header.size = util::bigEndianNumber(whole.last<3>());
    } else {
        const std::span<const std::uint8_t, kFrameHeaderLength> whole(*bytes);
        header.identifier = FrameID::ofWord(util::bigEndianNumber(whole.first<4>()));
        header.size = util::bigEndianNumber(whole.subspan<4, 4>());
        header.firstFlag = whole[8];
        header.secondFlag = whole[9];
    }
    const bool valid = input_.validFrameSet == nullptr ? isIdentifier(header.identifier)
                                                       : !stopsAt(bytes->first(layout_.identifierLength));
    return valid ? std::optional(header) : std::nullopt;
}

bool FrameWalk::stopsAt(util::Bytes identifier) const {
    return input_.validFrameSet->contains(util::charactersOf(identifier));
}

std::int32_t FrameWalk::cutToRoom(std::int64_t size) {
    const std::int64_t room =
        dialect().guessesRoomForFrames
            ? tagLength_ - frameOffset() - currentFramePosition_
            : std::max<std::int64_t>(this->size() - currentFramePosition_ - layout_.headerLength, 0);
    noRoom_ = false;
    if (size > room) {
        guessedRoom_ = true;
        size = room;
        if (dialect().guessesRoomForFrames) {
            noRoom_ = room <= 0;
            util::log(
                "Problem encountered parsing v2 frame:  frame length value longer than tag length, guessing "
                "correct frame length");
        } else {
            remark("is longer than the tag");
        }
    }
    if (dialect().cutsLargeFrames && size > kLargestFrame) {
        logClipping("Warning frame");
        return kLargestFrame;
    }
    return static_cast<std::int32_t>(size);
}

std::int64_t FrameWalk::plainSize() const {
    // A signed size passes the guard; no body is as long, and the step is what is left of it.
    return dialect().guessesRoomForFrames ? std::int64_t{static_cast<std::int32_t>(header_.size)}
                                          : std::int64_t{header_.size};
}

std::optional<util::Data> FrameWalk::content(std::int32_t size) const {
    if (size < 0 || noRoom_) return std::nullopt;
    return input_.tag.slice(static_cast<std::size_t>(currentFramePosition_ + layout_.headerLength),
                            static_cast<std::size_t>(size));
}

std::optional<util::Data> FrameWalk::uncompressed(util::Bytes content, std::uint32_t lengthAt, std::int32_t size) {
    util::ByteReader reader(content);
    std::uint32_t length = reader.skip(lengthAt) ? reader.u32BigEndian().value_or(0) : 0;
    if (length > kLargestFrame) {
        logClipping("Warning Uncompressed frame");
        length = kLargestFrame;
    }
    util::Bytes stream = content.subspan(std::min(kStreamAt, content.size()));
    stream = stream.first(std::min(stream.size(), static_cast<std::size_t>(std::max(size, 0))));
    FrameInflater::Outcome outcome = inflater_.inflate(stream, length);
    if (outcome.result == InflateResult::done) return std::move(outcome.body);
    logInflateFailure(outcome.result, getFrameID());
    return std::nullopt;
}

std::optional<util::Data> FrameWalk::formattedBody(const util::Data& content, const FormatFlags& flags) {
    if (flags.encrypted) {
        note("is encrypted");
        return std::nullopt;
    }
    const bool statesLength = flags.statesLength || flags.compressed;
    const std::size_t fields = (flags.grouped ? 1U : 0U) + (statesLength ? 4U : 0U);
    auto body = fields <= content.size() ? content.slice(fields, content.size() - fields) : std::nullopt;
    if (!body) remark("is too short for what its flags announce");
    if (!body || !flags.compressed) return body;

    const bool lengthComesFirst = layout_.majorVersion == 3;
    util::ByteReader reader(content.bytes().subspan(flags.grouped && !lengthComesFirst ? 1 : 0));
    const std::size_t length = lengthComesFirst ? *reader.u32BigEndian() : synchsafe(*reader.take(4));
    FrameInflater::Outcome outcome = inflater_.inflate(body->bytes(), std::min<std::size_t>(length, kLargestFrame));
    // The stated length may be a lie, or a plain number where a synchsafe one is due.
    if (outcome.result != InflateResult::done && length < kLargestFrame)
        outcome = inflater_.inflate(body->bytes(), kLargestFrame);
    if (outcome.result != InflateResult::done) {
        remark("cannot be decompressed");
        return std::nullopt;
    }
    if (outcome.body.size() != length) remark("is not as long as it states");
    return std::move(outcome.body);
}

std::shared_ptr<id3V2Frame> FrameWalk::formattedFrame(const util::Data& content, const FormatFlags& flags,
                                                      std::uint8_t firstFlag, std::uint8_t secondFlag,
                                                      util::Data stored) {
    auto body = formattedBody(content, flags);
    auto frame =
        body ? frameWith(std::move(body), firstFlag, secondFlag)
             : std::make_shared<id3V2Frame>(getFrameID(), firstFlag, secondFlag, layout_.majorVersion, dialect());
    frame->keepStored(std::move(stored));
    return frame;
}

std::shared_ptr<id3V2Frame> FrameWalk::frameWith(std::optional<util::Data>&& body, std::uint8_t firstFlag,
                                                 std::uint8_t secondFlag) {
    if (!body) return nullptr;
    if (!block_ || block_->size() == block_->capacity()) {
        block_ = std::make_shared<std::vector<id3V2Frame>>();
        block_->reserve(kFramesInBlock);  // what it has room for stays where it is
    }
    id3V2Frame& frame =
        block_->emplace_back(*std::move(body), getFrameID(), firstFlag, secondFlag, layout_.majorVersion, dialect());
    return {block_, &frame};
}

std::string FrameWalk::remarkOf(std::string_view words) const {
    return "frame " + getFrameID().text() + " " + std::string(words);
}

}  // namespace quillet
