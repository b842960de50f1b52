#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "util/Data.hpp"
#include "util/Files.hpp"

namespace quillet {

/// A file open for reading, which the readers of one examination share, with its beginning kept in one buffer. What is
/// read of the beginning is a view on that buffer; a frame's body is therefore never copied, and lives as long as the
/// last view, not as long as this object. May be opened again and again: a buffer that nobody looks at any more is used
/// for the next file. One thread at a time.
class AudioFile {
  public:
    AudioFile() = default;
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;

    /// Closes what was open, opens the regular file at `path` and asks for its size. Fails with the call's errno, with
    /// EISDIR for a folder and ENOTSUP for what is neither file nor folder; never waits for a FIFO's other end.
    util::Status open(const std::string& path);
    /// Views that were handed out stay.
    void close();

    /// In bytes, when it was opened; 0 where nothing is open.
    std::uint64_t size() const noexcept { return size_; }

    /// Up to `count` bytes from `offset`: fewer at the end of the file, or where it has shrunk or cannot be read.
    util::Data read(std::uint64_t offset, std::size_t count);
    /// The same into `target`; answers how many bytes were read.
    std::size_t readInto(std::uint64_t offset, std::span<std::uint8_t> target) const;
    /// Has everything before `end` (as far as the file goes) in the one buffer, with at most one more read.
    void extendHead(std::uint64_t end);

  private:
    util::FileDescriptor descriptor_;
    std::uint64_t size_ = 0;
    std::shared_ptr<std::uint8_t[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t headLength_ = 0;  ///< how much of the buffer holds the file's beginning
};

}  // namespace quillet
