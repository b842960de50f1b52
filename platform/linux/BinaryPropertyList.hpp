#pragma once

#include <cstdint>
#include <vector>

#include "util/PropertyValue.hpp"

namespace quillet {

/// The binary property list ("bplist00") of the dictionary, or of the value. Each text is written once. Keeps every
/// value exactly, but for what is not UTF-8, and NUL in a key: that becomes U+FFFD. libplist's own writer takes
/// quadratic time: 44 s for an import database of 100,000 records.
std::vector<std::uint8_t> binaryPropertyList(const util::PropertyDictionary& dictionary);
std::vector<std::uint8_t> binaryPropertyList(const util::PropertyValue& value);

}  // namespace quillet
