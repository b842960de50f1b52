#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace quillet::util {

/// Borrowed bytes; whoever made the view keeps what it shows alive.
using Bytes = std::span<const std::uint8_t>;

/// The bytes of `text`, without a terminator.
inline Bytes bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// `bytes` seen as characters, whatever their encoding.
inline std::string_view charactersOf(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace quillet::util
