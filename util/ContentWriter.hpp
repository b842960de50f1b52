#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "util/Bytes.hpp"
#include "util/Files.hpp"

namespace quillet::util {

/// Fills a new file, from its start, with bytes and with parts of another file. Every write but the last is a whole
/// piece at a multiple of its size: what file systems take in fastest, wherever the parts begin. Nothing of it is
/// durable, or even complete, before finish() has succeeded.
class ContentWriter {
  public:
    /// `file` is empty, open for writing and outlives this; `size` is what will be written, in bytes, and only guides.
    ContentWriter(int file, std::uint64_t size);

    Status append(Bytes bytes);
    /// The bytes [begin, end) of `from`, whose position stays. EIO where `from` ends before.
    Status appendRange(int from, std::uint64_t begin, std::uint64_t end);
    Status finish();

  private:
    std::uint64_t copiedInKernel(int from, std::uint64_t begin, std::uint64_t end);
    Status gathered(std::size_t count);

    int file_;
    std::size_t capacity_;                   ///< of the piece
    std::unique_ptr<std::uint8_t[]> piece_;  ///< not filled with zeros, which would take as long as a copy
    std::size_t used_ = 0;                   ///< how much of the piece is gathered
};

}  // namespace quillet::util
