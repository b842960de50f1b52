#include "bench/writing/TagBuffer.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace quillet::bench {
namespace {

constexpr std::size_t kHead = 4096;
constexpr std::size_t kTagHeader = 10;
constexpr std::size_t kNewPadding = 1024;
/// More than any title here needs.
constexpr std::size_t kSpare = 65536;

/// Big-endian numbers of `bits` bits a byte.
std::size_t number(std::span<const std::uint8_t> bytes, int bits) {
    std::size_t value = 0;
    for (const std::uint8_t byte : bytes) value = value << bits | byte;
    return value;
}

void setNumber(std::span<std::uint8_t> bytes, int bits, std::size_t value) {
    for (std::size_t i = bytes.size(); i-- > 0; value >>= bits)
        bytes[i] = static_cast<std::uint8_t>(value & ((1U << bits) - 1));
}

}  // namespace

bool TagBuffer::read(int file) {
    filled_ = 0;
    if (!readUpTo(file, kHead) || std::memcmp(buffer_.data(), "ID3", 3) != 0) return false;
    size_ = kTagHeader + number({&buffer_[6], 4}, 7);
    return size_ <= filled_ || (readUpTo(file, size_) && size_ <= filled_);
}

bool TagBuffer::readUpTo(int file, std::size_t end) {
    if (buffer_.size() < end + kSpare) buffer_.resize(end + kSpare);
    const ssize_t count = pread(file, &buffer_[filled_], end - filled_, static_cast<off_t>(filled_));
    if (count > 0) filled_ += static_cast<std::size_t>(count);
    return count > 0 && filled_ > kTagHeader;
}

std::size_t TagBuffer::bodyLength(std::size_t begin) const {
    if (buffer_[3] == 2) return number({&buffer_[begin + 3], 3}, 8);
    return number({&buffer_[begin + 4], 4}, buffer_[3] == 4 ? 7 : 8);
}

void TagBuffer::setBodyLength(std::size_t begin, std::size_t length) {
    if (buffer_[3] == 2) return setNumber({&buffer_[begin + 3], 3}, 8, length);
    setNumber({&buffer_[begin + 4], 4}, buffer_[3] == 4 ? 7 : 8, length);
}

bool TagBuffer::setTitle(std::string_view title) {
    const std::string_view identifier = buffer_[3] == 2 ? "TT2" : "TIT2";
    std::size_t body = 0;
    std::size_t length = 0;
    std::size_t end = kTagHeader;
    while (end + headerLength() <= size_ && buffer_[end] != 0) {
        if (std::memcmp(&buffer_[end], identifier.data(), identifier.size()) == 0) {
            body = end + headerLength();
            length = bodyLength(end);
        }
        end += headerLength() + bodyLength(end);
    }
    if (body == 0 || end > size_) return false;

    const std::size_t newLength = 1 + title.size();
    const std::size_t newEnd = end - length + newLength;
    std::memmove(&buffer_[body + newLength], &buffer_[body + length], end - body - length);
    setBodyLength(body - headerLength(), newLength);
    buffer_[body] = 0;  // Latin-1
    std::ranges::copy(title, &buffer_[body + 1]);
    if (newEnd > size_) {
        size_ = newEnd + kNewPadding;
        setNumber({&buffer_[6], 4}, 7, size_ - kTagHeader);
        std::fill_n(&buffer_[newEnd], kNewPadding, std::uint8_t{0});
    } else if (newEnd < end) {
        std::fill_n(&buffer_[newEnd], end - newEnd, std::uint8_t{0});
    }
    return true;
}

}  // namespace quillet::bench
