#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "id3/id3V2Frame.hpp"
#include "util/Bytes.hpp"
#include "util/Data.hpp"

namespace quillet::test {

inline util::Data dataOf(std::string_view bytes) {
    return util::Data::copyOf(util::bytesOf(bytes));
}

inline id3V2Frame frameOf(std::string_view body, std::int32_t version = 3, const Dialect& dialect = kSystemDialect,
                          std::uint8_t firstFlag = 0, std::uint8_t secondFlag = 0) {
    return {dataOf(body), "TEST", firstFlag, secondFlag, version, dialect};
}

inline std::string bytesOf(const util::Data& data) {
    return std::string(util::charactersOf(data.bytes()));
}

inline std::string bodyOf(const id3V2Frame& frame) {
    return frame.getRawFrameData() ? bytesOf(*frame.getRawFrameData()) : "no body";
}

/// A tag of plain frames, with 64 bytes of padding.
inline std::string tagOf(std::int32_t version, const std::vector<std::pair<std::string, std::string>>& frames) {
    const auto number = [](std::size_t value, unsigned count, unsigned bits) {
        std::string bytes;
        while (count-- > 0) bytes += static_cast<char>(value >> (count * bits) & ((1U << bits) - 1));
        return bytes;
    };
    std::string content;
    for (const auto& [identifier, body] : frames) {
        content += identifier + number(body.size(), version == 2 ? 3 : 4, version == 4 ? 7 : 8);
        content += std::string(version == 2 ? 0 : 2, '\0') + body;
    }
    content += std::string(64, '\0');
    return "ID3" + std::string{static_cast<char>(version), '\0', '\0'} + number(content.size(), 4, 7) + content;
}

}  // namespace quillet::test
