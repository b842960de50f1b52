#include "id3/FrameLibrary.hpp"

#include <utility>

namespace quillet {

FrameLibrary::FrameLibrary(std::shared_ptr<const util::PropertyDictionary> dictionary)
    : owner_(std::move(dictionary)), frames_(owner_ ? dictionaryAt(*owner_, "frames") : nullptr) {
    const util::PropertyValue* prefixes = frames_ == nullptr ? nullptr : util::find(*frames_, "iTunes_comment");
    if (prefixes != nullptr) commentPrefixes_ = prefixes->array();
}

std::string_view FrameLibrary::versionKey(std::uint32_t majorVersion) {
    if (majorVersion < 3) return "2.0";
    if (majorVersion == 3) return "2.3";
    return majorVersion == 4 ? "2.4" : "";
}

const util::PropertyDictionary* FrameLibrary::record(std::string_view versionKey, std::string_view identifier) const {
    const util::PropertyDictionary* records = frames_ == nullptr ? nullptr : dictionaryAt(*frames_, versionKey);
    return records == nullptr ? nullptr : dictionaryAt(*records, identifier);
}

const util::PropertyDictionary* FrameLibrary::dictionaryAt(const util::PropertyDictionary& dictionary,
                                                           std::string_view key) {
    const util::PropertyValue* value = util::find(dictionary, key);
    return value == nullptr ? nullptr : value->dictionary();
}

bool FrameLibrary::flagOf(const util::PropertyDictionary& record, std::string_view key) {
    const util::PropertyValue* value = util::find(record, key);
    if (value == nullptr) return false;
    if (const bool* truth = value->boolean()) return *truth;
    return (value->signedInteger() != nullptr && *value->signedInteger() != 0) ||
           (value->unsignedInteger() != nullptr && *value->unsignedInteger() != 0);
}

}  // namespace quillet
