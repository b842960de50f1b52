#include <cstdlib>
#include <string>

#include "util/Text.hpp"

using namespace quillet::util;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireSound(const std::string& decoded) {
    require(isUTF8(decoded));
    require(decodeUTF8(bytesOf(decoded)) == decoded);
    for (const ByteOrder order : {ByteOrder::bigEndian, ByteOrder::littleEndian}) {
        const std::string encoded = encodeUTF16(decoded, order);
        require(encoded.size() == 2 * utf16Length(decoded));
        // A first character that is a byte-order mark would be taken for one.
        if (!decoded.starts_with("\xef\xbb\xbf") && !decoded.starts_with("\xef\xbf\xbe")) {
            require(decodeUTF16(bytesOf(encoded), order) == decoded);
        }
    }
    const auto latin1 = encodeLatin1(decoded);
    require(!latin1 || decodeLatin1(bytesOf(*latin1)) == decoded);
}

void requirePrefixes(std::string_view text) {
    const std::size_t length = utf16Length(text);
    for (std::size_t units = 0; units <= length && units < 16; ++units) {
        const std::string_view prefix = utf16Prefix(text, units);
        require(text.starts_with(prefix) && utf16Length(prefix) <= units && utf16Length(prefix) + 2 > units);
        require(isUTF8(prefix) || !isUTF8(text));
    }
    require(utf16Prefix(text, length) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, size);
    const std::string_view text = charactersOf(bytes);
    requireSound(decodeLatin1(bytes));
    requireSound(decodeUTF16(bytes, ByteOrder::bigEndian));
    requireSound(decodeUTF16(bytes, ByteOrder::littleEndian));
    requireSound(decodeUTF8(bytes));
    require(isUTF8(text) == (decodeUTF8(bytes) == text));
    require(encodeLatin1(decodeLatin1(bytes)) == text);
    require(utf16Length(decodeUTF8(bytes)) == utf16Length(text));
    requirePrefixes(text);

    const std::string_view core = trimmed(text);
    require(core.empty() || text.find(core) != std::string_view::npos);
    require(trimmed(core) == core && integerValue(core) == integerValue(text));
    std::string joined;
    for (const std::string_view piece : split(text, '/')) joined += std::string(piece) + '/';
    require(joined == std::string(text) + '/');
    require(hexadecimal(bytes).size() == 2 * size);
    return 0;
}
