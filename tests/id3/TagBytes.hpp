#pragma once

#include <zlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "id3/FrameStore.hpp"
#include "util/Bytes.hpp"
#include "util/Data.hpp"

namespace quillet::test {

/// `value` in `count` bytes of `bits` bits each, most significant first.
inline std::string number(std::uint64_t value, unsigned count, unsigned bits = 8) {
    std::string bytes;
    while (count-- > 0) bytes += static_cast<char>(value >> (count * bits) & ((1U << bits) - 1));
    return bytes;
}

inline std::string synchsafeNumber(std::uint64_t value) {
    return number(value, 4, 7);
}

/// A frame of 2.2, of 2.3 or of 2.4, whose header tells of `size` bytes.
inline std::string frame20(std::string_view identifier, std::string_view body, std::uint64_t size) {
    return std::string(identifier) + number(size, 3) + std::string(body);
}
inline std::string frame20(std::string_view identifier, std::string_view body) {
    return frame20(identifier, body, body.size());
}
inline std::string frameOf(std::string_view identifier, const std::string& size, std::string_view body,
                           std::uint16_t flags) {
    return std::string(identifier) + size + number(flags, 2) + std::string(body);
}
inline std::string frame23(std::string_view identifier, std::string_view body, std::uint16_t flags = 0) {
    return frameOf(identifier, number(body.size(), 4), body, flags);
}
inline std::string frame24(std::string_view identifier, std::string_view body, std::uint16_t flags = 0) {
    return frameOf(identifier, synchsafeNumber(body.size()), body, flags);
}

inline std::string tagHeader(unsigned version, unsigned flags, std::uint64_t size) {
    return "ID3" + number(version, 1) + '\0' + number(flags, 1) + synchsafeNumber(size);
}
inline std::string tagOf(unsigned version, unsigned flags, std::string_view content) {
    return tagHeader(version, flags, content.size()) + std::string(content);
}

/// "TIT2=body TPE1=body", in tag order.
inline std::string listed(const FrameArray& frames) {
    std::string list;
    for (const auto& frame : frames) {
        list += (list.empty() ? "" : " ") + frame->getFrameID().text() + "=";
        list += frame->getRawFrameData() ? util::charactersOf(frame->getRawFrameData()->bytes()) : "(none)";
    }
    return list;
}

inline std::string hexadecimalOf(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) {
        digits += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
        digits += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15];
    }
    return digits;
}

inline util::Data dataOf(std::string_view bytes) {
    return util::Data::copyOf(util::bytesOf(bytes));
}

/// More than a search block of what is no frame.
inline const std::string kAudio = "\xff\xfb" + std::string(2000, '\x55');

/// A zlib stream of `text`, by zlib itself.
inline std::string deflated(std::string_view text) {
    uLongf length = compressBound(static_cast<uLong>(text.size()));
    std::string result(length, '\0');
    compress(reinterpret_cast<Bytef*>(result.data()), &length, reinterpret_cast<const Bytef*>(text.data()),
             static_cast<uLong>(text.size()));
    result.resize(length);
    return result;
}

}  // namespace quillet::test
