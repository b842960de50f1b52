#include "util/Text.hpp"

#include <gtest/gtest.h>

#include <cstdint>

namespace quillet::util {
namespace {

#define FFFD "\xef\xbf\xbd"

using namespace std::string_view_literals;

struct Decoding {
    std::string_view bytes, text;
};

const Decoding kIllFormedUTF8[] = {
    // Unicode 15, tables 3-8 to 3-11.
    {"\xc0\xaf\xe0\x80\xbf\xf0\x81\x82\x41", FFFD FFFD FFFD FFFD FFFD FFFD FFFD FFFD "A"},
    {"\xed\xa0\x80\xed\xbf\xbf\xed\xaf\x41", FFFD FFFD FFFD FFFD FFFD FFFD FFFD FFFD "A"},
    {"\xf4\x91\x92\x93\xff\x41\x80\xbf\x42", FFFD FFFD FFFD FFFD FFFD "A" FFFD FFFD "B"},
    {"\xe1\x80\xe2\xf0\x91\x92\xf1\xbf\x41", FFFD FFFD FFFD FFFD "A"},
    // Cut short at the end, and a lead byte that meets another.
    {"\xf0\x9f\x8e", FFFD},
    {"\xe2\x82", FFFD},
    {"\xc3", FFFD},
    {"\xc3\xc3\xa9", FFFD "\xc3\xa9"},
};
const std::string_view kWellFormedUTF8[] = {"",
                                            "A\0B"sv,
                                            "\x7f",
                                            "\xc2\x80",
                                            "\xdf\xbf",
                                            "\xe0\xa0\x80",
                                            "\xed\x9f\xbf",
                                            "\xee\x80\x80",
                                            "\xef\xbb\xbf",
                                            "\xef\xbf\xbf",
                                            "\xf0\x90\x80\x80",
                                            "\xf4\x8f\xbf\xbf"};

TEST(Text, ReplacesEachMaximalIllFormedPartOfUTF8) {
    for (const Decoding& c : kIllFormedUTF8) {
        EXPECT_EQ(decodeUTF8(bytesOf(c.bytes)), c.text) << hexadecimal(bytesOf(c.bytes));
        EXPECT_FALSE(isUTF8(c.bytes)) << hexadecimal(bytesOf(c.bytes));
    }
    for (const std::string_view text : kWellFormedUTF8) {
        EXPECT_EQ(decodeUTF8(bytesOf(text)), text);
        EXPECT_TRUE(isUTF8(text)) << hexadecimal(bytesOf(text));
    }
}

const Decoding kBigEndianUTF16[] = {
    {"", ""},
    {"\0A\0\xe9"sv, "A\xc3\xa9"},
    {"\xfe\xff\0A"sv, "A"},
    {"\xff\xfe\x41\0\xff\xfe"sv, "A\xef\xbb\xbf"},  // only the first mark is one
    {"\xfe\xff", ""},
    {"\xff\xfe\x3c\xd8\xb5\xdf", "\xf0\x9f\x8e\xb5"},
    {"\xdb\xff\xdf\xff", "\xf4\x8f\xbf\xbf"},
    {"\0A\0"sv, "A" FFFD},
    {"\xfe", FFFD},
    {"\xd8\x3c", FFFD},
    {"\xd8\x3c\xdf", FFFD FFFD},
    {"\xd8\x3c\0A"sv, FFFD "A"},
    {"\xd8\x3c\xd8\x3c\xdf\xb5", FFFD "\xf0\x9f\x8e\xb5"},
    {"\xdf\xb5\xd8\x3c", FFFD FFFD},
};

TEST(Text, DecodesAndEncodesUTF16) {
    for (const Decoding& c : kBigEndianUTF16) {
        EXPECT_EQ(decodeUTF16(bytesOf(c.bytes), ByteOrder::bigEndian), c.text) << hexadecimal(bytesOf(c.bytes));
    }
    EXPECT_EQ(decodeUTF16(bytesOf("A\0"sv), ByteOrder::littleEndian), "A");
    EXPECT_EQ(decodeUTF16(bytesOf("\xfe\xff\0A"sv), ByteOrder::littleEndian), "A");
    EXPECT_EQ(encodeUTF16("A\xf0\x9f\x8e\xb5", ByteOrder::bigEndian), "\0A\xd8\x3c\xdf\xb5"sv);
    EXPECT_EQ(encodeUTF16("A\xf0\x9f\x8e\xb5", ByteOrder::littleEndian), "A\0\x3c\xd8\xb5\xdf"sv);
    EXPECT_EQ(encodeUTF16("\xff", ByteOrder::bigEndian), "\xff\xfd");
}

TEST(Text, EncodesInLatin1WhatLatin1Has) {
    std::vector<std::uint8_t> every(256);
    for (std::size_t i = 0; i < every.size(); ++i) every[i] = static_cast<std::uint8_t>(i);
    EXPECT_EQ(decodeLatin1(bytesOf("\x80\xff")), "\xc2\x80\xc3\xbf");
    EXPECT_EQ(encodeLatin1(decodeLatin1(every)), charactersOf(every));
    EXPECT_EQ(encodeLatin1("\xc4\x80"), std::nullopt);  // U+0100
    EXPECT_EQ(encodeLatin1("A\xff"), std::nullopt);
}

TEST(Text, CountsAndCutsInUTF16CodeUnits) {
    constexpr std::string_view text =
        "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xb5"
        "b\xff";  // 1, 1, 1, 2, 1 and 1 units
    EXPECT_EQ(utf16Length(text), 7U);
    const std::size_t bytes[] = {0, 1, 3, 6, 6, 10, 11, 12, 12};  // four units would end inside the fourth character
    for (std::size_t units = 0; units < std::size(bytes); ++units) {
        EXPECT_EQ(utf16Prefix(text, units), text.substr(0, bytes[units])) << units;
    }
}

TEST(Text, SplitsIntoAtLeastOnePiece) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(split("", '/'), Pieces{""});
    EXPECT_EQ(split("3/12", '/'), (Pieces{"3", "12"}));
    EXPECT_EQ(split("/a//", '/'), (Pieces{"", "a", "", ""}));
}

TEST(Text, TrimsUnicodeWhiteSpaceAtBothEnds) {
    const Decoding cases[] = {
        {" \t\r\n\v\f", ""},
        {"\xc2\x85\xc2\xa0 a b "
         "\xe1\x9a\x80\xe2\x80\x80\xe2\x80\x8a\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaf\xe2\x81\x9f\xe3\x80\x80",
         "a b"},
        {"\xe2\x80\x8b", "\xe2\x80\x8b"},  // U+200B has no width but is no white space
        {" \x85 ", "\x85"},                // a lone byte is not U+0085
    };
    for (const Decoding& c : cases) EXPECT_EQ(trimmed(c.bytes), c.text) << hexadecimal(bytesOf(c.bytes));
}

TEST(Text, ReadsTheIntegerThatATextBeginsWith) {
    const std::pair<std::string_view, std::int64_t> cases[] = {
        {"", 0},   {"x", 0},    {"+", 0},  {"+-5", 0}, {"-+5", 0},       {"--5", 0}, {"- 5", 0},
        {".5", 0}, {"0x10", 0}, {"+7", 7}, {"-7", -7}, {" \n007/12", 7}, {"3.9", 3}, {"\xc2\xa0\x37 up", 7}};
    for (const auto& [text, value] : cases) EXPECT_EQ(integerValue(text), value) << text;
    EXPECT_EQ(integerValue("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(integerValue("9223372036854775808"), INT64_MAX);
    EXPECT_EQ(integerValue("+99999999999999999999999"), INT64_MAX);
    EXPECT_EQ(integerValue("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(integerValue("-9223372036854775809"), INT64_MIN);
}

}  // namespace
}  // namespace quillet::util
