#include "id3/MpegFrameCount.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

#include "id3/MpegStreamHeader.hpp"

namespace quillet {

namespace {

constexpr std::size_t kChunk = std::size_t{256} << 10;

/// A part of the file that moves on with the reader.
class Window {
  public:
    Window(const AudioFile& file, std::uint64_t end)
        : file_(file), end_(end), buffer_(new(std::nothrow) std::uint8_t[kChunk]) {}

    /// From `position` on: a good deal more than kConfirmationRoom, unless the audio ends. Empty at its end.
    util::Bytes from(std::uint64_t position) {
        if (!atEnd_ && position + 2 * kConfirmationRoom > start_ + filled_) {
            const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(end_ - position, kChunk));
            start_ = position;
            filled_ = buffer_ ? file_.readInto(position, {buffer_.get(), wanted}) : 0;
            // Fewer bytes than there should be: the file has shrunk, and ends here.
            atEnd_ = filled_ < wanted || position + wanted == end_;
        }
        const auto passed = static_cast<std::size_t>(std::min<std::uint64_t>(position - start_, filled_));
        return util::Bytes(buffer_.get(), filled_).subspan(passed);
    }
    /// Whether the audio ends with what `from` answered last.
    bool atEnd() const { return atEnd_; }

  private:
    const AudioFile& file_;
    std::uint64_t end_;
    std::unique_ptr<std::uint8_t[]> buffer_;
    std::uint64_t start_ = 0;
    std::size_t filled_ = 0;
    bool atEnd_ = false;
};

void add(MpegFrameCount& count, const MpegFrameHeader& header, util::Bytes frame) {
    if (MpegStreamHeader::read(header, frame)) return;
    const auto samples = static_cast<std::uint64_t>(header.samplesPerFrame());
    ++count.frames;
    count.samples += samples;
    count.samplesOfLastFormat += samples;
    count.bytes += header.frameLength();
    count.bitRates += static_cast<std::uint64_t>(header.bitRate);
}

void changeFormat(MpegFrameCount& count, const MpegFrameHeader& header) {
    const auto frequency = static_cast<std::uint64_t>(count.lastFrequency);
    count.earlierMilliseconds += (count.samplesOfLastFormat * 1000 + frequency / 2) / frequency;
    count.samplesOfLastFormat = 0;
    count.lastFrequency = header.frequency;
}

}  // namespace

MpegFrameCount MpegFrameCount::of(const AudioFile& file, std::uint64_t start, std::uint64_t end,
                                  const MpegFrameHeader& first, Remarks& remarks) {
    MpegFrameCount count;
    count.lastFrequency = first.frequency;
    MpegFrameHeader format = first;
    Window window(file, end);
    std::uint64_t position = start;
    bool inStep = true;  // a frame or a search led here; behind junk that was passed over a header proves nothing
    while (position < end) {
        const util::Bytes bytes = window.from(position);
        if (bytes.empty()) break;
        const auto header = MpegFrameHeader::decode(bytes, kStandardDialect);
        if (inStep && header && header->isValid() && header->continues(format)) {
            const std::uint32_t length = header->frameLength();
            if (length > bytes.size()) {
                remarks.add("the last audio frame is cut");
                break;
            }
            add(count, *header, bytes.first(length));
            position += length;
            continue;
        }
        const auto found = findConfirmedFrame(bytes, window.atEnd());
        const std::size_t passed = found ? *found : bytes.size() - (window.atEnd() ? 0 : kConfirmationRoom);
        if (passed > 0) remarks.add("bytes that belong to no audio frame were passed over");
        position += passed;
        inStep = found.has_value();
        if (!found) continue;
        const auto next = MpegFrameHeader::decode(bytes.subspan(passed), kStandardDialect);
        if (!next || next->continues(format)) continue;
        remarks.add("the audio changes its format");
        changeFormat(count, *next);
        format = *next;
    }
    return count;
}

}  // namespace quillet
