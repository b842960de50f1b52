#include "platform/linux/LibplistPropertyLists.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/TemporaryFolder.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
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

PropertyValue nested(int depth, bool dictionaries = false) {
    PropertyValue value(1);
    for (int i = 0; i < depth; ++i)
        value = dictionaries ? PropertyValue(PropertyDictionary{{"k", value}}) : PropertyValue(PropertyArray{value});
    return value;
}

std::string xml(const std::string& content) {
    return "<plist version=\"1.0\">" + content + "</plist>";
}

TEST(LibplistPropertyLists, EveryValueIsReadAsItWasWritten) {
    const PropertyArray oneOfEach{1, "1", true, 1.0, PropertyDate{1}, -1, PropertyArray{PropertyArray{}}};
    const PropertyArray cases[] = {
        {"", " <a> & \"b\" ]]> &amp; \t\n", "Ünï \xF0\x9F\x98\x80", true, false},
        {0, -1, 4294967295U, INT64_MIN, INT64_MAX},
        {0.1, 1.0, 5e-324, -1.7976931348623157e308, std::numeric_limits<double>::infinity()},
        {PropertyDate{0}, PropertyDate{-978307201}, PropertyDate{2147483647}, PropertyDate{-2147483647}},
        {util::Data(), util::Data::copyOf(util::bytesOf("\0\xFF bplist"s)), PropertyArray{}, oneOfEach},
        {PropertyDictionary{}, nested(63), nested(63, true)},
        {PropertyDictionary{{"", 1}, {" ", 2}, {"a<b>&", PropertyDictionary{{"", ""}}}, {"ä", "ö"}}},
        {"carriage\rreturn", "\x01\x1F", "a\0b"s, "ä\0"s, "\xEF\xBF\xBF"},
        {std::uint64_t{1} << 63, UINT64_MAX, PropertyDate{2147483648}, PropertyDate{0.1}, PropertyDate{-1e15}},
        {PropertyArray{"\x01", UINT64_MAX, oneOfEach, PropertyArray{}, oneOfEach},
         PropertyArray{UINT64_MAX, std::uint64_t{1} << 63, std::string(300, 'x'), UINT64_MAX, std::string(70000, 'y')},
         PropertyDictionary{{"\x02", "\x03"}, {"ä", "\x04ö"}}}};
    for (const PropertyArray& values : cases) {
        for (const PropertyValue& value : values) {
            const std::string bytes = written(value);
            EXPECT_EQ(read(bytes), value) << bytes;
            EXPECT_EQ(read(written(PropertyArray{value, "\x01"})), (PropertyArray{value, "\x01"})) << bytes;
        }
    }
    // What == does not tell apart, and what it never finds equal.
    EXPECT_TRUE(std::signbit(*read(written(-0.0))->real()));
    EXPECT_TRUE(std::isnan(*read(written(std::nan("")))->real()));
    EXPECT_TRUE(std::isnan(read(written(PropertyDate{std::nan("")}))->date()->seconds));
    EXPECT_NE(read(written(~std::uint64_t{0}))->unsignedInteger(), nullptr);
    EXPECT_EQ(read(written(true))->signedInteger(), nullptr);
    // Text that no list can hold is written with replacement characters.
    EXPECT_EQ(read(written("a\xFF")), PropertyValue("a\xEF\xBF\xBD"));
    EXPECT_EQ(read(written(PropertyDictionary{{std::string("a\0", 2), 1}})),
              PropertyValue(PropertyDictionary{{"a\xEF\xBF\xBD", 1}}));
    EXPECT_EQ(read(written(PropertyDictionary{{"\xED\xA0\x80", 1}}))->dictionary()->size(), 1U);
}

TEST(LibplistPropertyLists, DepthIsBoundedBothWays) {
    for (const bool dictionaries : {false, true}) EXPECT_EQ(written(nested(65, dictionaries)), "refused");
    for (const int depth : {64, 65, 1'000'000}) {
        std::string arrays;
        for (int i = 0; i < depth; ++i) arrays += "<array>";
        for (int i = 0; i < depth; ++i) arrays += "</array>";
        EXPECT_EQ(read(xml(arrays)).has_value(), depth == 64) << depth;
        // Each object an array of the next one.
        std::string objects = "bplist00", offsets;
        const auto number = [](std::size_t value, int size = 4) {
            std::string bytes(static_cast<std::size_t>(size), '\0');
            for (; value != 0; value >>= 8) bytes[static_cast<std::size_t>(--size)] = static_cast<char>(value);
            return bytes;
        };
        for (int i = 0; i < depth; ++i) {
            offsets += number(objects.size());
            objects += i + 1 == depth ? "\xA0" : "\xA1" + number(static_cast<std::size_t>(i) + 1);
        }
        const std::string tail = "\0\0\0\0\0\0\4\4"s + number(static_cast<std::size_t>(depth), 8) + number(0, 8);
        EXPECT_EQ(read(objects + offsets + tail + number(objects.size(), 8)).has_value(), depth == 64) << depth;
    }
}

TEST(LibplistPropertyLists, WhatIsNoSoundListIsRefused) {
    const auto binary = [](const std::string& objects, const std::string& offsets = "\x08") {
        const auto number = [](std::size_t value) { return std::string(7, '\0') + static_cast<char>(value); };
        return "bplist00" + objects + offsets + "\0\0\0\0\0\0\1\1"s + number(offsets.size()) + number(0) +
               number(8 + objects.size());
    };
    ASSERT_EQ(read(binary("\x10\x05")), PropertyValue(5));
    std::string laughs, laughOffsets;  // each array holds the next one fifteen times
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
        xml("<dict>"),
        xml("<array><integer>1</array></integer>"),
        xml("<array><!--><array>--></array>"),
        xml("<string><array></array></string>"),
        "<!DOCTYPE plist [<!ENTITY a \"&b;&b;\">]>" + xml("<string>&a;</string>"),
        xml("<unknown/>"),
        xml("<dict><key>a&#x00;b</key><true/></dict>"),
        binary("\xA1"),                                       // a reference beyond the objects
        binary("\xA1\x00"s),                                  // an array in itself
        binary("\xA1\x07"),                                   // no such object
        binary("\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"),   // a text of 2^63 bytes
        binary("\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x01"s),  // twice that wraps around
        binary("\xDF\x13\x80\x00\x00\x00\x00\x00\x00\x00"s),
        binary("\xD1\x01\x01\x09", "\x08\x0B"),       // a key that is no text
        binary("\xD1\x01\x01\x51\x00"s, "\x08\x0B"),  // NUL in a key
        binary("\xD1\x01\x01\x61\x00\x00"s, "\x08\x0B"),
        binary("\x17"),                // a whole number of 128 bytes
        binary("\x80\x01"),            // a type that no list of ours has
        binary(laughs, laughOffsets),  // 15^12 values in 300 bytes
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
    EXPECT_FALSE(lists.writeToFile({{"deep", nested(64)}}, path, true));
    EXPECT_FALSE(lists.writeToFile(dictionary, folder / "none/list.plist", true));
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), dictionary);
    folder.write("list.plist", written(PropertyArray{1}));
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(path), std::nullopt);
}

TEST(LibplistPropertyLists, ListsOfOtherProgramsAreRead) {
    EXPECT_EQ(
        read("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
             "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<!-- a <dict> in a comment -->\n"
             "<plist version=\"1.0\">\n<dict>\n<key>name</key><string>Ä <![CDATA[& B]]></string>\n"
             "<key>list</key><array><integer>1</integer><true/></array></dict></plist>\n"),
        PropertyValue(PropertyDictionary{{"name", "Ä & B"}, {"list", PropertyArray{1, true}}}));
}

}  // namespace
}  // namespace quillet
