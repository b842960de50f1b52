#include "id3/AudioFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

#include "id3/Limits.hpp"
#include "util/FileCalls.hpp"

namespace quillet {

namespace {

constexpr std::size_t kBufferStep = 65536;

}  // namespace

util::Status AudioFile::open(const std::string& path, Access access) {
    close();
    dropForeignBuffer();
    util::FileDescriptor opened = access == Access::read ? util::openForReading(path) : util::openForUpdate(path);
    if (!opened.isOpen()) return util::statusOf(-1);
    descriptor_ = std::move(opened);
    canUpdate_ = access == Access::update;
    util::Status done = refresh();
    if (!done.ok()) close();
    return done;
}

util::Status AudioFile::refresh() {
    headLength_ = 0;
    hasFailed_ = false;
    dropForeignBuffer();
    struct stat facts;
    if (::fstat(descriptor_.number(), &facts) != 0) return util::statusOf(-1);
    if (const util::Status regular = util::regularFileStatus(facts); !regular.ok()) return regular;
    stamp_ = util::stampOf(facts);
    size_ = stamp_.size;
    isOpen_ = true;
    linkCount_ = static_cast<std::uint64_t>(facts.st_nlink);
    return util::Status::success();
}

void AudioFile::openImage(std::shared_ptr<std::uint8_t[]> bytes, std::size_t size) {
    close();
    buffer_ = std::move(bytes);
    capacity_ = headLength_ = size;
    size_ = size;
    isOpen_ = true;
}

void AudioFile::dropForeignBuffer() {
    // A buffer that somebody still looks at is left to him, and so is one that was only ever needed once.
    if (buffer_.use_count() > 1 || capacity_ > kLargestKeptBuffer) {
        buffer_.reset();
        capacity_ = 0;
    }
    // The last view may have been let go on another thread; what it read is done before we write.
    std::atomic_thread_fence(std::memory_order_acquire);
}

void AudioFile::close() {
    static_cast<void>(descriptor_.close());  // nothing was written
    size_ = 0;
    headLength_ = 0;
    isOpen_ = canUpdate_ = hasFailed_ = false;
    stamp_ = {};
}

std::size_t AudioFile::readInto(std::uint64_t offset, std::span<std::uint8_t> target) const {
    if (offset >= size_) return 0;
    // No more than there was when it was opened: what is added meanwhile belongs to another state of the file.
    target = target.first(static_cast<std::size_t>(std::min<std::uint64_t>(target.size(), size_ - offset)));
    std::size_t done = 0;
    while (done < target.size()) {
        const auto rest = target.subspan(done);
        const ssize_t count = util::retried(
            [&] { return ::pread(descriptor_.number(), rest.data(), rest.size(), static_cast<off_t>(offset + done)); });
        if (count <= 0) {
            hasFailed_ = true;
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

void AudioFile::extendHead(std::uint64_t end) {
    const std::size_t wanted = static_cast<std::size_t>(std::min(std::max<std::uint64_t>(end, kHeadLength), size_));
    if (wanted <= headLength_) return;
    if (wanted > capacity_) {
        const std::size_t capacity = (wanted / kBufferStep + 1) * kBufferStep;
        std::shared_ptr<std::uint8_t[]> larger(new (std::nothrow) std::uint8_t[capacity]);
        if (!larger) {
            hasFailed_ = true;
            return;
        }
        std::copy_n(buffer_.get(), headLength_, larger.get());
        buffer_ = std::move(larger);
        capacity_ = capacity;
    }
    // Views on what was read before do not see this part of the buffer.
    headLength_ += readInto(headLength_, {buffer_.get() + headLength_, wanted - headLength_});
}

util::Data AudioFile::read(std::uint64_t offset, std::size_t count) {
    if (offset >= size_) return {};
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
    // What begins in the head, or right behind it, joins it where that needs no larger buffer.
    if (offset <= std::max(kHeadLength, headLength_) && offset + count <= std::max(kHeadLength, capacity_)) {
        extendHead(offset + count);
        const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset, headLength_));
        return util::Data(buffer_, {buffer_.get() + begin, std::min(count, headLength_ - begin)});
    }
    std::shared_ptr<std::uint8_t[]> own(new (std::nothrow) std::uint8_t[count]);
    if (!own) {
        hasFailed_ = true;
        return {};
    }
    const std::size_t done = readInto(offset, {own.get(), count});
    return util::Data(own, {own.get(), done});
}

}  // namespace quillet
