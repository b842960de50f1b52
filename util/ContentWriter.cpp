#include "util/ContentWriter.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "util/FileCalls.hpp"

namespace quillet::util {

namespace {

constexpr std::size_t kPiece = std::size_t{256} << 10;
/// What file systems share between files, at the least.
constexpr std::uint64_t kBlock = 4096;

}  // namespace

ContentWriter::ContentWriter(int file, std::uint64_t size)
    : file_(file),
      capacity_(static_cast<std::size_t>(std::min<std::uint64_t>(std::max<std::uint64_t>(size, 1), kPiece))),
      piece_(new std::uint8_t[capacity_]) {}

Status ContentWriter::append(Bytes bytes) {
    if (used_ == 0) {
        const Bytes whole = bytes.first(bytes.size() - bytes.size() % capacity_);
        if (const Status written = writeAll(file_, whole); !written.ok()) return written;
        bytes = bytes.subspan(whole.size());
    }
    while (!bytes.empty()) {
        const Bytes fitting = bytes.first(std::min(bytes.size(), capacity_ - used_));
        std::memcpy(piece_.get() + used_, fitting.data(), fitting.size());
        if (const Status written = gathered(fitting.size()); !written.ok()) return written;
        bytes = bytes.subspan(fitting.size());
    }
    return Status::success();
}

Status ContentWriter::appendRange(int from, std::uint64_t begin, std::uint64_t end) {
    while (begin < end) {
        if (used_ == 0 && begin % kBlock == 0) begin += copiedInKernel(from, begin, end);
        if (begin == end) break;
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(end - begin, capacity_ - used_));
        const ssize_t count =
            retried([&] { return ::pread(from, piece_.get() + used_, size, static_cast<off_t>(begin)); });
        if (count < 0) return Status::failure(errno);
        if (count == 0) return Status::failure(EIO);
        if (const Status written = gathered(static_cast<std::size_t>(count)); !written.ok()) return written;
        begin += static_cast<std::uint64_t>(count);
    }
    return Status::success();
}

Status ContentWriter::finish() {
    const Bytes rest = Bytes(piece_.get(), used_);
    used_ = 0;
    return writeAll(file_, rest);
}

// Where both files are at a block's start the kernel may share the blocks, and copy nothing at all. Elsewhere it copies
// as we do, but in smaller portions that lie across the target's large ones, which takes half as much time again. Where
// it stops early the caller reads on, and reading gives an error its name.
std::uint64_t ContentWriter::copiedInKernel([[maybe_unused]] int from, [[maybe_unused]] std::uint64_t begin,
                                            [[maybe_unused]] std::uint64_t end) {
    std::uint64_t copied = 0;
#ifdef __linux__
    constexpr std::uint64_t kChunk = 32 * kPiece;
    while (end - begin - copied >= kPiece) {
        const std::uint64_t left = end - begin - copied;
        const auto size = static_cast<std::size_t>(std::min(left - left % kPiece, kChunk));
        auto offset = static_cast<off_t>(begin + copied);
        const ssize_t count = retried([&] { return ::copy_file_range(from, &offset, file_, nullptr, size, 0); });
        if (count <= 0) break;
        copied += static_cast<std::uint64_t>(count);
    }
#endif
    return copied;
}

/// `count` bytes more stand in the piece.
Status ContentWriter::gathered(std::size_t count) {
    used_ += count;
    return used_ == capacity_ ? finish() : Status::success();
}

}  // namespace quillet::util
