#pragma once

#include <optional>
#include <vector>

#include "platform/PropertyLists.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// Property lists through libplist. Writes XML; writes the binary form where a text holds a character that XML 1.0
/// cannot (a control character). Reads both. A file is always synced and renamed into place, asked for or not.
class LibplistPropertyLists : public PropertyLists {
  public:
    std::optional<util::PropertyDictionary> dictionaryWithContentsOfFile(const std::string& path) override;
    bool writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool atomically) override;

    /// The bytes of a property-list file, and back. Reading is bounded in depth; nullopt for what is not one.
    static std::optional<std::vector<std::uint8_t>> serialised(const util::PropertyValue& value);
    static std::optional<util::PropertyValue> parsed(util::Bytes bytes);
};

}  // namespace quillet
