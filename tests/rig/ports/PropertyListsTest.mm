#include <gmock/gmock.h>

#include <cstdint>

#include "platform/ios/FoundationPropertyLists.hpp"
#include "platform/ios/FoundationValues.h"
#include "platform/ios/SystemLog.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "tests/rig/ports/Device.h"
#include "util/Log.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using util::PropertyArray;
using util::PropertyDate;
using util::PropertyDictionary;
using util::PropertyValue;

using FoundationPropertyListsTest = test::Device;
using FoundationValues = test::Device;
using SystemLog = test::Device;

// Not here, since GNUstep's own XML does not keep it: a whole number above INT64_MAX, a character above U+FFFF, the
// seventeenth digit of a real number.
PropertyDictionary everyType() {
    return {{"text", "Größe 音楽 & <b> \"q\" \n\t"},
            {"no text", ""},
            {"ключ", "ñ"},
            {"signed", PropertyArray{-1, INT64_MIN, INT64_MAX}},
            {"unsigned", PropertyArray{0U, 4294967295U}},
            {"real", PropertyArray{0.1, 2.0, -1.5e300}},
            {"truth", PropertyArray{true, false}},
            {"date", PropertyArray{PropertyDate{0}, PropertyDate{86400}, PropertyDate{-978307201}}},
            {"data", PropertyArray{util::Data(), util::Data::copyOf(util::bytesOf("\0\xFF text"s))}},
            {"nested", PropertyDictionary{{"empty", PropertyDictionary()}, {"list", PropertyArray{PropertyArray()}}}}};
}

/// Reads the list at `path`, which must hold every type as it was.
void expectEveryType(PropertyLists& reader, const std::string& path) {
    const auto read = reader.dictionaryWithContentsOfFile(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), everyType().size());
    for (const auto& [key, value] : everyType()) EXPECT_TRUE(read->contains(key) && read->at(key) == value) << key;
}

TEST_F(FoundationPropertyListsTest, KeepEveryTypeAndAreReadElsewhere) {
    const std::string path = folder / "list.plist";
    FoundationPropertyLists lists;
    LibplistPropertyLists others;
    for (const bool atomically : {false, true}) {
        ASSERT_TRUE(lists.writeToFile(everyType(), path, atomically));
        EXPECT_TRUE(test::contentOf(path).starts_with("<?xml"));
        expectEveryType(lists, path);
        expectEveryType(others, path);
    }
    ASSERT_TRUE(others.writeToFile(everyType(), path, true));
    expectEveryType(lists, path);
}

TEST_F(FoundationPropertyListsTest, AnswerNothingForWhatIsNoDictionary) {
    FoundationPropertyLists lists;
    const std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(folder.write("good", xml + "<dict/></plist>")), PropertyDictionary());
    for (const std::string& content :
         {""s, "{"s, "words"s, "bplist00"s, xml + "<array/></plist>", xml + "<dict><key>a"})
        EXPECT_EQ(lists.dictionaryWithContentsOfFile(folder.write("bad", content)), std::nullopt) << content;
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(folder / "missing"), std::nullopt);
    EXPECT_EQ(lists.dictionaryWithContentsOfFile(folder.path()), std::nullopt);
}

TEST_F(FoundationPropertyListsTest, TellOnceOfWhatCannotBeWritten) {
    std::vector<std::string> lines;
    util::setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    const std::string path = folder / "missing/list.plist";
    for (const bool atomically : {false, true})
        EXPECT_FALSE(FoundationPropertyLists().writeToFile({}, path, atomically));
    util::setLogSink(nullptr);
    EXPECT_EQ(lines, std::vector(2, path + " cannot be written"));
}

TEST_F(FoundationValues, ConvertTextWhateverIsInIt) {
    const std::string wellFormed[] = {"", "a\0b"s, "\x01\x1F", "😀 ñ 音"};
    for (const std::string& text : wellFormed) EXPECT_EQ(textOf(stringOf(text)), text);
    EXPECT_EQ(textOf(stringOf("a\xFF\xC3")), "a\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(textOf([NSString stringWithFormat:@"a%Cb", static_cast<unichar>(0xD800)]), "a\xEF\xBF\xBD"
                                                                                         "b");
    EXPECT_EQ(textOf(nil), "");
}

TEST_F(FoundationValues, TellNumbersApart) {
    const struct {
        NSNumber* number;
        PropertyValue value;
    } cases[] = {{[NSNumber numberWithBool:YES], true},
                 {[NSNumber numberWithBool:NO], false},
                 {[NSNumber numberWithChar:1], 1},
                 {[NSNumber numberWithUnsignedChar:255], 255U},
                 {[NSNumber numberWithUnsignedShort:1], 1U},
                 {[NSNumber numberWithInt:-1], -1},
                 {[NSNumber numberWithUnsignedLongLong:UINT64_MAX], UINT64_MAX},
                 {[NSNumber numberWithLongLong:INT64_MIN], INT64_MIN},
                 {[NSNumber numberWithFloat:0.5F], 0.5},
                 {[NSNumber numberWithDouble:1], 1.0}};
    for (const auto& [number, value] : cases) {
        EXPECT_EQ(valueOf(number), value) << [[number description] UTF8String];
        EXPECT_EQ(valueOf(objectOf(value)), value) << [[number description] UTF8String];
    }
}

TEST_F(FoundationValues, LeaveOutWhatIsNoPropertyAndNeverChangeAfterwards) {
    EXPECT_EQ(valueOf(nil), std::nullopt);
    EXPECT_EQ(valueOf([NSNull null]), std::nullopt);
    EXPECT_EQ(dictionaryOf(@"text"), std::nullopt);
    EXPECT_EQ(valueOf(@[ @1, [NSNull null], @"2" ]), PropertyValue(PropertyArray{1, "2"}));
    EXPECT_EQ(dictionaryOf(@{@"a" : [NSNull null], @2 : @"b", @"c" : @3}), (PropertyDictionary{{"c", 3}}));
    NSMutableData* data = [NSMutableData dataWithBytes:"ab" length:2];
    const auto value = valueOf(data);
    [data replaceBytesInRange:NSMakeRange(0, 2) withBytes:"xy"];
    EXPECT_EQ(value, PropertyValue(util::Data::copyOf(util::bytesOf("ab"))));
}

TEST_F(SystemLog, TakesEveryLineAsItIs) {
    logToSystem();
    testing::internal::CaptureStderr();
    util::log("100 %@ %s größer");
    util::setLogSink(nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("100 %@ %s größer\n"));
}

}  // namespace
}  // namespace quillet
