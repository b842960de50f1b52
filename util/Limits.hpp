#pragma once

#include <cstddef>

namespace quillet::util {

/// The longest name of a directory entry, in bytes (NAME_MAX of Linux; the device allows 255 UTF-16 units).
inline constexpr std::size_t kLongestFileName = 255;

/// The largest file that is read into memory whole, in bytes. Import databases and cover images are far below it.
inline constexpr std::size_t kLargestWholeFile = std::size_t{1} << 30;

/// The most that compressed data is inflated to, in bytes; a small input can claim a thousand times its size.
inline constexpr std::size_t kLargestInflated = std::size_t{1} << 30;

/// The largest message that one process takes from another, in bytes.
inline constexpr std::size_t kLargestMessage = std::size_t{16} << 20;

}  // namespace quillet::util
