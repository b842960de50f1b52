#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>

#include "util/Bytes.hpp"

namespace quillet::util {

/// The number that as many bytes are, first byte on top. One expression, which compilers make one load of.
template <std::size_t count>
constexpr auto bigEndianNumber(std::span<const std::uint8_t, count> bytes) noexcept {
    using Number = std::conditional_t<count <= 4, std::uint32_t, std::uint64_t>;
    return [bytes]<std::size_t... index>(std::index_sequence<index...>) {
        return (... | (Number{bytes[index]} << 8 * (count - 1 - index)));
    }(std::make_index_sequence<count>());
}

/// The same, first byte below.
template <std::size_t count>
constexpr auto littleEndianNumber(std::span<const std::uint8_t, count> bytes) noexcept {
    using Number = std::conditional_t<count <= 4, std::uint32_t, std::uint64_t>;
    return [bytes]<std::size_t... index>(std::index_sequence<index...>) {
        return (... | (Number{bytes[index]} << 8 * index));
    }(std::make_index_sequence<count>());
}

/// Reads borrowed bytes front to back. A read that does not fit consumes nothing and answers nullopt, so no read passes
/// the end whatever length the input claims. Not for use from two threads at once.
class ByteReader {
  public:
    constexpr explicit ByteReader(Bytes bytes) noexcept : rest_(bytes) {}

    constexpr std::size_t remaining() const noexcept { return rest_.size(); }
    constexpr bool atEnd() const noexcept { return rest_.empty(); }
    /// What has not been read yet.
    constexpr Bytes rest() const noexcept { return rest_; }

    /// The next `count` bytes.
    constexpr std::optional<Bytes> take(std::size_t count) noexcept {
        if (count > rest_.size()) return std::nullopt;  // not `position + count > size`, which can wrap
        const Bytes taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }

    /// A reader of the next `count` bytes alone, for a structure nested in this one.
    constexpr std::optional<ByteReader> child(std::size_t count) noexcept {
        const auto taken = take(count);
        if (!taken) return std::nullopt;
        return ByteReader(*taken);
    }

    /// Passes over `count` bytes; false, and nothing is passed over, where fewer are left.
    constexpr bool skip(std::size_t count) noexcept { return take(count).has_value(); }

    constexpr std::optional<std::uint8_t> u8() noexcept { return unsignedOf<std::uint8_t, 1, true>(); }
    constexpr std::optional<std::uint16_t> u16BigEndian() noexcept { return unsignedOf<std::uint16_t, 2, true>(); }
    constexpr std::optional<std::uint16_t> u16LittleEndian() noexcept { return unsignedOf<std::uint16_t, 2, false>(); }
    constexpr std::optional<std::uint32_t> u24BigEndian() noexcept { return unsignedOf<std::uint32_t, 3, true>(); }
    constexpr std::optional<std::uint32_t> u32BigEndian() noexcept { return unsignedOf<std::uint32_t, 4, true>(); }
    constexpr std::optional<std::uint32_t> u32LittleEndian() noexcept { return unsignedOf<std::uint32_t, 4, false>(); }
    constexpr std::optional<std::uint64_t> u64BigEndian() noexcept { return unsignedOf<std::uint64_t, 8, true>(); }

  private:
    template <typename Unsigned, std::size_t Count, bool bigEndian>
    constexpr std::optional<Unsigned> unsignedOf() noexcept {
        const auto taken = take(Count);
        if (!taken) return std::nullopt;
        const std::span<const std::uint8_t, Count> bytes(*taken);
        return static_cast<Unsigned>(bigEndian ? bigEndianNumber(bytes) : littleEndianNumber(bytes));
    }

    Bytes rest_;
};

}  // namespace quillet::util
