#include "id3/Unsynchronisation.hpp"

#include <cstring>
#include <memory>
#include <new>

namespace quillet {

namespace {

/// Where the first FF stands, or the size.
std::size_t findFF(util::Bytes bytes) {
    if (bytes.empty()) return 0;
    const void* found = std::memchr(bytes.data(), 0xFF, bytes.size());
    return found ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data()) : bytes.size();
}

/// How many FF 00 there are; nullopt where an FF is followed by what unsynchronisation leaves nowhere.
std::optional<std::size_t> countPairs(util::Bytes bytes) {
    std::size_t pairs = 0;
    for (bytes = bytes.subspan(findFF(bytes)); bytes.size() > 1; bytes = bytes.subspan(findFF(bytes))) {
        if (bytes[1] >= 0xE0) return std::nullopt;
        if (bytes[1] == 0) ++pairs;
        bytes = bytes.subspan(2);  // what follows FF is below E0 here, so no FF itself
    }
    return pairs;
}

}  // namespace

std::optional<util::Data> withoutUnsynchronisation(const util::Data& data) {
    const auto pairs = countPairs(data.bytes());
    if (!pairs) return std::nullopt;
    if (*pairs == 0) return data;
    const std::size_t size = data.size() - *pairs;
    const std::shared_ptr<std::uint8_t[]> copy(new (std::nothrow) std::uint8_t[size]);
    if (!copy) return std::nullopt;

    util::Bytes rest = data.bytes();
    std::size_t written = 0;
    while (!rest.empty()) {
        const std::size_t found = findFF(rest);
        const std::size_t run = found < rest.size() ? found + 1 : found;
        std::memcpy(copy.get() + written, rest.data(), run);
        written += run;
        rest = rest.subspan(run);
        if (found < run && !rest.empty() && rest.front() == 0) rest = rest.subspan(1);
    }
    return util::Data(copy, {copy.get(), size});
}

}  // namespace quillet
