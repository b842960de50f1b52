#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/linux/LibplistPropertyLists.hpp"

namespace {

using quillet::util::PropertyValue;

/// Equal, or a NaN on both sides, or a text that no list can hold.
bool same(const PropertyValue& read, const PropertyValue& again) {
    if (const auto* array = read.array())
        return again.array() != nullptr && std::ranges::equal(*array, *again.array(), same);
    if (const auto* dictionary = read.dictionary())
        return again.dictionary() != nullptr &&
               std::ranges::equal(*dictionary, *again.dictionary(), [](const auto& a, const auto& b) {
                   return a.first == b.first && same(a.second, b.second);
               });
    if (const auto* text = read.text(); text != nullptr && text->find('\0') != text->npos)
        return again.text() != nullptr;
    if (read.real() != nullptr && std::isnan(*read.real())) return again.real() != nullptr && std::isnan(*again.real());
    if (read.date() != nullptr && std::isnan(read.date()->seconds))
        return again.date() != nullptr && std::isnan(again.date()->seconds);
    return read == again;
}

}  // namespace

/// Any bytes are a property list or are none; what was read is written and read again as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using quillet::LibplistPropertyLists;
    const auto value = LibplistPropertyLists::parsed({data, size});
    if (!value) return 0;
    const auto written = LibplistPropertyLists::serialised(*value);
    if (!written) std::abort();
    const auto again = LibplistPropertyLists::parsed(*written);
    if (!again || !same(*value, *again)) std::abort();
    return 0;
}
