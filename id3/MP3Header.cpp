#include "id3/MP3Header.hpp"

#include <algorithm>
#include <limits>
#include <string_view>

#include "util/ByteReader.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"
#include "util/md5.hpp"

namespace quillet {

namespace {

/// How many bytes must follow the tag, which are also as many as are searched.
constexpr std::uint64_t kLeastAudio = std::uint64_t{2} * kAudioBlock;
/// The second block begins with the first one's last byte, which the first search could not take for a sync.
constexpr std::int32_t kSecondBlock = static_cast<std::int32_t>(kAudioBlock) - 1;
constexpr std::uint32_t kLargestOffset = std::numeric_limits<std::int32_t>::max();
/// More ID3v2 tags one after the other are taken for junk; each costs a read.
constexpr int kMostFurtherTags = 8;

}  // namespace

void MP3Header::releaseAttributes() {
    buffer_ = {};
    hash_.reset();
    startFrame_ = 0;
    bufferOffsetInFile_ = 0;
    xingHeaderFound_ = false;
    numberOfFrames_ = 0;
    seconds_ = 0;
    milliseconds_ = 0;
    durationSource_ = DurationSource::none;
    remarks_.clear();
}

bool MP3Header::openFile(const std::string& path, std::int32_t tagSize) {
    AudioFile file;
    if (file.open(path).ok()) return openFile(file, path, tagSize);
    releaseAttributes();
    startFrame_ = bufferOffsetInFile_ = tagSize;
    if (!dialect_->estimatesDuration) remarks_.add("the file cannot be opened");
    return false;
}

bool MP3Header::openFile(AudioFile& file, const std::string& path, std::int32_t tagSize) {
    releaseAttributes();
    startFrame_ = bufferOffsetInFile_ = tagSize;
    fileSize_ = file.size();
    // An offset past what 32 bits can count to has no room behind it either.
    const bool canHoldAudio = tagSize >= 0 && static_cast<std::uint64_t>(tagSize) + kLeastAudio <= kLargestOffset &&
                              static_cast<std::uint64_t>(tagSize) + kLeastAudio <= fileSize_;
    if (tagSize < 0 || (dialect_->refusesShortAudio && !canHoldAudio))
        return refuse("MP3 header processor file " + path + " to short to process \n\r", "the audio is too short");
    if (!(dialect_->takesAnySync ? findAnySync(file, path) : findValidFrame(file, path))) return false;
    if (dialect_->estimatesDuration) {
        decodeHeader(file);
        if (!holdsFingerprint()) loadBuffer(file, static_cast<std::uint64_t>(startFrame_));
    } else {
        if (!holdsFingerprint()) loadBuffer(file, static_cast<std::uint64_t>(startFrame_));
        decodeHeader(file);
    }
    return true;
}

bool MP3Header::findAnySync(AudioFile& file, const std::string& path) {
    const std::string unreadable = "MP3 header processor could not load data from file " + path + "\n\r";
    if (!loadBuffer(file, static_cast<std::uint64_t>(startFrame_))) return refuse(unreadable, "there is no audio");
    if (findHeader()) return true;
    startFrame_ += kSecondBlock;
    if (!loadBuffer(file, static_cast<std::uint64_t>(startFrame_))) return refuse(unreadable, "there is no audio");
    if (findHeader()) return true;
    return refuse(
        "MP3 header processor could not find a valid MPEG header in frame on two seperate tries, file name: " + path +
            "\n\r",
        "no audio frame was found");
}

bool MP3Header::findHeader() {
    const std::string_view block = util::charactersOf(buffer_.bytes());
    for (std::size_t at = 0; (at = block.find('\xFF', at)) != std::string_view::npos; ++at) {
        if (at + 1 >= block.size()) return false;
        if (static_cast<std::uint8_t>(block[at + 1]) < 0x20) continue;
        startFrame_ += static_cast<std::int32_t>(at);
        return true;
    }
    return false;
}

std::uint64_t MP3Header::passTags(AudioFile& file, std::uint64_t offset) {
    for (int tags = 0; tags < kMostFurtherTags; ++tags) {
        std::array<std::uint8_t, kTagHeaderLength> header;
        if (file.readInto(offset, header) != header.size()) break;
        util::ByteReader reader(header);
        const auto marker = reader.take(3);
        if (!marker || util::charactersOf(*marker) != "ID3") break;
        reader.skip(2);  // the version
        const bool hasFooter = (reader.u8().value_or(0) & 0x10) != 0;
        const util::Bytes size = reader.rest();
        if (std::ranges::any_of(size, [](std::uint8_t byte) { return byte >= 0x80; })) break;
        std::uint64_t length = 0;
        for (const std::uint8_t byte : size) length = length << 7 | byte;
        length += hasFooter ? 2 * kTagHeaderLength : kTagHeaderLength;
        if (length >= fileSize_ - offset) break;
        offset += length;
        remarks_.add("another ID3v2 tag stands before the audio");
    }
    return offset;
}

bool MP3Header::findValidFrame(AudioFile& file, const std::string& path) {
    const auto tagEnd = static_cast<std::uint64_t>(startFrame_);
    std::uint64_t offset = tagEnd;
    if (!loadBuffer(file, offset))
        return refuse("MP3 header processor could not load data from file " + path + "\n\r", "there is no audio");
    if (util::charactersOf(buffer_.bytes()).starts_with("ID3")) offset = passTags(file, offset);
    const std::uint64_t limit = std::min<std::uint64_t>(offset + kLongestAudioSearch, kLargestOffset);
    const std::uint64_t begin = offset;
    while (offset < limit && (offset == tagEnd || loadBuffer(file, offset))) {
        // A block that is not full ends with the file, or where the file has shrunk to.
        const bool atEnd = buffer_.size() < kAudioBlock || offset + kAudioBlock >= fileSize_;
        const auto found = findConfirmedFrame(buffer_.bytes(), atEnd);
        if (found && offset + *found <= kLargestOffset) {
            startFrame_ = static_cast<std::int32_t>(offset + *found);
            if (offset + *found != begin) remarks_.add("bytes that belong to no audio frame were passed over");
            return true;
        }
        if (atEnd) break;
        offset += kAudioBlock - kConfirmationRoom;
    }
    startFrame_ = static_cast<std::int32_t>(tagEnd);
    return refuse("MP3 header processor could not find a valid MPEG header in file " + path,
                  "no audio frame was found");
}

void MP3Header::decodeHeader(AudioFile& file) {
    stream_ = MpegFrameHeader::decode(frameBytes(), *dialect_).value_or(MpegFrameHeader());
    if (!dialect_->estimatesDuration) return measureDuration(file);
    estimateDuration();
    probeXing();
    // Wraps around for a negative time, as the time does.
    milliseconds_ = static_cast<std::uint64_t>(std::int64_t{seconds_} * 1000);
}

void MP3Header::estimateDuration() {
    if (stream_.bitRate < 1) return;
    const std::uint64_t bits = (fileSize_ - static_cast<std::uint64_t>(startFrame_)) * 8;
    seconds_ = util::lowBits<std::int32_t>(bits / (static_cast<std::uint64_t>(stream_.bitRate) * 1000));
    durationSource_ = DurationSource::bitRate;
}

void MP3Header::probeXing() {
    if (stream_.version == 0) return;
    // Meant so: MPEG 2 is looked at four or one byte off, and finds no Xing header of a known encoder.
    const bool mono = stream_.channels == 3;
    const std::size_t position = stream_.version == 1 ? (mono ? 21 : 36) : (mono ? 14 : 17);
    util::ByteReader reader(frameBytes());
    if (!reader.skip(position)) return;
    const auto marker = reader.take(4);
    if (!marker || util::charactersOf(*marker) != "Xing") return;
    const auto flags = reader.u32BigEndian();
    if (!flags) return;
    if ((*flags & 1) == 0) {
        xingHeaderFound_ = true;
        return;
    }
    const auto count = reader.u32BigEndian();
    if (!count) return;
    xingHeaderFound_ = true;
    durationSource_ = DurationSource::xing;
    // Meant so: one factor for all frequencies, and the product wraps at 32 bits.
    numberOfFrames_ = util::lowBits<std::int32_t>(*count);
    seconds_ = util::lowBits<std::int32_t>(*count * 26) / 994;
    const std::uint64_t divisor = static_cast<std::uint64_t>(std::int64_t{numberOfFrames_}) * 26;
    const std::uint64_t bits = (fileSize_ - static_cast<std::uint64_t>(startFrame_)) * 7952;
    stream_.bitRate = divisor == 0 ? 0 : util::lowBits<std::int32_t>((bits / divisor + 500) / 1000);
}

void MP3Header::measureDuration(AudioFile& file) {
    const MpegFrameHeader first =
        dialect_->readsChannelsFromWholeByte
            ? MpegFrameHeader::decode(frameBytes(), kStandardDialect).value_or(MpegFrameHeader())
            : stream_;
    if (!first.isValid()) return;  // where any sync is taken for a frame
    const auto start = static_cast<std::uint64_t>(startFrame_);
    const MpegDuration duration = MpegDuration::measure(file, start, first, frameBytes(), remarks_);
    durationSource_ = duration.source;
    milliseconds_ = duration.milliseconds;
    constexpr auto kMost = std::numeric_limits<std::int32_t>::max();
    seconds_ = util::narrow<std::int32_t>((milliseconds_ + 500) / 1000).value_or(kMost);
    numberOfFrames_ = util::narrow<std::int32_t>(duration.frames).value_or(kMost);
    xingHeaderFound_ = duration.source == DurationSource::xing || duration.source == DurationSource::info;
    if (duration.averageBitRate > 0) stream_.bitRate = duration.averageBitRate;
}

bool MP3Header::loadBuffer(AudioFile& file, std::uint64_t offset) {
    buffer_ = file.read(offset, kAudioBlock);
    bufferOffsetInFile_ = static_cast<std::int32_t>(std::min<std::uint64_t>(offset, kLargestOffset));
    return !buffer_.empty();
}

util::Bytes MP3Header::frameBytes() const {
    util::ByteReader reader(buffer_.bytes());
    return reader.skip(static_cast<std::size_t>(startFrame_ - bufferOffsetInFile_)) ? reader.rest() : util::Bytes();
}

bool MP3Header::refuse(const std::string& line, const char* remark) {
    buffer_ = {};
    util::log(line);
    if (!dialect_->estimatesDuration) remarks_.add(remark);
    return false;
}

std::array<std::uint8_t, 16> MP3Header::hash() const {
    md5_state_t state;
    md5_init(&state);
    util::ByteReader reader(frameBytes());
    if (const auto audio = reader.take(kFingerprintLength))
        md5_append(&state, audio->data(), static_cast<std::int32_t>(audio->size()));
    std::array<std::uint8_t, 16> digest;
    md5_finish(&state, digest.data());
    return digest;
}

std::optional<std::array<std::uint8_t, 16>> MP3Header::getHash() {
    if (!holdsFingerprint()) return std::nullopt;
    if (!hash_) hash_ = hash();
    return hash_;
}

}  // namespace quillet
