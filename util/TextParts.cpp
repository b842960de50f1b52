#include "util/Text.hpp"

namespace quillet::util {

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t end; (end = text.find(separator)) != std::string_view::npos; text.remove_prefix(end + 1)) {
        pieces.push_back(text.substr(0, end));
    }
    pieces.push_back(text);
    return pieces;
}

std::string hexadecimal(Bytes bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        digits += kDigits[byte >> 4];
        digits += kDigits[byte & 0x0f];
    }
    return digits;
}

}  // namespace quillet::util
