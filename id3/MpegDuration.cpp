#include "id3/MpegDuration.hpp"

#include <optional>

#include "id3/Limits.hpp"
#include "id3/MpegFrameCount.hpp"
#include "id3/MpegStreamHeader.hpp"
#include "id3/TrailingTags.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

/// The length of a frame of this stream at the lowest or at the highest bit rate of layer 3.
std::uint64_t shortestFrame(MpegFrameHeader frame) {
    frame.bitRate = frame.version == 1 ? 32 : 8;
    frame.padding = false;
    return frame.frameLength();
}

std::uint64_t longestFrame(MpegFrameHeader frame) {
    frame.bitRate = frame.version == 1 ? 320 : 160;
    frame.padding = true;
    return frame.frameLength();
}

/// Whether `header` can be true of a stream that takes `bytes` with the frame that holds the header.
bool fits(const MpegStreamHeader& header, const MpegFrameHeader& first, std::uint64_t bytes) {
    if (header.frames == 0) return false;
    const std::uint64_t own = first.frameLength();
    if (header.bytes != 0 && bytes != header.bytes && bytes != header.bytes + own) return false;
    return bytes >= header.frames * shortestFrame(first) && bytes <= own + header.frames * longestFrame(first);
}

/// Kilobits per second, rounded.
std::int32_t averageBitRate(std::uint64_t bytes, std::uint64_t samples, std::int32_t frequency) {
    const std::uint64_t divisor = samples * 1000;
    if (divisor == 0) return 0;
    const std::uint64_t rate = (bytes * 8 * static_cast<std::uint64_t>(frequency) + divisor / 2) / divisor;
    return util::narrow<std::int32_t>(rate).value_or(0);
}

/// A constant bit rate is that of the frame behind the header's own, which may need another.
std::int32_t secondBitRate(const MpegFrameHeader& first, util::Bytes frameBytes) {
    if (frameBytes.size() < first.frameLength()) return first.bitRate;
    const auto second = MpegFrameHeader::decode(frameBytes.subspan(first.frameLength()), kStandardDialect);
    return second && second->isValid() && second->continues(first) ? second->bitRate : first.bitRate;
}

std::uint64_t millisecondsOf(std::uint64_t samples, std::int32_t frequency) {
    const auto divisor = static_cast<std::uint64_t>(frequency);
    return (samples * 1000 + divisor / 2) / divisor;
}

MpegDuration fromHeader(const MpegStreamHeader& header, const MpegFrameHeader& first, util::Bytes frameBytes,
                        std::uint64_t bytes, Remarks& remarks) {
    MpegDuration duration;
    duration.source = header.source;
    duration.frames = header.frames;
    duration.bytes = bytes;
    const std::uint64_t samples = header.frames * static_cast<std::uint64_t>(first.samplesPerFrame());
    const std::uint64_t silence = header.encoderDelay + header.encoderPadding;
    duration.samples = silence < samples ? samples - silence : samples;
    if (silence >= samples) remarks.add("encoder delay and padding are longer than the audio, and were not taken off");
    duration.milliseconds = millisecondsOf(duration.samples, first.frequency);
    const std::uint64_t own = first.frameLength();
    duration.averageBitRate = header.source == DurationSource::info
                                  ? secondBitRate(first, frameBytes)
                                  : averageBitRate(bytes > own ? bytes - own : 0, samples, first.frequency);
    return duration;
}

}  // namespace

MpegDuration MpegDuration::measure(AudioFile& file, std::uint64_t startFrame, const MpegFrameHeader& first,
                                   util::Bytes frameBytes, Remarks& remarks) {
    const auto header = MpegStreamHeader::read(first, frameBytes);
    // An ordinary file answers here, without another read: what is behind its audio is nothing, or an ID3v1 tag.
    const std::uint64_t left = file.size() - startFrame;
    if (header && header->bytes != 0 && (left == header->bytes || left == header->bytes + kV1Length) &&
        fits(*header, first, header->bytes))
        return fromHeader(*header, first, frameBytes, header->bytes, remarks);

    const std::uint64_t end = audioEnd(file, startFrame);
    if (header && fits(*header, first, end - startFrame))
        return fromHeader(*header, first, frameBytes, end - startFrame, remarks);

    const MpegFrameCount count = MpegFrameCount::of(file, startFrame, end, first, remarks);
    if (header && header->frames != 0 && count.frames == header->frames)
        return fromHeader(*header, first, frameBytes, count.bytes + first.frameLength(), remarks);
    MpegDuration duration;
    duration.source = DurationSource::frameCount;
    duration.frames = count.frames;
    duration.samples = count.samples;
    duration.bytes = count.bytes;
    duration.milliseconds = count.earlierMilliseconds;
    if (count.frames != 0) {
        duration.averageBitRate =
            util::narrow<std::int32_t>((count.bitRates + count.frames / 2) / count.frames).value_or(0);
    }
    // The beginning is there, so the encoder's delay is; its padding is where it says only if the end is, too.
    std::uint64_t last = count.samplesOfLastFormat;
    if (header) {
        remarks.add(std::string("the ") + markerOf(header->source) +
                    " header does not fit the file: the frames were counted");
        if (header->encoderDelay < last) {
            last -= header->encoderDelay;
            duration.samples -= header->encoderDelay;
        }
    }
    duration.milliseconds += millisecondsOf(last, count.lastFrequency);
    return duration;
}

const char* nameOf(DurationSource source) {
    switch (source) {
        case DurationSource::none:
            return "";
        case DurationSource::bitRate:
            return "bitRate";
        case DurationSource::xing:
            return "xing";
        case DurationSource::info:
            return "info";
        case DurationSource::vbri:
            return "vbri";
        case DurationSource::frameCount:
            return "frames";
    }
    return "";
}

}  // namespace quillet
