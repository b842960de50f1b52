#include "platform/ios/FoundationValues.h"

#include <bit>
#include <utility>
#include <vector>

#include "util/Text.hpp"

namespace quillet {

std::string textOf(NSString* string) {
    const NSUInteger length = [string length];
    if (string == nil || length == 0) return {};
    // Not -UTF8String, which ends at a NUL and has no answer where a surrogate stands alone.
    std::vector<unichar> units(length + 1);
    units[0] = 0xFEFF;  // tells the order, and is taken off again
    [string getCharacters:&units[1] range:NSMakeRange(0, length)];
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(units.data());
    return util::decodeUTF16({bytes, units.size() * sizeof(unichar)}, util::ByteOrder::littleEndian);
}

NSString* stringOf(std::string_view utf8) {
    // Not from UTF-8, which would have to be well-formed.
    constexpr auto kOrder =
        std::endian::native == std::endian::little ? util::ByteOrder::littleEndian : util::ByteOrder::bigEndian;
    const std::string units = util::encodeUTF16(utf8, kOrder);
    return [NSString stringWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                   length:units.size() / sizeof(unichar)];
}

namespace {

NSData* objectOf(const util::Data& data) {
    return [NSData dataWithBytes:data.bytes().data() length:data.size()];
}

NSArray* objectOf(const util::PropertyArray& array) {
    NSMutableArray* objects = [NSMutableArray array];
    for (const util::PropertyValue& value : array) [objects addObject:quillet::objectOf(value)];
    return objects;
}

/// Two numbers of one value may be of different types, which the class alone shows for the truth values.
util::PropertyValue valueOfNumber(NSNumber* number) {
    if ([number class] == [[NSNumber numberWithBool:YES] class]) return static_cast<bool>([number boolValue]);
    switch (*[number objCType]) {
        case 'f':
        case 'd':
            return [number doubleValue];
        case 'C':
        case 'S':
        case 'I':
        case 'L':
        case 'Q':
            return std::uint64_t{[number unsignedLongLongValue]};
        default:
            return std::int64_t{[number longLongValue]};
    }
}

util::PropertyValue valueOfData(NSData* data) {
    // A copy of data that cannot change is that data.
    NSData* kept = [data copy];
    const std::shared_ptr<const void> owner(kept, [](const void* bytes) { [(NSData*)bytes release]; });
    return util::Data(owner, {static_cast<const std::uint8_t*>([kept bytes]), [kept length]});
}

util::PropertyValue valueOfArray(NSArray* objects) {
    util::PropertyArray array;
    for (id object in objects)
        if (auto value = valueOf(object)) array.push_back(*std::move(value));
    return array;
}

}  // namespace

id objectOf(const util::PropertyValue& value) {
    if (const auto* text = value.text()) return stringOf(*text);
    if (const auto* truth = value.boolean()) return [NSNumber numberWithBool:*truth];
    if (const auto* number = value.signedInteger()) return [NSNumber numberWithLongLong:*number];
    if (const auto* number = value.unsignedInteger()) return [NSNumber numberWithUnsignedLongLong:*number];
    if (const auto* number = value.real()) return [NSNumber numberWithDouble:*number];
    if (const auto* date = value.date()) return [NSDate dateWithTimeIntervalSinceReferenceDate:date->seconds];
    if (const auto* data = value.data()) return objectOf(*data);
    if (const auto* array = value.array()) return objectOf(*array);
    return objectOf(*value.dictionary());
}

NSDictionary* objectOf(const util::PropertyDictionary& dictionary) {
    NSMutableDictionary* objects = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : dictionary) [objects setObject:objectOf(value) forKey:stringOf(key)];
    return objects;
}

std::optional<util::PropertyValue> valueOf(id object) {
    if ([object isKindOfClass:[NSString class]]) return textOf(object);
    if ([object isKindOfClass:[NSNumber class]]) return valueOfNumber(object);
    if ([object isKindOfClass:[NSData class]]) return valueOfData(object);
    if ([object isKindOfClass:[NSDate class]]) return util::PropertyDate{[object timeIntervalSinceReferenceDate]};
    if ([object isKindOfClass:[NSArray class]]) return valueOfArray(object);
    if (auto dictionary = dictionaryOf(object)) return *std::move(dictionary);
    return std::nullopt;
}

std::optional<util::PropertyDictionary> dictionaryOf(id object) {
    if (![object isKindOfClass:[NSDictionary class]]) return std::nullopt;
    util::PropertyDictionary dictionary;
    for (id key in object) {
        auto value = valueOf([object objectForKey:key]);
        if (value && [key isKindOfClass:[NSString class]]) dictionary.insert_or_assign(textOf(key), *std::move(value));
    }
    return dictionary;
}

}  // namespace quillet
