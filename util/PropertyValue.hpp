#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "util/Data.hpp"

namespace quillet::util {

class PropertyValue;

using PropertyArray = std::vector<PropertyValue>;
/// Sorted by the bytes of the key, so that everything that walks a dictionary does so in one order.
using PropertyDictionary = std::map<std::string, PropertyValue, std::less<>>;

/// A moment, in seconds since 2001-01-01T00:00:00Z, as property lists count.
struct PropertyDate {
    double seconds = 0;
    bool operator==(const PropertyDate&) const = default;
};

/// One value of a property list: text, whole number (signed or unsigned, kept apart), real number, truth value, date,
/// data, array or dictionary. A value keeps the type it was made with: "2009" and 2009 are two values.
class PropertyValue {
  public:
    PropertyValue() : value_(std::string()) {}
    PropertyValue(std::string text) : value_(std::move(text)) {}
    PropertyValue(std::string_view text) : value_(std::string(text)) {}
    PropertyValue(const char* text) : value_(std::string(text)) {}
    PropertyValue(bool value) : value_(value) {}
    PropertyValue(std::int32_t value) : value_(std::int64_t{value}) {}
    PropertyValue(std::uint32_t value) : value_(std::uint64_t{value}) {}
    PropertyValue(std::int64_t value) : value_(value) {}
    PropertyValue(std::uint64_t value) : value_(value) {}
    PropertyValue(double value) : value_(value) {}
    PropertyValue(PropertyDate date) : value_(date) {}
    PropertyValue(Data data) : value_(std::move(data)) {}
    PropertyValue(PropertyArray array) : value_(std::move(array)) {}
    PropertyValue(PropertyDictionary dictionary) : value_(std::move(dictionary)) {}

    /// Each answers null where the value is of another type.
    const std::string* text() const { return std::get_if<std::string>(&value_); }
    const bool* boolean() const { return std::get_if<bool>(&value_); }
    const std::int64_t* signedInteger() const { return std::get_if<std::int64_t>(&value_); }
    const std::uint64_t* unsignedInteger() const { return std::get_if<std::uint64_t>(&value_); }
    const double* real() const { return std::get_if<double>(&value_); }
    const PropertyDate* date() const { return std::get_if<PropertyDate>(&value_); }
    const Data* data() const { return std::get_if<Data>(&value_); }
    const PropertyArray* array() const { return std::get_if<PropertyArray>(&value_); }
    const PropertyDictionary* dictionary() const { return std::get_if<PropertyDictionary>(&value_); }

    /// The text, or a whole number in decimal; nullopt for every other type.
    std::optional<std::string> stringValue() const;

    /// Same type and same value; a signed and an unsigned whole number of one value are equal.
    friend bool operator==(const PropertyValue& a, const PropertyValue& b);

  private:
    std::variant<std::string, bool, std::int64_t, std::uint64_t, double, PropertyDate, Data, PropertyArray,
                 PropertyDictionary>
        value_;
};

/// The text under `key`; "" where there is none, or a value of another type.
std::string textAt(const PropertyDictionary& dictionary, std::string_view key);
/// The value under `key`, or null.
const PropertyValue* find(const PropertyDictionary& dictionary, std::string_view key);

}  // namespace quillet::util
