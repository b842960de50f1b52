#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "id3/AudioFile.hpp"
#include "id3/Dialect.hpp"
#include "id3/Limits.hpp"
#include "id3/MpegDuration.hpp"
#include "id3/MpegFrameHeader.hpp"
#include "id3/Remarks.hpp"
#include "util/Data.hpp"

namespace quillet {

/// The first MPEG audio frame of a file, and what it tells of the stream.
class MP3Header {
  public:
    explicit MP3Header(const Dialect& dialect = kSystemDialect) : dialect_(&dialect) {}

    /// -openFile:withTag:  Finds and decodes the first frame behind `tagSize`, the offset at which the audio begins.
    /// False, with a log line for all but a file that cannot be opened, where there is none; then version, layer, bit
    /// rate, frequency, channels and file size stay what they were set to last.
    bool openFile(const std::string& path, std::int32_t tagSize);
    /// The same for a file that is open already; `path` is for the log.
    bool openFile(AudioFile& file, const std::string& path, std::int32_t tagSize);

    /// -fileSize  The low 32 bits.
    std::uint32_t fileSize() const { return static_cast<std::uint32_t>(fileSize_); }
    std::int32_t getSeconds() const { return seconds_; }
    std::int32_t getVersion() const { return stream_.version; }
    std::int32_t getLayer() const { return stream_.layer; }
    std::int32_t getBitRate() const { return stream_.bitRate; }
    std::int32_t getFrequency() const { return stream_.frequency; }
    std::int32_t getChannels() const { return stream_.channels; }
    std::int32_t getNumberOfFrames() const { return numberOfFrames_; }
    bool getXINGHeaderFound() const { return xingHeaderFound_; }

    /// -getSecondsString  "7", "4:07", "1:2:03" or "1:0:0:07": only the last field is padded.
    std::string getSecondsString() const;
    std::string getVersionString() const;    ///< "MPEG 1", "MPEG 2", "MPEG 2.5", else "UNKNOWN"
    std::string getLayerString() const;      ///< "Layer 1" to "Layer 3", else "UNKNOWN"
    std::string getBitRateString() const;    ///< "128 kbps"
    std::string getFrequencyString() const;  ///< "44,100 kHz"; the part behind the comma is not padded
    std::string getChannelString() const;    ///< "Stereo", "Joined Stereo", "Dual Channel", "Single Channel", "UNKNOWN"
    /// -getEncodingString  "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo."
    std::string getEncodingString() const;

    /// -hash  The MD5 of the first 6,144 bytes of audio. Only where getHash would answer one.
    std::array<std::uint8_t, 16> hash() const;
    /// -getHash  The same, kept; nullopt where so many bytes were not read.
    std::optional<std::array<std::uint8_t, 16>> getHash();

    /// Playing time in milliseconds: the whole seconds in the system dialect, exact in the standard one.
    std::uint64_t getMilliseconds() const { return milliseconds_; }
    /// Where the playing time comes from.
    DurationSource getDurationSource() const { return durationSource_; }
    /// Where the first frame begins.
    std::int32_t getStartFrame() const { return startFrame_; }
    /// Why openFile answered false, or what of the stream is not as it says; in the standard dialect.
    const Remarks& remarks() const { return remarks_; }

  private:
    void releaseAttributes();
    /// Whatever looks like a frame sync in the first two blocks.
    bool findAnySync(AudioFile& file, const std::string& path);
    bool findHeader();
    /// The first confirmed frame behind the tag, over many blocks.
    bool findValidFrame(AudioFile& file, const std::string& path);
    /// Past further ID3v2 tags at `offset`.
    std::uint64_t passTags(AudioFile& file, std::uint64_t offset);
    void decodeHeader(AudioFile& file);
    void estimateDuration();
    void probeXing();
    void measureDuration(AudioFile& file);
    /// kAudioBlock bytes from `offset`; false where there are none.
    bool loadBuffer(AudioFile& file, std::uint64_t offset);
    /// What the buffer holds from the frame header on.
    util::Bytes frameBytes() const;
    bool holdsFingerprint() const { return frameBytes().size() >= kFingerprintLength; }
    /// Lets go of the buffer, logs `line` and adds `remark` in the standard dialect; false.
    bool refuse(const std::string& line, const char* remark);

    const Dialect* dialect_;
    util::Data buffer_;  ///< 8,192 bytes, fewer at the end of the file
    std::optional<std::array<std::uint8_t, 16>> hash_;
    std::int32_t startFrame_ = 0;  ///< file offset of the frame header
    std::int32_t bufferOffsetInFile_ = 0;
    std::uint64_t fileSize_ = 0;
    MpegFrameHeader stream_;
    std::int32_t seconds_ = 0;
    std::int32_t numberOfFrames_ = 0;  ///< from a Xing header (or counted, in the standard dialect); 0 if none
    bool xingHeaderFound_ = false;
    std::uint64_t milliseconds_ = 0;
    DurationSource durationSource_ = DurationSource::none;
    Remarks remarks_;
};

}  // namespace quillet
