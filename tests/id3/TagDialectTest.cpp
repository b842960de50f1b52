#include <gmock/gmock.h>

#include "id3/Limits.hpp"
#include "id3/Unsynchronisation.hpp"
#include "id3/V20FrameSet.hpp"
#include "id3/id3V2Tag.hpp"
#include "tests/LogLines.hpp"
#include "tests/MemoryFile.hpp"
#include "tests/id3/TagBytes.hpp"

// Where reading a tag differs between the system's way and the standards': each entry of the dialect both ways.

namespace quillet {
namespace {

using namespace std::string_literals;
using test::deflated;
using test::frame20;
using test::frame23;
using test::frame24;
using test::frameOf;
using test::kAudio;
using test::number;
using test::synchsafeNumber;
using test::tagHeader;
using test::tagOf;

const std::string kTitleFrame = frame23("TIT2", "abc");

/// Frames, where the audio begins, padding and remarks: "TIT2=abc; audio 25; padding 2; a remark".
std::string told(const std::string& content, const Dialect& dialect, bool wholeFile = false) {
    const auto titles = [](const char* other) { return util::PropertyDictionary{{"2.3", other}}; };
    const auto dictionary = std::make_shared<const util::PropertyDictionary>(util::PropertyDictionary{
        {"frames", util::PropertyDictionary{{"2.0", util::PropertyDictionary{{"TT2", titles("TIT2")}}}}}});
    const test::LogLines log;
    id3V2Tag tag(FrameLibrary(dictionary), dialect);
    const test::MemoryFile file(content);
    tag.openPath(file.path());
    tag.setExhastiveSearch(wholeFile);
    if (wholeFile) tag.getTag();
    std::string result = test::listed(tag.frames().all()) + "; audio " + std::to_string(tag.audioStart()) +
                         "; padding " + std::to_string(static_cast<std::int32_t>(tag.getPaddingLength()));
    for (const std::string& remark : tag.remarks().all()) result += "; " + remark;
    return result;
}

struct EntryCase {
    const char* name;
    bool Dialect::* entry;
    std::string file;
    std::string system;
    std::string standard;
    bool wholeFile = false;
};

const std::string kLarge(1000, '\0');
const std::string kCompressedTitle = frame24("TIT2", "g" + synchsafeNumber(3) + deflated("abc"), 0x0049);
const std::string kNotPadding = "; bytes behind the last frame are no padding";

const EntryCase kEntries[] = {
    {"takesAnyHeader: a size byte of 80", &Dialect::takesAnyHeader,
     "ID3\3\0\0\0\0\1\x8d"s + tagOf(3, 0, kTitleFrame) + kAudio, "; audio 23; padding 13" + kNotPadding,
     "TIT2=abc; audio 33; padding 0"},
    {"takesAnyHeader: a version of FF", &Dialect::takesAnyHeader,
     tagOf(0xFF, 0, "") + tagOf(3, 0, kTitleFrame) + kAudio,
     "; audio 10; padding 0; a tag of version 2.255 cannot be read", "TIT2=abc; audio 33; padding 0"},
    {"walksPastTheTag", &Dialect::walksPastTheTag, tagOf(3, 0, kTitleFrame) + frame23("TPE1", "no") + kAudio,
     "TIT2=abc TPE1=no; audio 23; padding -12", "TIT2=abc; audio 23; padding 0"},
    {"leavesHeaderOutOfAudioStart", &Dialect::leavesHeaderOutOfAudioStart, "junk" + tagOf(3, 0, kTitleFrame) + kAudio,
     "TIT2=abc; audio 17; padding 0", "TIT2=abc; audio 27; padding 0"},
    {"passesExtendedHeaderTwice", &Dialect::passesExtendedHeaderTwice,
     tagOf(3, 0x40, number(6, 4) + "abcdef" + std::string(10, '\0') + kTitleFrame + kLarge) + kAudio,
     "TIT2=abc; audio 1043; padding 1010", "; audio 1043; padding 1023" + kNotPadding},
    {"readsExtendedHeaderInOneWay: 2.3", &Dialect::readsExtendedHeaderInOneWay,
     tagOf(3, 0x40,
           number(0x106, 4) + std::string(0x86, 'x') + frame23("TPE1", std::string(0x76, '\0')) + kTitleFrame) +
         kAudio,
     "TPE1=" + std::string(0x76, '\0') + " TIT2=abc; audio 289; padding 0", "TIT2=abc; audio 289; padding 0"},
    {"readsExtendedHeaderInOneWay: 2.4", &Dialect::readsExtendedHeaderInOneWay,
     tagOf(4, 0x40, synchsafeNumber(6) + "\1\0"s + frame24("TIT2", "abcde")) + kAudio,
     "; audio 31; padding 11" + kNotPadding, "TIT2=abcde; audio 31; padding 0"},
    {"reversesUnsynchronisationInPlace: 2.3", &Dialect::reversesUnsynchronisationInPlace,
     tagOf(3, 0x80, frame23("TIT2", "a\xff"s) + frame23("TPE1", "x")) + kAudio,
     "TIT2=a\xff; audio 33; padding 11" + kNotPadding, "TIT2=a\xff TPE1=x; audio 33; padding 0"},
    {"reversesUnsynchronisationInPlace: 2.3, a pair", &Dialect::reversesUnsynchronisationInPlace,
     tagOf(3, 0x80, frame23("TIT2", "a\xff"s) + "\0TPE1\0\0\0\1\0\0x\0\0"s) + kAudio,
     "TIT2=a\xff; audio 36; padding 14" + kNotPadding, "TIT2=a\xff TPE1=x; audio 36; padding 2"},
    {"reversesUnsynchronisationInPlace: 2.4", &Dialect::reversesUnsynchronisationInPlace,
     tagOf(4, 0, frame24("TIT2", "abcdefghijkl\xff\0mn"s, 0x0002) + frame24("TPE1", "\xff\0\xe0"s, 0)) + kAudio,
     "TPE1=\xff\0\xe0; audio 49; padding 0"s, "TIT2=abcdefghijkl\xffmn TPE1=\xff\0\xe0; audio 49; padding 0"s},
    {"takesExperimentForFooter", &Dialect::takesExperimentForFooter,
     tagOf(4, 0x20, frame24("TIT2", "abc")) + "3DI" + kAudio, "TIT2=abc; audio 33; padding 0",
     "TIT2=abc; audio 23; padding 0"},
    {"takesExperimentForFooter: a footer", &Dialect::takesExperimentForFooter,
     tagOf(4, 0x10, frame24("TIT2", "abc")) + "3DI" + kAudio, "TIT2=abc; audio 23; padding 0",
     "TIT2=abc; audio 33; padding 0"},
    {"countsHeaderInCutTag", &Dialect::countsHeaderInCutTag, tagHeader(3, 0, 1000) + kTitleFrame + std::string(7, '\0'),
     "TIT2=abc; audio 40; padding 17", "TIT2=abc; audio 30; padding 7; the tag is longer than the file"},
    {"countsExtendedHeaderAsPadding", &Dialect::countsExtendedHeaderAsPadding,
     tagOf(3, 0x40, number(6, 4) + "abcdef" + kTitleFrame + "\0\0"s) + kAudio, "TIT2=abc; audio 35; padding 12",
     "TIT2=abc; audio 35; padding 2"},
    {"readsCompressedTags", &Dialect::readsCompressedTags, tagOf(2, 0x40, frame20("TT2", "abc")) + kAudio,
     "TT2=abc; audio 19; padding 0", "; audio 19; padding 0; the tag is compressed"},
    {"takesLastTag", &Dialect::takesLastTag,
     tagOf(3, 0, kTitleFrame) + std::string(9000, '\0') + tagOf(3, 0, frame23("TIT2", "last")) + kAudio,
     "TIT2=last; audio 9047; padding 0", "TIT2=abc; audio 23; padding 0", true},
    {"guessesRoomForFrames", &Dialect::guessesRoomForFrames,
     tagOf(3, 0, kTitleFrame + frameOf("TPE1", number(900, 4), "cut", 0)) + kAudio, "TIT2=abc; audio 36; padding -10",
     "TIT2=abc TPE1=cut; audio 36; padding 0; frame TPE1 is longer than the tag"},
    {"guessesRoomForFrames: a size below 0", &Dialect::guessesRoomForFrames,
     tagOf(3, 0, frameOf("TIT2", "\xff\xff\xff\xff", "x", 0)) + kAudio, "; audio 21; padding 2" + kNotPadding,
     "TIT2=x; audio 21; padding 0; frame TIT2 is longer than the tag"},
    {"switchesToPlainSizesMidway", &Dialect::switchesToPlainSizesMidway,
     tagOf(4, 0,
           frame24("TIT2", "abc") + frameOf("TPE1", number(256, 4), std::string(256, 'x'), 0) +
               frameOf("TALB", number(200, 4), std::string(200, 'y'), 0)) +
         kAudio,
     "TIT2=abc TPE1=" + std::string(128, 'x') + "; audio 499; padding 338" + kNotPadding,
     "TIT2=abc TPE1=" + std::string(256, 'x') + " TALB=" + std::string(200, 'y') +
         "; audio 499; padding 0; the sizes of the frames are plain numbers"},
    {"takesSpaceInIdentifiers", &Dialect::takesSpaceInIdentifiers,
     tagOf(3, 0, kTitleFrame + frame23("TT2 ", "x")) + kAudio, "TIT2=abc TT2 =x; audio 34; padding 0",
     "TIT2=abc; audio 34; padding 11" + kNotPadding},
    {"stopsAtOldIdentifiers", &Dialect::stopsAtOldIdentifiers,
     tagOf(3, 0, frame23("TT2\0"s, "abc") + frame23("XYZ\0"s, "x")) + kAudio, "; audio 34; padding 24" + kNotPadding,
     "TIT2=abc XYZ=x; audio 34; padding 0; frame TIT2 stands under an identifier of version 2.2; frame XYZ stands "
     "under an identifier of version 2.2"},
    {"readsFormatFieldsAtFixedPlaces: 2.3", &Dialect::readsFormatFieldsAtFixedPlaces,
     tagOf(3, 0, frame23("TIT2", number(3, 4) + "g" + deflated("abc"), 0x00A0) + frame23("TPE1", "gx", 0x0020)) +
         kAudio,
     "TPE1=gx; audio 48; padding 0", "TIT2=abc TPE1=x; audio 48; padding 0"},
    {"readsFormatFieldsAtFixedPlaces: 2.4", &Dialect::readsFormatFieldsAtFixedPlaces,
     tagOf(4, 0, kCompressedTitle + frame24("TPE1", "g" + synchsafeNumber(1) + "x", 0x0041)) + kAudio,
     "TPE1=g\0\0\0\1x; audio 52; padding 0"s, "TIT2=abc TPE1=x; audio 52; padding 0"},
};

TEST(TagDialect, EachEntryMakesItsDifference) {
    for (const EntryCase& c : kEntries) {
        SCOPED_TRACE(c.name);
        Dialect dialect = kStandardDialect;
        EXPECT_EQ(told(c.file, dialect, c.wholeFile), c.standard);
        dialect.*c.entry = true;
        EXPECT_EQ(told(c.file, dialect, c.wholeFile), c.system);
    }
}

TEST(TagDialect, ALargeFrameIsCutOrNot) {
    FrameWalkInput input{.tag = test::dataOf(frame20("TT2", std::string(kLargestFrame + 2, 'x')))};
    Dialect dialect = kStandardDialect;
    input.dialect = &dialect;
    for (const bool cut : {true, false}) {
        dialect.cutsLargeFrames = cut;
        const test::LogLines log;
        FrameStore frames;
        V20FrameSet(input, frames);
        EXPECT_EQ(frames.first("TT2")->getFrameLength(), cut ? kLargestFrame : kLargestFrame + 2);
        EXPECT_EQ(log.count() > 0, cut);
    }
}

TEST(TagDialect, AnEmptyTagKeepsTheMarkOfAnExtendedHeader) {
    const test::MemoryFile file(tagOf(3, 0x40, number(6, 4) + "abcdef" + kTitleFrame) + kAudio);
    for (const Dialect* dialect : {&kSystemDialect, &kStandardDialect}) {
        id3V2Tag tag(FrameLibrary(), *dialect);
        tag.openPath(file.path());
        tag.newTag(4, 0);
        EXPECT_EQ(tag.tagLength(), dialect->keepsExtendedHeaderMark ? 2052U : 2048U);
    }
}

struct StandardCase {
    const char* name;
    std::string file;
    std::string told;
};

const std::string kArtist = frame24("TPE1", "x");

// What is read by the standards, or remarked upon where it cannot be.
const StandardCase kStandard[] = {
    {"2.3 extended header with a sum", tagOf(3, 0x40, number(10, 4) + std::string(10, '\1') + kTitleFrame) + kAudio,
     "TIT2=abc; audio 37; padding 0"},
    {"2.3 extended header, unsynchronised with the tag",
     tagOf(3, 0xC0, number(10, 4) + "\0\0\0\0\0\0\xff\0\xff\0\1\1"s + kTitleFrame) + kAudio,
     "TIT2=abc; audio 39; padding 0"},
    {"an extended header that is missing", tagOf(3, 0x40, kTitleFrame) + kAudio,
     "TIT2=abc; audio 23; padding 0; the extended header is missing"},
    {"an extended header longer than the tag", tagOf(3, 0x40, number(100, 4) + kTitleFrame) + kAudio,
     "; audio 27; padding 0; the extended header does not have the length it states"},
    {"an extended header shorter than its size field", tagOf(4, 0x40, synchsafeNumber(3) + kArtist) + kAudio,
     "TPE1=x; audio 25; padding 0; the extended header does not have the length it states"},
    {"an extended header in an empty tag", tagOf(4, 0x40, ""), "; audio 10; padding 0; the extended header is missing"},
    {"an extended header in a tag too short for one", tagOf(3, 0x40, "\0\0"s) + kAudio,
     "; audio 12; padding 2; the extended header is missing"},
    {"2.2 unsynchronised", tagOf(2, 0x80, frame20("TT2", "a\xff\0\xff\0\1"s, 4) + frame20("TP1", "x")) + kAudio,
     "TT2=a\xff\xff\1 TP1=x; audio 29; padding 0"},
    {"a tag that is not unsynchronised, as it says", tagOf(3, 0x80, frame23("TIT2", "\xff\xfe\0a"s)) + kAudio,
     "TIT2=\xff\xfe\0a; audio 24; padding 0; the tag is not unsynchronised, as it says it is"s},
    {"2.4: a frame that is not unsynchronised, as it says",
     tagOf(4, 0, frame24("TIT2", "\xff\xfe\0a"s, 0x0002) + kArtist) + kAudio,
     "TIT2=\xff\xfe\0a TPE1=x; audio 35; padding 0; frame TIT2 is not unsynchronised, as it says it is"s},
    {"2.4: the tag's flag alone", tagOf(4, 0x80, frame24("TIT2", "\xff\0a"s) + kArtist) + kAudio,
     "TIT2=\xff"
     "a TPE1=x; audio 34; padding 0"},
    {"2.4: group, data length and unsynchronisation",
     tagOf(4, 0, frame24("TIT2", "g" + synchsafeNumber(2) + "\xff\0a"s, 0x0043) + kArtist) + kAudio,
     "TIT2=\xff"
     "a TPE1=x; audio 39; padding 0"},
    {"2.4: group before length, compressed",
     tagOf(4, 0, frame24("TIT2", "g" + synchsafeNumber(3) + deflated("abc"), 0x0049) + kArtist) + kAudio,
     "TIT2=abc TPE1=x; audio 47; padding 0"},
    {"2.4: compressed and unsynchronised",
     tagOf(4, 0,
           frame24("TIT2", synchsafeNumber(2) + "\x78\1\1\2\0\xfd\xff\0\xe0\x62\2\x24\1\x43"s, 0x000B) + kArtist) +
         kAudio,
     "TIT2=\xe0"
     "b TPE1=x; audio 49; padding 0"},
    {"encrypted", tagOf(4, 0, frame24("TIT2", "mabc", 0x0004) + kArtist) + kAudio,
     "TIT2=(none) TPE1=x; audio 35; padding 0; frame TIT2 is encrypted"},
    {"too short for its flags", tagOf(4, 0, frame24("TIT2", "abc", 0x0001) + kArtist) + kAudio,
     "TIT2=(none) TPE1=x; audio 34; padding 0; frame TIT2 is too short for what its flags announce"},
    {"compressed, states too little",
     tagOf(4, 0, frame24("TIT2", synchsafeNumber(2) + deflated("abc"), 0x0009) + kArtist) + kAudio,
     "TIT2=abc TPE1=x; audio 46; padding 0; frame TIT2 is not as long as it states"},
    {"compressed, states four thousand million",
     tagOf(3, 0, frame23("TIT2", "\xff\xff\xff\xff" + deflated("abc"), 0x0080) + frame23("TPE1", "x")) + kAudio,
     "TIT2=abc TPE1=x; audio 46; padding 0; frame TIT2 is not as long as it states"},
    {"compressed, but no stream", tagOf(3, 0, frame23("TIT2", number(3, 4) + "abc", 0x0080)) + kAudio,
     "TIT2=(none); audio 27; padding 0; frame TIT2 cannot be decompressed"},
    {"junk in the padding", tagOf(3, 0, kTitleFrame + std::string(100, '\0') + "x" + std::string(100, '\0')) + kAudio,
     "TIT2=abc; audio 224; padding 201" + kNotPadding},
    {"2.4 plain sizes, one frame that is cut",
     tagHeader(4, 0, 500) + frameOf("TIT2", number(200, 4), std::string(100, 'x'), 0),
     "TIT2=" + std::string(100, 'x') +
         "; audio 120; padding 0; the tag is longer than the file; the sizes of the frames "
         "are plain numbers; frame TIT2 is longer than the tag"},
    {"2.4 synchsafe sizes, the last frame cut",
     tagHeader(4, 0, 500) + kArtist + frameOf("TIT2", synchsafeNumber(200), std::string(140, 'x'), 0),
     "TPE1=x TIT2=" + std::string(140, 'x') +
         "; audio 171; padding 0; the tag is longer than the file; frame TIT2 is "
         "longer than the tag"},
    {"2.4 plain sizes that look like padding when read as synchsafe",
     tagOf(4, 0,
           frameOf("TIT2", number(256, 4), std::string(128, 'x') + std::string(128, '\0'), 0) +
               frameOf("TPE1", number(1, 4), "x", 0)) +
         kAudio,
     "TIT2=" + std::string(128, 'x') + std::string(128, '\0') +
         " TPE1=x; audio 287; padding 0; the sizes of the frames are plain "
         "numbers"},
    {"version 5", tagOf(5, 0, kTitleFrame) + kAudio, "; audio 23; padding 0; a tag of version 2.5 cannot be read"},
};

TEST(TagDialect, ReadsByTheStandards) {
    for (const StandardCase& c : kStandard) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(told(c.file, kStandardDialect), c.told);
    }
    const std::string overLimit = number(kLargestFrame, 4) + deflated(std::string(kLargestFrame + 1, 'x'));
    EXPECT_THAT(told(tagOf(3, 0, frame23("TIT2", overLimit, 0x0080)), kStandardDialect),
                testing::EndsWith("; frame TIT2 cannot be decompressed"));
}

TEST(Unsynchronisation, IsReversedWithoutACopyWhereNothingIsToBeReversed) {
    struct Case {
        std::string bytes;
        std::optional<std::string> reversed;
    };
    const Case kCases[] = {
        {"", ""},
        {"abc", "abc"},
        {"a\xff\1"s, "a\xff\1"s},
        {"\xff\0\xff\0"s, "\xff\xff"},
        {"\xff", "\xff"},
        {"\xff\0\0"s, "\xff\0"s},
        {"\xff\0\xe0"s, "\xff\xe0"},
        {"\xff\xe0", std::nullopt},
        {"a\xff\xff\0"s, std::nullopt},
        {"\xff\xdf", "\xff\xdf"},
        {"\xff\0\xff"s, "\xff\xff"},
    };
    for (const Case& c : kCases) {
        const util::Data data = test::dataOf(c.bytes);
        const auto reversed = withoutUnsynchronisation(data);
        ASSERT_EQ(reversed.has_value(), c.reversed.has_value()) << test::hexadecimalOf(c.bytes);
        if (!reversed) continue;
        EXPECT_EQ(util::charactersOf(reversed->bytes()), *c.reversed);
        EXPECT_EQ(reversed->isSameObject(data), c.bytes == c.reversed);
    }
}

}  // namespace
}  // namespace quillet
