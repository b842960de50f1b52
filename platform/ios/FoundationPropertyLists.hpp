#pragma once

#include "platform/PropertyLists.hpp"

namespace quillet {

/// XML property lists by NSPropertyListSerialization. What is written goes through data first, so that nothing is
/// written where the dictionary cannot be one.
class FoundationPropertyLists : public PropertyLists {
  public:
    std::optional<util::PropertyDictionary> dictionaryWithContentsOfFile(const std::string& path) override;
    bool writeToFile(const util::PropertyDictionary& dictionary, const std::string& path, bool atomically) override;
};

}  // namespace quillet
