#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet {

/// The largest frame body, and the largest decompressed one, in bytes.
inline constexpr std::uint32_t kLargestFrame = 10'000'000;
/// The most frames that are read of a tag: memory is to follow from what a tag holds, not from how often it says so.
inline constexpr std::size_t kMostFrames = 100'000;
/// What a decoded synchsafe size is capped at: 2^28, one more than four such bytes can say.
inline constexpr std::uint32_t kLargestPackedLength = 0x10000000;

/// How many UTF-16 code units of a genre text are looked at in the system dialect, where each closing parenthesis can
/// repeat all before it.
inline constexpr std::size_t kLongestGenreText = 4096;

/// Header sizes in bytes (ID3v2.2.0 3.1, 3.2; ID3v2.4.0 structure 3.1, 4).
inline constexpr std::uint32_t kTagHeaderLength = 10;
inline constexpr std::uint32_t kExtendedSizeLength = 4;  ///< the size field of an extended header
inline constexpr std::uint32_t kFrameHeaderLength20 = 6;
inline constexpr std::uint32_t kFrameHeaderLength = 10;

/// The flags of a tag's header (ID3v2.2.0 3.1, ID3v2.4.0 structure 3.1).
inline constexpr std::uint32_t kTagUnsynchronised = 0x80;
inline constexpr std::uint32_t kTagExtendedOrCompressed = 0x40;
inline constexpr std::uint32_t kTagExperimental = 0x20;
inline constexpr std::uint32_t kTagFooter = 0x10;

/// How much of a file is searched for a tag header at a time: the beginning alone, or block by block.
inline constexpr std::uint32_t kSearchBlock = 1024;
inline constexpr std::uint32_t kExhaustiveSearchBlock = 8192;

/// How much audio an MP3Header looks at, and how much of it the fingerprint covers.
inline constexpr std::uint32_t kAudioBlock = 8192;
inline constexpr std::uint32_t kFingerprintLength = 6144;
/// How far behind the tag a first frame is looked for, where not just the first two blocks are.
inline constexpr std::uint32_t kLongestAudioSearch = std::uint32_t{1} << 20;

/// The size of an ID3v1 record.
inline constexpr std::size_t kV1Length = 128;
/// The genre number of a record that has none; some taggers take it over into a v2 tag.
inline constexpr std::uint8_t kNoGenre = 255;

/// The first read of a file: most tags without a picture, and the beginning of the audio behind them.
inline constexpr std::size_t kHeadLength = 12288;
/// A read buffer above this is given back when the next file is opened.
inline constexpr std::size_t kLargestKeptBuffer = std::size_t{8} << 20;

}  // namespace quillet
