#pragma once

#include <optional>
#include <vector>

#include "platform/PropertyLists.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// Property lists. Read through libplist 2.2, in XML as in the binary form; written in the binary form by our own hand
/// (BinaryPropertyList.hpp), which keeps every value and takes a fraction of the time. Every value is read as it was
/// written but for text that is not UTF-8, and NUL in a key: that becomes U+FFFD (two keys that differ in nothing else
/// become one). A file is always synced and renamed into place, asked for or not.
class LibplistPropertyLists : public PropertyLists {
  public:
    std::optional<util::PropertyDictionary> dictionaryWithContentsOfFile(const std::string& path) override;
    bool writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool atomically) override;

    /// The bytes of a property-list file, and back. Nullopt for what is not one, for arrays and dictionaries more than
    /// kDeepestPropertyList deep, and for more than kLargestWholeFile bytes. Any bytes may be parsed: those that
    /// libplist cannot be trusted with do not reach it.
    static std::optional<std::vector<std::uint8_t>> serialised(const util::PropertyValue& value);
    static std::optional<util::PropertyValue> parsed(util::Bytes bytes);
};

}  // namespace quillet
