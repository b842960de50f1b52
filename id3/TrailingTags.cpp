#include "id3/TrailingTags.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <span>
#include <string_view>

#include "id3/Limits.hpp"
#include "util/ByteReader.hpp"

namespace quillet {

namespace {

/// A Lyrics3v1 text has at most 5,100 bytes between its two marks.
constexpr std::size_t kLongestOldLyrics = 5100;
/// Enough of the end for every tag whose length stands in its last bytes, and for an old Lyrics3 tag whole.
constexpr std::size_t kTailLength = 5376;
constexpr std::size_t kExtendedV1Length = 227;
/// More tags one after the other are not taken off; each costs a read.
constexpr int kMostTags = 8;

constexpr std::string_view kV1Marker = "TAG";
constexpr std::string_view kExtendedV1Marker = "TAG+";
constexpr std::string_view kApeMarker = "APETAGEX";
constexpr std::string_view kLyricsBegin = "LYRICSBEGIN";
constexpr std::string_view kLyricsEnd = "LYRICSEND";
constexpr std::string_view kLyrics200 = "LYRICS200";
constexpr std::string_view kFooterMarker = "3DI";

bool standsBeforeEnd(std::string_view tail, std::size_t length, std::string_view marker) {
    return tail.size() >= length && tail.substr(tail.size() - length).starts_with(marker);
}

/// The length that an APEv2 footer gives its tag: without the tag's own header, which a flag announces.
std::uint64_t apeLength(std::string_view tail) {
    constexpr std::size_t kFooterLength = 32;
    constexpr std::uint32_t kHasHeader = 0x80000000;
    if (!standsBeforeEnd(tail, kFooterLength, kApeMarker)) return 0;
    util::ByteReader reader(util::bytesOf(tail.substr(tail.size() - kFooterLength)));
    reader.skip(kApeMarker.size() + 4);  // and the version
    const std::uint64_t length = reader.u32LittleEndian().value_or(0);
    reader.skip(4);  // the number of items
    const bool hasHeader = (reader.u32LittleEndian().value_or(0) & kHasHeader) != 0;
    return length < kFooterLength ? 0 : length + (hasHeader ? kFooterLength : 0);
}

std::uint64_t lyricsLength(std::string_view tail) {
    constexpr std::size_t kSizeDigits = 6;
    const std::size_t behind = kSizeDigits + kLyrics200.size();
    if (tail.size() >= behind && tail.ends_with(kLyrics200)) {
        const std::string_view digits = tail.substr(tail.size() - behind, kSizeDigits);
        std::uint64_t length = 0;
        const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), length);
        return parsed.ptr == digits.data() + digits.size() ? length + behind : 0;
    }
    if (!tail.ends_with(kLyricsEnd)) return 0;
    const std::size_t longest = kLyricsBegin.size() + kLongestOldLyrics + kLyricsEnd.size();
    const std::string_view lyrics = tail.substr(tail.size() - std::min(tail.size(), longest));
    const std::size_t begin = lyrics.rfind(kLyricsBegin);
    return begin == std::string_view::npos ? 0 : lyrics.size() - begin;
}

/// The length of an appended ID3v2.4 tag by its footer (ID3v2.4.0 structure 3.4).
std::uint64_t footedTagLength(std::string_view tail) {
    if (!standsBeforeEnd(tail, kTagHeaderLength, kFooterMarker)) return 0;
    util::ByteReader reader(util::bytesOf(tail.substr(tail.size() - kTagHeaderLength)));
    reader.skip(6);
    std::uint64_t length = 0;
    while (const auto byte = reader.u8()) {
        if (*byte >= 0x80) return 0;
        length = length << 7 | *byte;
    }
    return length + std::uint64_t{2} * kTagHeaderLength;
}

/// The length of the tag that ends where `tail` ends; 0 where none does.
std::uint64_t trailingTagLength(std::string_view tail) {
    if (standsBeforeEnd(tail, kV1Length, kV1Marker)) return kV1Length;
    if (standsBeforeEnd(tail, kExtendedV1Length, kExtendedV1Marker)) return kExtendedV1Length;
    if (const std::uint64_t length = apeLength(tail); length != 0) return length;
    if (const std::uint64_t length = lyricsLength(tail); length != 0) return length;
    return footedTagLength(tail);
}

}  // namespace

std::uint64_t audioEnd(const AudioFile& file, std::uint64_t start) {
    std::array<std::uint8_t, kTailLength> buffer;
    std::uint64_t end = std::max(start, file.size());
    for (int tags = 0; tags < kMostTags; ++tags) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(end - start, buffer.size()));
        const auto tail = std::span(buffer).first(count);
        if (file.readInto(end - count, tail) != count) break;
        const std::uint64_t length = trailingTagLength(util::charactersOf(tail));
        if (length == 0 || length > end - start) break;
        end -= length;
    }
    return end;
}

bool beginsTrailingTag(util::Bytes bytes) {
    const std::string_view text = util::charactersOf(bytes);
    return text.starts_with(kV1Marker) || text.starts_with(kApeMarker) || text.starts_with(kLyricsBegin) ||
           text.starts_with("ID3");
}

}  // namespace quillet
