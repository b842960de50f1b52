#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

#include "util/PropertyValue.hpp"

/// Between the platform's objects and ours. Objects handed out are autoreleased.
namespace quillet {

/// UTF-8; "" for nil. A lone surrogate becomes U+FFFD.
std::string textOf(NSString* string);
/// Ill-formed parts of `utf8` become U+FFFD; never nil.
NSString* stringOf(std::string_view utf8);

/// nil where a dictionary's or array's value cannot be an object (never, for values that came from valueOf).
id objectOf(const util::PropertyValue& value);
/// Text, numbers (truth value, signed, unsigned and real told apart), dates, data, arrays and dictionaries with text
/// keys; what else a collection holds is left out of it. nullopt for nil and any other object. Data shares the
/// object's bytes.
std::optional<util::PropertyValue> valueOf(id object);

NSDictionary* objectOf(const util::PropertyDictionary& dictionary);
/// nullopt for what is no dictionary.
std::optional<util::PropertyDictionary> dictionaryOf(id object);

}  // namespace quillet
