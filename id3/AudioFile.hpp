#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "util/Data.hpp"
#include "util/FileRewrite.hpp"
#include "util/Files.hpp"

namespace quillet {

/// A file open for reading, or for changing it too, which the readers of one examination share, with its beginning kept
/// in one buffer. What is read of the beginning is a view on that buffer; a frame's body is therefore never copied, and
/// lives as long as the last view, not as long as this object. May be opened again and again: a buffer that nobody
/// looks at any more is used for the next file. One thread at a time.
class AudioFile {
  public:
    AudioFile() = default;
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;

    enum class Access { read, update };
    /// Closes what was open, opens the regular file at `path` and asks for its size. Fails with the call's errno, with
    /// EISDIR for a folder and ENOTSUP for what is neither file nor folder; never waits for a FIFO's other end.
    util::Status open(const std::string& path, Access access = Access::read);
    /// Closes what was open and stands for a file with these bytes.
    void openImage(std::shared_ptr<std::uint8_t[]> bytes, std::size_t size);
    /// Views that were handed out stay.
    void close();

    bool isOpen() const noexcept { return isOpen_; }
    /// In bytes, when it was opened; 0 where nothing is open.
    std::uint64_t size() const noexcept { return size_; }
    /// Whether something that should be there could not be read since it was opened.
    bool hasFailed() const noexcept { return hasFailed_; }
    /// Whether it is open for changing it.
    bool canUpdate() const noexcept { return canUpdate_; }
    const util::FileDescriptor& descriptor() const noexcept { return descriptor_; }
    /// Its state when it was opened, and how many names it had.
    const util::FileStamp& stamp() const noexcept { return stamp_; }
    std::uint64_t linkCount() const noexcept { return linkCount_; }
    /// Takes over the file's present state, which the caller has just made: what was read of it before is forgotten,
    /// but not the views that were handed out.
    util::Status refresh();

    /// Up to `count` bytes from `offset`: fewer at the end of the file, or where it has shrunk or cannot be read.
    util::Data read(std::uint64_t offset, std::size_t count);
    /// The same into `target`; answers how many bytes were read.
    std::size_t readInto(std::uint64_t offset, std::span<std::uint8_t> target) const;
    /// Has everything before `end` (as far as the file goes) in the one buffer, with at most one more read.
    void extendHead(std::uint64_t end);

  private:
    /// Leaves a buffer that somebody still looks at to him.
    void dropForeignBuffer();

    util::FileDescriptor descriptor_;
    std::uint64_t size_ = 0;
    util::FileStamp stamp_;
    std::uint64_t linkCount_ = 0;
    bool canUpdate_ = false;
    bool isOpen_ = false;
    mutable bool hasFailed_ = false;  ///< by a read, which changes nothing else
    std::shared_ptr<std::uint8_t[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t headLength_ = 0;  ///< how much of the buffer holds the file's beginning
};

}  // namespace quillet
