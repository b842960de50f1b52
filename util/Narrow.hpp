#pragma once

#include <concepts>
#include <optional>
#include <utility>

namespace quillet::util {

/// `value` as a `To`, or nullopt where a `To` cannot hold it.
template <std::integral To, std::integral From>
constexpr std::optional<To> narrow(From value) noexcept {
    if (!std::in_range<To>(value)) return std::nullopt;
    return static_cast<To>(value);
}

/// The low bits of `value`, as many as a `To` has: for fields that wrap around by definition.
template <std::integral To, std::integral From>
constexpr To lowBits(From value) noexcept {
    return static_cast<To>(value);
}

}  // namespace quillet::util
