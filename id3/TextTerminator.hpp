#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>

#include "id3/id3V2Frame.hpp"
#include "util/ByteReader.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// Whether a character takes two bytes or more.
constexpr bool isWide(TextEncoding encoding) {
    return encoding == TextEncoding::utf16WithMark || encoding == TextEncoding::utf16BigEndian;
}

/// Bytes of the zero that ends a text (ID3v2.4.0 structure 4).
constexpr std::size_t terminatorLength(TextEncoding encoding) {
    return isWide(encoding) ? 2 : 1;
}

/// The index of the first terminator in a text, counted by its characters; nullopt where it has none.
inline std::optional<std::size_t> terminatorIn(util::Bytes text, TextEncoding encoding) {
    if (!isWide(encoding)) {
        const auto found = std::ranges::find(text, 0);
        if (found == text.end()) return std::nullopt;
        return static_cast<std::size_t>(found - text.begin());
    }
    util::ByteReader reader(text);
    while (const auto unit = reader.u16BigEndian()) {
        if (*unit == 0) return text.size() - reader.remaining() - 2;
    }
    return std::nullopt;
}

}  // namespace quillet
