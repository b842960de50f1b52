#include "util/PropertyValue.hpp"

#include <gtest/gtest.h>

#include <cstdint>

namespace quillet::util {
namespace {

const PropertyValue kOneOfEach[] = {"1",
                                    true,
                                    std::int32_t{1},
                                    std::uint64_t{2},
                                    1.0,
                                    PropertyDate{1.0},
                                    Data::copyOf(bytesOf("1")),
                                    PropertyArray{PropertyValue(1)},
                                    PropertyDictionary{{"1", PropertyValue(1)}}};

TEST(PropertyValue, KeepsTheTypeItWasMadeWith) {
    for (std::size_t i = 0; i < std::size(kOneOfEach); ++i) {
        for (std::size_t j = 0; j < std::size(kOneOfEach); ++j) {
            EXPECT_EQ(kOneOfEach[i] == kOneOfEach[j], i == j) << i << " and " << j;
        }
        const PropertyValue& value = kOneOfEach[i];
        const bool types[] = {value.text() != nullptr,          value.boolean() != nullptr,
                              value.signedInteger() != nullptr, value.unsignedInteger() != nullptr,
                              value.real() != nullptr,          value.date() != nullptr,
                              value.data() != nullptr,          value.array() != nullptr,
                              value.dictionary() != nullptr};
        for (std::size_t j = 0; j < std::size(types); ++j) EXPECT_EQ(types[j], i == j) << i << " asked as " << j;
    }
}

TEST(PropertyValue, ComparesWholeNumbersByValueWhateverTheirSign) {
    EXPECT_EQ(PropertyValue(std::int64_t{4294967295}), PropertyValue(std::uint32_t{4294967295}));
    EXPECT_EQ(PropertyValue(std::uint64_t{7}), PropertyValue(7));
    EXPECT_FALSE(PropertyValue(-1) == PropertyValue(UINT64_MAX));
    EXPECT_FALSE(PropertyValue(UINT64_MAX) == PropertyValue(-1));
    EXPECT_FALSE(PropertyValue(std::uint64_t{1}) == PropertyValue(true));
}

TEST(PropertyValue, GivesTextAndWholeNumbersAsStringsAndIsFoundByItsKey) {
    EXPECT_EQ(PropertyValue("2009").stringValue(), "2009");
    EXPECT_EQ(PropertyValue(INT64_MIN).stringValue(), "-9223372036854775808");
    EXPECT_EQ(PropertyValue(UINT64_MAX).stringValue(), "18446744073709551615");
    for (const PropertyValue& value : kOneOfEach) {
        const bool speaks = value.text() || value.signedInteger() || value.unsignedInteger();
        EXPECT_EQ(value.stringValue().has_value(), speaks);
    }
    const PropertyDictionary dictionary{{"year", PropertyValue("2009")}};
    ASSERT_NE(find(dictionary, "year"), nullptr);
    EXPECT_EQ(*find(dictionary, "year"), PropertyValue("2009"));
    EXPECT_EQ(find(dictionary, "yea"), nullptr);
}

}  // namespace
}  // namespace quillet::util
