#include "platform/linux/LibplistPropertyLists.hpp"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <limits>

#include "tests/TemporaryFolder.hpp"

namespace quillet {
namespace {

using util::PropertyArray;
using util::PropertyDate;
using util::PropertyDictionary;
using util::PropertyValue;

std::string written(const PropertyValue& value) {
    const auto bytes = LibplistPropertyLists::serialised(value);
    return bytes ? std::string(util::charactersOf(*bytes)) : "refused";
}

std::optional<PropertyValue> read(std::string_view text) {
    return LibplistPropertyLists::parsed(util::bytesOf(text));
}

PropertyValue nested(int depth, bool dictionaries) {
    PropertyValue value(1);
    for (int i = 0; i < depth; ++i)
        value = dictionaries ? PropertyValue(PropertyDictionary{{"k", value}}) : PropertyValue(PropertyArray{value});
    return value;
}

enum class Form { xml, binary };

TEST(LibplistPropertyLists, EveryValueIsReadAsItWasWritten) {
    struct Case {
        PropertyValue value;
        Form form;
    };
    const Case cases[] = {
        {"", Form::xml},
        {" <a> & \"b\" ]]> &amp; \t\n", Form::xml},
        {"Ünï \xF0\x9F\x98\x80", Form::xml},
        {"carriage\rreturn", Form::binary},
        {"\x01\x1F", Form::binary},
        {std::string("a\0b", 3), Form::binary},
        {std::string("ä\0", 3), Form::binary},
        {"\xEF\xBF\xBF", Form::binary},
        {0, Form::xml},
        {-1, Form::xml},
        {4294967295U, Form::xml},
        {std::numeric_limits<std::int64_t>::min(), Form::xml},
        {std::numeric_limits<std::int64_t>::max(), Form::xml},
        {std::uint64_t{1} << 63, Form::binary},
        {~std::uint64_t{0}, Form::binary},
        {true, Form::xml},
        {false, Form::xml},
        {0.1, Form::xml},
        {1.0, Form::xml},
        {5e-324, Form::xml},
        {-1.7976931348623157e308, Form::xml},
        {std::numeric_limits<double>::infinity(), Form::xml},
        {PropertyDate{0}, Form::xml},
        {PropertyDate{-978307201}, Form::xml},
        {PropertyDate{2147483647}, Form::xml},
        {PropertyDate{-2147483647}, Form::xml},
        {PropertyDate{2147483648}, Form::binary},
        {PropertyDate{0.1}, Form::binary},
        {PropertyDate{-1e15}, Form::binary},
        {util::Data(), Form::xml},
        {util::Data::copyOf(util::bytesOf(std::string("\0\xFF bplist", 9))), Form::xml},
        {PropertyArray{}, Form::xml},
        {PropertyArray{1, "1", true, 1.0, PropertyDate{1}, -1, PropertyArray{PropertyArray{}}}, Form::xml},
        {PropertyArray{"\x01",
                       1,
                       "1",
                       true,
                       1.0,
                       PropertyDate{1},
                       -1,
                       ~std::uint64_t{0},
                       1,
                       "1",
                       true,
                       1.0,
                       PropertyDate{1},
                       -1,
                       ~std::uint64_t{0},
                       std::uint64_t{1} << 63,
                       PropertyArray{},
                       PropertyArray{},
                       std::string(300, 'x'),
                       std::string(70000, 'y')},
         Form::binary},
        {PropertyDictionary{}, Form::xml},
        {PropertyDictionary{{"", 1}, {" ", 2}, {"a<b>&", PropertyDictionary{{"", ""}}}, {"ä", "ö"}}, Form::xml},
        {PropertyDictionary{{"\x02", "\x03"}, {"ä", "\x04ö"}}, Form::binary},
        {nested(63, false), Form::xml},
        {nested(63, true), Form::xml},
    };
    int index = 0;
    for (const Case& each : cases) {
        SCOPED_TRACE(index++);
        const std::string bytes = written(each.value);
        EXPECT_EQ(bytes.starts_with("bplist00"), each.form == Form::binary);
        EXPECT_EQ(read(bytes), each.value) << bytes;
        EXPECT_EQ(read(written(PropertyArray{each.value, "\x01"})), (PropertyArray{each.value, "\x01"}));
    }
    // What == does not tell apart, and what it never finds equal.
    EXPECT_TRUE(std::signbit(*read(written(-0.0))->real()));
    EXPECT_TRUE(std::isnan(*read(written(std::nan("")))->real()));
    EXPECT_TRUE(std::isnan(read(written(PropertyDate{std::nan("")}))->date()->seconds));
    EXPECT_NE(read(written(~std::uint64_t{0}))->unsignedInteger(), nullptr);
    EXPECT_EQ(read(written(true))->signedInteger(), nullptr);
}

TEST(LibplistPropertyLists, TextThatNoListCanHoldIsWrittenWithReplacementCharacters) {
    EXPECT_EQ(read(written("a\xFF")), PropertyValue("a\xEF\xBF\xBD"));
    EXPECT_EQ(read(written(PropertyDictionary{{std::string("a\0", 2), 1}})),
              PropertyValue(PropertyDictionary{{"a\xEF\xBF\xBD", 1}}));
    EXPECT_EQ(read(written(PropertyDictionary{{"\xED\xA0\x80", 1}}))->dictionary()->size(), 1U);
}

TEST(LibplistPropertyLists, DepthIsBoundedBothWays) {
    EXPECT_EQ(written(nested(65, false)), "refused");
    EXPECT_EQ(written(nested(65, true)), "refused");
    for (const int depth : {64, 65, 1'000'000}) {
        std::string xml = "<plist version=\"1.0\">";
        for (int i = 0; i < depth; ++i) xml += "<array>";
        for (int i = 0; i < depth; ++i) xml += "</array>";
        EXPECT_EQ(read(xml + "</plist>").has_value(), depth == 64) << depth;
        // Each object an array of the next one.
        std::string objects = "bplist00";
        std::string offsets;
        const auto number = [](std::size_t value) {
            return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                               static_cast<char>(value >> 8), static_cast<char>(value)};
        };
        for (int i = 0; i < depth; ++i) {
            offsets += number(objects.size());
            objects += i + 1 == depth ? "\xA0" : "\xA1" + number(static_cast<std::size_t>(i) + 1);
        }
        const std::string eight(4, '\0');
        EXPECT_EQ(read(objects + offsets + std::string("\0\0\0\0\0\0\4\4", 8) + eight +
                       number(static_cast<std::size_t>(depth)) + eight + number(0) + eight + number(objects.size()))
                      .has_value(),
                  depth == 64)
            << depth;
    }
}

TEST(LibplistPropertyLists, WhatIsNoSoundListIsRefused) {
    const auto binary = [](std::string objects, std::string offsets, int count) {
        const std::string tail = std::string("\0\0\0\0\0\0\1\1\0\0\0\0\0\0\0", 15) + static_cast<char>(count) +
                                 std::string(8, '\0') + std::string(7, '\0') + static_cast<char>(8 + objects.size());
        return "bplist00" + objects + offsets + tail;
    };
    ASSERT_EQ(read(binary("\x10\x05", "\x08", 1)), PropertyValue(5));
    std::string laughs;  // each array holds the next one fifteen times
    std::string laughOffsets;
    for (char i = 0; i < 12; ++i) {
        laughOffsets += static_cast<char>(8 + laughs.size());
        laughs += "\xAF\x10\x0F" + std::string(15, static_cast<char>(i + 1));
    }
    laughOffsets += static_cast<char>(8 + laughs.size());
    laughs += "\x09";
    const std::string cases[] = {
        "",
        "bplist00",
        "no list",
        "<plist version=\"1.0\">",
        "<plist version=\"1.0\"><dict></plist>",
        "<plist version=\"1.0\"><array><integer>1</array></integer></plist>",
        "<plist version=\"1.0\"><array><!--><array>--></array></plist>",
        "<plist version=\"1.0\"><string><array></array></string></plist>",
        "<!DOCTYPE plist [<!ENTITY a \"&b;&b;\">]><plist version=\"1.0\"><string>&a;</string></plist>",
        "<plist version=\"1.0\"><unknown/></plist>",
        binary("\xA1", "\x08", 1),                                      // a reference beyond the objects
        binary(std::string("\xA1\x00", 2), "\x08", 1),                  // an array in itself
        binary(std::string("\xA1\x07", 2), "\x08", 1),                  // no such object
        binary("\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", "\x08", 1),  // a text of 2^63 bytes
        binary("\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x01", "\x08", 1),  // twice that wraps around
        binary("\xDF\x13\x80\x00\x00\x00\x00\x00\x00\x00", "\x08", 1),
        binary(std::string("\xD1\x01\x01\x09", 4), "\x08\x0B", 2),      // a key that is no text
        binary(std::string("\xD1\x01\x01\x51\x00", 5), "\x08\x0B", 2),  // NUL in a key
        binary(std::string("\xD1\x01\x01\x61\x00\x00", 6), "\x08\x0B", 2),
        "<plist version=\"1.0\"><dict><key>a&#x00;b</key><true/></dict></plist>",
        binary("\x17", "\x08", 1),         // a whole number of 128 bytes
        binary("\x80\x01", "\x08", 1),     // a type that no list of ours has
        binary(laughs, laughOffsets, 13),  // 15^12 values in 300 bytes
    };
    for (const std::string& each : cases) EXPECT_EQ(read(each), std::nullopt) << each;

    const std::string good = written(PropertyDictionary{{"\x01", PropertyArray{1, "text", 1.5, PropertyDate{0.5}}}});
    for (std::size_t size = 0; size < good.size(); ++size) EXPECT_EQ(read(good.substr(0, size)), std::nullopt) << size;
}

TEST(LibplistPropertyLists, FilesAreReplacedWholeAndOnlyDictionariesAreRead) {
    const test::TemporaryFolder folder;
    LibplistPropertyLists lists;
    const std::string path = folder / "list.plist";
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), std::nullopt);
    const PropertyDictionary dictionary{{"12", PropertyDictionary{{"assetPath", "A.mp3"}, {"year", "2009"}}}};
    for (const bool atomically : {false, true}) {
        const std::filesystem::path other = folder.write("other", "old");
        std::filesystem::remove(path);
        std::filesystem::create_hard_link(other, path);
        EXPECT_TRUE(lists.writeToFile(dictionary, path, atomically));
        EXPECT_EQ(test::contentOf(other), "old");  // not written into
        EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), dictionary);
    }
    EXPECT_FALSE(lists.writeToFile({{"deep", nested(64, false)}}, path, true));
    EXPECT_FALSE(lists.writeToFile(dictionary, folder / "none/list.plist", true));
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), dictionary);
    folder.write("list.plist", written(PropertyArray{1}));
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), std::nullopt);
}

TEST(LibplistPropertyLists, ListsOfOtherProgramsAreRead) {
    const PropertyDictionary expected{{"name", "Ä & B"}, {"list", PropertyArray{1, true}}};
    EXPECT_EQ(
        read("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
             "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<!-- a <dict> in a comment -->\n"
             "<plist version=\"1.0\">\n<dict>\n<key>name</key><string>Ä <![CDATA[& B]]></string>\n"
             "<key>list</key><array><integer>1</integer><true/></array></dict></plist>\n"),
        PropertyValue(expected));
}

}  // namespace
}  // namespace quillet
