#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "id3/id3V2Frame.hpp"
#include "tests/id3/TagBytes.hpp"

namespace quillet::test {

/// The body of a text frame in Latin-1.
inline std::string latin1(std::string_view text) {
    return std::string(1, '\0') + std::string(text);
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
    std::string content;
    for (const auto& [identifier, body] : frames) {
        content += identifier + number(body.size(), version == 2 ? 3 : 4, version == 4 ? 7 : 8);
        content += std::string(version == 2 ? 0 : 2, '\0') + body;
    }
    return tagOf(static_cast<unsigned>(version), 0, content + std::string(64, '\0'));
}

}  // namespace quillet::test
