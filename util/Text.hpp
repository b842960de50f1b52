#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/Bytes.hpp"

/// Text is UTF-8 in memory. What cannot be decoded becomes U+FFFD, one for each maximal ill-formed part, so every
/// decoder here answers well-formed UTF-8 for every input and reads each byte once (Unicode 15, 3.9, table 3-8).
namespace quillet::util {

/// Each byte is the code point of its value (ISO/IEC 8859-1).
std::string decodeLatin1(Bytes bytes);
/// nullopt where a character is above U+00FF, or `utf8` is ill-formed.
std::optional<std::string> encodeLatin1(std::string_view utf8);
/// The same with '?' for what has no byte.
std::string encodeLatin1Lossy(std::string_view utf8);

enum class ByteOrder { bigEndian, littleEndian };
/// A byte-order mark at the start gives the order and is taken off; without one the order is `unmarked`. An odd last
/// byte and a lone surrogate become U+FFFD each.
std::string decodeUTF16(Bytes bytes, ByteOrder unmarked);
/// Without a mark. Ill-formed parts of `utf8` are encoded as U+FFFD.
std::string encodeUTF16(std::string_view utf8, ByteOrder order);

/// `bytes` as well-formed UTF-8. A byte-order mark is kept, as any character is.
std::string decodeUTF8(Bytes bytes);
bool isUTF8(std::string_view text);

/// How many UTF-16 code units `utf8` takes: how the platform counts characters.
std::size_t utf16Length(std::string_view utf8);
/// The longest prefix that takes at most `units` UTF-16 code units and ends between characters.
std::string_view utf16Prefix(std::string_view utf8, std::size_t units);

/// The pieces between `separator`s, empty ones included: always at least one.
std::vector<std::string_view> split(std::string_view text, char separator);
/// Without white space and line breaks (Unicode White_Space) at both ends.
std::string_view trimmed(std::string_view utf8);
/// The decimal integer that `text` begins with, after white space and one sign; 0 where there is none. Clamped to the
/// range of the result.
std::int64_t integerValue(std::string_view text);

/// The two lower-case hexadecimal digits of each byte.
std::string hexadecimal(Bytes bytes);

}  // namespace quillet::util
