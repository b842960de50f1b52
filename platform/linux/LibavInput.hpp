#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

struct AVIOContext;

namespace quillet {

/// Gives libavformat the bytes of one open regular file, so that it never learns a name that could be taken for a URL.
/// Reads by position: the descriptor's own is neither used nor moved. The descriptor is borrowed and must stay open as
/// long as this lives. What is read in all is bounded by the file's size, so no file can keep its reader busy for ever.
class LibavInput {
  public:
    /// `size` in bytes; whatever the file may grow to, nothing is read beyond it.
    LibavInput(int descriptor, std::int64_t size);
    ~LibavInput();
    LibavInput(const LibavInput&) = delete;
    LibavInput& operator=(const LibavInput&) = delete;

    /// For AVFormatContext::pb. Owned by this; null where memory is short.
    AVIOContext* context() const noexcept { return context_; }
    std::int64_t size() const noexcept { return size_; }
    /// Fills `target` from `offset` on and answers how many bytes there were: fewer than asked at the end or on
    /// failure.
    std::size_t readAt(std::int64_t offset, std::span<std::uint8_t> target);
    /// The errno of the first read that failed; 0 for none.
    int error() const noexcept { return error_; }

  private:
    static int readPacket(void* self, std::uint8_t* target, int count);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    std::size_t readFile(std::int64_t offset, std::span<std::uint8_t> target);

    int descriptor_;
    std::int64_t size_;
    std::int64_t position_ = 0;
    std::int64_t served_ = 0;  ///< bytes given to libavformat so far
    int error_ = 0;
    std::vector<std::uint8_t> head_;  ///< the file's first bytes, read once: recognition and demuxer both want them
    AVIOContext* context_ = nullptr;
};

}  // namespace quillet
