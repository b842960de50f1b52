#pragma once

#include <optional>
#include <string>

#include "util/PropertyValue.hpp"

namespace quillet {

/// Property-list files.
class PropertyLists {
  public:
    virtual ~PropertyLists() = default;

    /// -dictionaryWithContentsOfFile:  Nullopt where the file cannot be read, is no property list, or holds no
    /// dictionary.
    virtual std::optional<util::PropertyDictionary> dictionaryWithContentsOfFile(const std::string& path) = 0;
    /// -writeToFile:atomically:  False, and one log line, where it could not be written; with `atomically` what was at
    /// `path` is whole then.
    virtual bool writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool atomically) = 0;
};

}  // namespace quillet
