#include "id3/FrameBody.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

#define ZLIB_CONST
#include <zlib.h>

#include "util/Log.hpp"

namespace quillet {

namespace {

/// What one byte can become, and some to spare, so that a stream never fills what is more than this for it.
constexpr std::size_t kMostPerByte = 1032;
constexpr std::size_t kSpare = 1024;

InflateResult resultOf(int zlibResult) {
    switch (zlibResult) {
        case Z_OK:
            return InflateResult::done;
        case Z_MEM_ERROR:
            return InflateResult::noMemory;
        case Z_BUF_ERROR:
            return InflateResult::noRoom;
        case Z_DATA_ERROR:
            return InflateResult::corrupt;
        default:
            return InflateResult::failed;
    }
}

}  // namespace

FrameInflater::Outcome FrameInflater::inflate(util::Bytes stream, std::size_t room) {
    room = std::min(room, stream.size() * kMostPerByte + kSpare);
    if (room > left_) return {.result = InflateResult::noMemory, .body = {}};
    const std::shared_ptr<std::uint8_t[]> target(new (std::nothrow) std::uint8_t[room]);
    if (!target) return {.result = InflateResult::noMemory, .body = {}};
    uLongf length = static_cast<uLongf>(room);
    const int result = ::uncompress(target.get(), &length, stream.data(), static_cast<uLong>(stream.size()));
    left_ -= length;  // of a broken stream too, so that many of them take no longer than the largest tag
    if (result != Z_OK) return {.result = resultOf(result), .body = {}};
    const util::Bytes body{target.get(), length};
    // A length that was far too high is not kept alive with the body.
    return {.result = InflateResult::done,
            .body = length < room / 2 ? util::Data::copyOf(body) : util::Data(target, body)};
}

void logInflateFailure(InflateResult result, FrameID frame) {
    const std::string start = "Decompressing frame " + frame.text();
    switch (result) {
        case InflateResult::noMemory:
            util::log(start + " not enough memory\n");
            [[fallthrough]];
        case InflateResult::noRoom:
            util::log(start + " not enough room in the output buffer\n");
            [[fallthrough]];
        case InflateResult::corrupt:
            util::log(start + " input data was corrupted\n");
            break;
        case InflateResult::done:
        case InflateResult::failed:
            break;
    }
}

}  // namespace quillet
