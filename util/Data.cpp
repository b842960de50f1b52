#include "util/Data.hpp"

#include <algorithm>
#include <utility>

#define ZLIB_CONST
#include <zlib.h>

#include "util/Limits.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet::util {

namespace {

/// What the streams are started with. zlib compares the first character alone, so any zlib 1.x takes it.
constexpr const char* kZlibVersion = "1.2.5";

constexpr std::size_t kDeflateStep = 16384;

/// Gives the stream the part of `buffer` that it has not filled yet, after growing a full buffer by `step` bytes. A
/// step of 0 leaves no room, and zlib answers that with an error.
void offerRoom(z_stream& stream, std::vector<std::uint8_t>& buffer, std::size_t step) {
    if (stream.total_out >= buffer.size()) buffer.resize(buffer.size() + step);
    const std::size_t produced = stream.total_out;
    stream.next_out = buffer.data() + produced;
    stream.avail_out = lowBits<uInt>(buffer.size() - produced);
}

/// Cuts the buffer to what was produced and gives back the room that was not needed.
Data cutTo(const z_stream& stream, std::vector<std::uint8_t> buffer) {
    buffer.resize(stream.total_out);
    buffer.shrink_to_fit();
    return Data(std::move(buffer));
}

}  // namespace

Data::Data(std::vector<std::uint8_t> bytes) {
    const auto storage = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    view_ = *storage;
    storage_ = storage;
}

Data Data::copyOf(Bytes bytes) {
    return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

bool Data::isSameObject(const Data& other) const noexcept {
    return storage_ == other.storage_ && view_.data() == other.view_.data() && size() == other.size();
}

bool operator==(const Data& a, const Data& b) {
    return std::ranges::equal(a.view_, b.view_);
}

std::optional<Data> Data::inflate() const {
    if (empty()) return *this;
    const auto inputLength = narrow<std::uint32_t>(size());
    if (!inputLength) return std::nullopt;  // zlib counts what it is given in 32 bits
    const std::uint32_t step = *inputLength / 2;
    // The sum wraps around beyond 32 bits; the buffer then starts small and grows by the same steps.
    std::vector<std::uint8_t> buffer(std::uint32_t{*inputLength + step});

    z_stream stream{};
    stream.next_in = view_.data();
    stream.avail_in = *inputLength;
    if (inflateInit_(&stream, kZlibVersion, int{sizeof stream}) != Z_OK) return std::nullopt;

    int result = Z_OK;
    while (result == Z_OK && stream.total_out < kLargestInflated) {
        offerRoom(stream, buffer, step);
        result = ::inflate(&stream, Z_SYNC_FLUSH);
    }
    const int ended = inflateEnd(&stream);
    if (result != Z_STREAM_END || ended != Z_OK) return std::nullopt;
    return cutTo(stream, std::move(buffer));
}

std::optional<Data> Data::deflate() const {
    if (empty()) return *this;
    const auto inputLength = narrow<std::uint32_t>(size());
    if (!inputLength) return std::nullopt;

    z_stream stream{};
    stream.next_in = view_.data();
    stream.avail_in = *inputLength;
    if (deflateInit_(&stream, Z_BEST_SPEED, kZlibVersion, int{sizeof stream}) != Z_OK) return std::nullopt;

    std::vector<std::uint8_t> buffer(kDeflateStep);
    do {
        offerRoom(stream, buffer, kDeflateStep);
        ::deflate(&stream, Z_FINISH);  // with memory and room given it has no way to fail
    } while (stream.avail_out == 0);
    deflateEnd(&stream);
    return cutTo(stream, std::move(buffer));
}

std::string Data::MD5() const {
    return hexadecimal(platformMD5(view_));
}

}  // namespace quillet::util
