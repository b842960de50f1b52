#include "platform/linux/LibavInput.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace quillet {

namespace {

constexpr std::int64_t kHeadSize = 64 << 10;
constexpr int kBufferSize = 32 << 10;

/// No sound file makes its demuxer read it more often than this; a hostile one can send it in circles.
constexpr std::int64_t kMostReadings = 4;
constexpr std::int64_t kReadingsOfSmallFiles = 16 << 20;

}  // namespace

LibavInput::LibavInput(int descriptor, std::int64_t size) : descriptor_(descriptor), size_(size) {
    head_.resize(static_cast<std::size_t>(std::min(size, kHeadSize)));
    head_.resize(readFile(0, head_));
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    if (buffer == nullptr) return;
    context_ = avio_alloc_context(buffer, kBufferSize, 0, this, readPacket, nullptr, seek);
    if (context_ == nullptr) av_free(buffer);
}

LibavInput::~LibavInput() {
    if (context_ == nullptr) return;
    av_free(context_->buffer);  // not always the one it was made with
    avio_context_free(&context_);
}

std::size_t LibavInput::readAt(std::int64_t offset, std::span<std::uint8_t> target) {
    if (offset < 0 || offset >= size_) return 0;
    const auto left = static_cast<std::uint64_t>(size_ - offset);
    target = target.first(static_cast<std::size_t>(std::min<std::uint64_t>(target.size(), left)));
    const auto start = static_cast<std::uint64_t>(offset);
    if (start + target.size() > head_.size()) return readFile(offset, target);
    std::copy_n(head_.begin() + offset, target.size(), target.begin());
    return target.size();
}

std::size_t LibavInput::readFile(std::int64_t offset, std::span<std::uint8_t> target) {
    std::size_t done = 0;
    while (done < target.size()) {
        const ssize_t count =
            pread(descriptor_, target.data() + done, target.size() - done, offset + static_cast<std::int64_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && error_ == 0) error_ = errno;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

int LibavInput::readPacket(void* self, std::uint8_t* target, int count) {
    auto& input = *static_cast<LibavInput*>(self);
    if (count <= 0) return AVERROR(EINVAL);
    if (input.served_ / kMostReadings > input.size_ + kReadingsOfSmallFiles / kMostReadings) return AVERROR_EOF;
    const std::size_t done = input.readAt(input.position_, {target, static_cast<std::size_t>(count)});
    input.position_ += static_cast<std::int64_t>(done);
    input.served_ += static_cast<std::int64_t>(done);
    if (done > 0) return static_cast<int>(done);
    return input.error_ != 0 ? AVERROR(input.error_) : AVERROR_EOF;
}

std::int64_t LibavInput::seek(void* self, std::int64_t offset, int whence) {
    auto& input = *static_cast<LibavInput*>(self);
    std::int64_t base = 0;
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return input.size_;
        case SEEK_SET:
            break;
        case SEEK_CUR:
            base = input.position_;
            break;
        case SEEK_END:
            base = input.size_;
            break;
        default:
            return AVERROR(EINVAL);
    }
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) return AVERROR(EINVAL);
    return input.position_ = target;
}

}  // namespace quillet
