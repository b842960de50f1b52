#include "util/Text.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <limits>

#include "util/ByteReader.hpp"

namespace quillet::util {

namespace {

constexpr char32_t kReplacement = 0xfffd;
constexpr std::uint16_t kByteOrderMark = 0xfeff;
/// Bytes of a text that is decoded without its length being counted first.
constexpr std::size_t kShortText = 384;

constexpr bool isSurrogate(char32_t unit) {
    return unit >= 0xd800 && unit <= 0xdfff;
}
constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xd800 && unit <= 0xdbff;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xdc00 && unit <= 0xdfff;
}

/// How many bytes of UTF-8 one UTF-16 code unit becomes at most; exactly so many, but for surrogate pairs.
constexpr std::size_t utf8LengthOfUnit(char32_t unit) {
    return 1U + (unit >= 0x80) + (unit >= 0x800);
}

/// Text that is written in place: the decoders know a bound of its length before they begin. A short one is written
/// beside the string and copied into it, so that the string is no longer than the text.
class TextWriter {
  public:
    explicit TextWriter(std::size_t longest) : isShort_(longest <= kShortText) {
        if (!isShort_) text_.resize(longest);
        next_ = begin();
    }
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    void putASCII(std::uint8_t character) { *next_++ = static_cast<char>(character); }
    void put(char32_t character) {
        if (character < 0x80) {
            *next_++ = static_cast<char>(character);
        } else if (character < 0x800) {
            *next_++ = static_cast<char>(0xc0 | character >> 6);
            putContinuation(character);
        } else if (character < 0x10000) {
            *next_++ = static_cast<char>(0xe0 | character >> 12);
            putContinuation(character >> 6);
            putContinuation(character);
        } else {
            *next_++ = static_cast<char>(0xf0 | character >> 18);
            putContinuation(character >> 12);
            putContinuation(character >> 6);
            putContinuation(character);
        }
    }
    void putASCII(Bytes characters) {
        std::memcpy(next_, characters.data(), characters.size());
        next_ += characters.size();
    }
    void putLatin1(std::uint8_t character) {
        if (character < 0x80) return putASCII(character);
        *next_++ = static_cast<char>(0xc0 | character >> 6);
        putContinuation(character);
    }
    std::string finish() {
        const auto length = static_cast<std::size_t>(next_ - begin());
        if (isShort_) return std::string(short_.data(), length);
        text_.resize(length);
        return std::move(text_);
    }

  private:
    void putContinuation(char32_t bits) { *next_++ = static_cast<char>(0x80 | (bits & 0x3f)); }

    char* begin() { return isShort_ ? short_.data() : text_.data(); }

    bool isShort_;
    std::array<char, kShortText> short_;  // not initialised
    std::string text_;
    char* next_;
};

/// How many ASCII characters `bytes` begins with; eight at a time, since most text is nothing else.
std::size_t asciiLength(Bytes bytes) {
    constexpr std::size_t kAtOnce = 8;
    const auto areASCII = [](Bytes eight) {
        std::uint64_t word = 0;
        std::memcpy(&word, eight.data(), sizeof word);
        return (word & 0x8080808080808080) == 0;
    };
    Bytes rest = bytes;
    while (rest.size() >= kAtOnce && areASCII(rest.first(kAtOnce))) rest = rest.subspan(kAtOnce);
    if (rest.size() < kAtOnce && bytes.size() >= kAtOnce && areASCII(bytes.last(kAtOnce))) return bytes.size();
    while (!rest.empty() && rest.front() < 0x80) rest = rest.subspan(1);
    return bytes.size() - rest.size();
}

/// What a lead byte asks of the bytes behind it (Unicode 15, table 3-7). The second byte has a range of its own, which
/// shuts out overlong forms, surrogates and what is above U+10FFFF.
struct Lead {
    int following = 0;  ///< 0 for a byte that begins nothing
    std::uint8_t lowestSecond = 0x80;
    std::uint8_t highestSecond = 0xbf;
    std::uint8_t bits = 0;
};

constexpr Lead leadFromByte(std::uint8_t byte) {
    Lead lead;
    if (byte >= 0xc2 && byte <= 0xdf) lead = {1, 0x80, 0xbf, static_cast<std::uint8_t>(byte & 0x1f)};
    if (byte >= 0xe0 && byte <= 0xef) lead = {2, 0x80, 0xbf, static_cast<std::uint8_t>(byte & 0x0f)};
    if (byte >= 0xf0 && byte <= 0xf4) lead = {3, 0x80, 0xbf, static_cast<std::uint8_t>(byte & 0x07)};
    if (byte == 0xe0) lead.lowestSecond = 0xa0;
    if (byte == 0xed) lead.highestSecond = 0x9f;
    if (byte == 0xf0) lead.lowestSecond = 0x90;
    if (byte == 0xf4) lead.highestSecond = 0x8f;
    return lead;
}

/// Takes the next character, or one maximal ill-formed part, which is nullopt. The reader must not be at its end.
std::optional<char32_t> takeUTF8(ByteReader& reader) {
    const std::uint8_t first = reader.rest().front();
    reader.skip(1);
    if (first < 0x80) return first;
    const Lead lead = leadFromByte(first);
    if (lead.following == 0) return std::nullopt;

    char32_t character = lead.bits;
    std::uint8_t lowest = lead.lowestSecond;
    std::uint8_t highest = lead.highestSecond;
    for (int i = 0; i < lead.following; ++i) {
        if (reader.atEnd()) return std::nullopt;
        const std::uint8_t next = reader.rest().front();
        if (next < lowest || next > highest) return std::nullopt;
        reader.skip(1);
        character = character << 6 | (next & 0x3fU);
        lowest = 0x80;
        highest = 0xbf;
    }
    return character;
}

template <ByteOrder order>
std::optional<std::uint16_t> takeUnit(ByteReader& reader) {
    return order == ByteOrder::bigEndian ? reader.u16BigEndian() : reader.u16LittleEndian();
}

/// Takes two code units that make a character, or one that makes none; the reader must have a surrogate next.
template <ByteOrder order>
char32_t takeSurrogates(ByteReader& reader) {
    const std::uint16_t first = takeUnit<order>(reader).value_or(0);
    ByteReader behind = reader;
    const auto second = takeUnit<order>(behind);
    if (!isHighSurrogate(first) || !second || !isLowSurrogate(*second)) return kReplacement;
    reader = behind;
    return 0x10000U + ((first & 0x3ffU) << 10) + (*second & 0x3ffU);
}

constexpr std::size_t kUnitsAtOnce = 4;

/// Whether `bytes` begins with four code units that are ASCII characters; most text is nothing else.
template <ByteOrder order>
bool beginsWithASCIIUnits(Bytes bytes) {
    constexpr std::uint8_t high = order == ByteOrder::bigEndian ? 0xff : 0x80;
    constexpr std::uint8_t low = order == ByteOrder::bigEndian ? 0x80 : 0xff;
    constexpr auto kNotASCII = std::bit_cast<std::uint64_t>(std::array{high, low, high, low, high, low, high, low});
    std::uint64_t units = 0;
    if (bytes.size() < sizeof units) return false;
    std::memcpy(&units, bytes.data(), sizeof units);
    return (units & kNotASCII) == 0;
}

/// The first code unit; there must be one.
template <ByteOrder order>
std::uint16_t firstUnit(Bytes bytes) {
    std::uint16_t unit = 0;
    std::memcpy(&unit, bytes.data(), sizeof unit);
    constexpr bool swapped = (order == ByteOrder::bigEndian) != (std::endian::native == std::endian::big);
    return swapped ? static_cast<std::uint16_t>(unit << 8 | unit >> 8) : unit;
}

/// How long the text becomes at most; counted only where much memory is at stake.
template <ByteOrder order>
std::size_t longestUTF8(Bytes bytes) {
    const std::size_t bound = utf8LengthOfUnit(kReplacement) * ((bytes.size() + 1) / 2);
    if (bound <= kShortText) return bound;
    std::size_t longest = utf8LengthOfUnit(kReplacement);  // for an odd last byte
    while (bytes.size() >= 2) {
        const bool ascii = beginsWithASCIIUnits<order>(bytes);
        longest += ascii ? kUnitsAtOnce : utf8LengthOfUnit(firstUnit<order>(bytes));
        bytes = bytes.subspan(ascii ? 2 * kUnitsAtOnce : 2);
    }
    return longest;
}

template <ByteOrder order>
std::string decodeUnits(Bytes bytes) {
    TextWriter text(longestUTF8<order>(bytes));
    while (bytes.size() >= 2) {
        if (beginsWithASCIIUnits<order>(bytes)) {
            const Bytes units = bytes.first(2 * kUnitsAtOnce);
            for (std::size_t i = order == ByteOrder::bigEndian ? 1 : 0; i < units.size(); i += 2)
                text.putASCII(units[i]);
            bytes = bytes.subspan(units.size());
        } else if (const std::uint16_t unit = firstUnit<order>(bytes); !isSurrogate(unit)) {
            text.put(unit);
            bytes = bytes.subspan(2);
        } else {
            ByteReader reader(bytes);
            text.put(takeSurrogates<order>(reader));
            bytes = reader.rest();
        }
    }
    if (!bytes.empty()) text.put(kReplacement);
    return text.finish();
}

constexpr std::size_t unitsOf(char32_t character) {
    return character < 0x10000 ? 1 : 2;
}

/// Unicode 15, property White_Space.
constexpr bool isWhiteSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0d) || c == 0x20 || c == 0x85 || c == 0xa0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f || c == 0x205f || c == 0x3000;
}

}  // namespace

std::string decodeLatin1(Bytes bytes) {
    const std::size_t ascii = asciiLength(bytes);
    if (ascii == bytes.size()) return std::string(charactersOf(bytes));
    TextWriter text(2 * bytes.size() - ascii);
    text.putASCII(bytes.first(ascii));
    for (const std::uint8_t byte : bytes.subspan(ascii)) text.putLatin1(byte);
    return text.finish();
}

std::optional<std::string> encodeLatin1(std::string_view utf8) {
    std::string encoded;
    for (ByteReader reader(bytesOf(utf8)); !reader.atEnd();) {
        const auto character = takeUTF8(reader);
        if (!character || *character > 0xff) return std::nullopt;
        encoded += static_cast<char>(*character);
    }
    return encoded;
}

std::string encodeLatin1Lossy(std::string_view utf8) {
    if (asciiLength(bytesOf(utf8)) == utf8.size()) return std::string(utf8);
    std::string encoded;
    for (ByteReader reader(bytesOf(utf8)); !reader.atEnd();) {
        const char32_t character = takeUTF8(reader).value_or(kReplacement);
        encoded += character > 0xff ? '?' : static_cast<char>(character);
    }
    return encoded;
}

std::string decodeUTF16(Bytes bytes, ByteOrder unmarked) {
    ByteReader reader(bytes);
    ByteOrder order = unmarked;
    if (ByteReader marked = reader; marked.u16BigEndian() == kByteOrderMark) {
        order = ByteOrder::bigEndian;
        reader = marked;
    } else if (marked = reader; marked.u16LittleEndian() == kByteOrderMark) {
        order = ByteOrder::littleEndian;
        reader = marked;
    }
    return order == ByteOrder::bigEndian ? decodeUnits<ByteOrder::bigEndian>(reader.rest())
                                         : decodeUnits<ByteOrder::littleEndian>(reader.rest());
}

std::string encodeUTF16(std::string_view utf8, ByteOrder order) {
    std::string encoded;
    encoded.reserve(2 * utf8.size());
    const auto append = [&](char32_t unit) {
        const char high = static_cast<char>(unit >> 8 & 0xff);
        const char low = static_cast<char>(unit & 0xff);
        encoded += order == ByteOrder::bigEndian ? high : low;
        encoded += order == ByteOrder::bigEndian ? low : high;
    };
    for (ByteReader reader(bytesOf(utf8)); !reader.atEnd();) {
        const char32_t character = takeUTF8(reader).value_or(kReplacement);
        if (unitsOf(character) == 1) {
            append(character);
        } else {
            append(0xd800U + ((character - 0x10000U) >> 10));
            append(0xdc00U + (character & 0x3ffU));
        }
    }
    return encoded;
}

std::string decodeUTF8(Bytes bytes) {
    if (isUTF8(charactersOf(bytes))) return std::string(charactersOf(bytes));
    TextWriter text(utf8LengthOfUnit(kReplacement) * bytes.size());
    for (ByteReader reader(bytes); !reader.atEnd();) text.put(takeUTF8(reader).value_or(kReplacement));
    return text.finish();
}

bool isUTF8(std::string_view text) {
    ByteReader reader(bytesOf(text));
    reader.skip(asciiLength(reader.rest()));
    while (!reader.atEnd()) {
        if (!takeUTF8(reader)) return false;
    }
    return true;
}

std::size_t utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    ByteReader reader(bytesOf(utf8));
    units = asciiLength(reader.rest());
    reader.skip(units);
    while (!reader.atEnd()) units += unitsOf(takeUTF8(reader).value_or(kReplacement));
    return units;
}

std::string_view utf16Prefix(std::string_view utf8, std::size_t units) {
    ByteReader reader(bytesOf(utf8));
    while (!reader.atEnd()) {
        ByteReader behind = reader;
        const std::size_t taken = unitsOf(takeUTF8(behind).value_or(kReplacement));
        if (taken > units) break;
        units -= taken;
        reader = behind;
    }
    return utf8.substr(0, utf8.size() - reader.remaining());
}

namespace {

/// Whether `byte` is a whole character of UTF-8, and no white space.
constexpr bool isVisibleASCII(char byte) {
    return byte > ' ' && byte < 0x7f;
}

std::string_view withoutLeadingWhiteSpace(std::string_view utf8) {
    if (!utf8.empty() && isVisibleASCII(utf8.front())) return utf8;
    ByteReader reader(bytesOf(utf8));
    for (ByteReader behind = reader; !behind.atEnd(); reader = behind) {
        if (!isWhiteSpace(takeUTF8(behind).value_or(kReplacement))) break;
    }
    return utf8.substr(utf8.size() - reader.remaining());
}

}  // namespace

std::string_view trimmed(std::string_view utf8) {
    if (!utf8.empty() && isVisibleASCII(utf8.front()) && isVisibleASCII(utf8.back())) return utf8;
    std::size_t begin = utf8.size();
    std::size_t end = utf8.size();
    for (ByteReader reader(bytesOf(utf8)); !reader.atEnd();) {
        const std::size_t at = utf8.size() - reader.remaining();
        if (isWhiteSpace(takeUTF8(reader).value_or(kReplacement))) continue;
        if (begin == utf8.size()) begin = at;
        end = utf8.size() - reader.remaining();
    }
    return utf8.substr(begin, end - begin);
}

std::int64_t integerValue(std::string_view text) {
    text = withoutLeadingWhiteSpace(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return 0;  // one sign only
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

}  // namespace quillet::util
