#include "util/PropertyValue.hpp"

#include <utility>

namespace quillet::util {

std::optional<std::string> PropertyValue::stringValue() const {
    if (const auto* value = text()) return *value;
    if (const auto* value = signedInteger()) return std::to_string(*value);
    if (const auto* value = unsignedInteger()) return std::to_string(*value);
    return std::nullopt;
}

bool operator==(const PropertyValue& a, const PropertyValue& b) {
    if (const auto *left = a.signedInteger(), *right = b.signedInteger(); left && !right) {
        return b.unsignedInteger() && std::cmp_equal(*left, *b.unsignedInteger());
    } else if (right && !left) {
        return b == a;
    }
    return a.value_ == b.value_;
}

const PropertyValue* find(const PropertyDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &found->second;
}

std::string textAt(const PropertyDictionary& dictionary, std::string_view key) {
    const PropertyValue* value = find(dictionary, key);
    return value != nullptr && value->text() != nullptr ? *value->text() : std::string();
}

}  // namespace quillet::util
