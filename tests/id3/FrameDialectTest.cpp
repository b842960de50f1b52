#include <gtest/gtest.h>

#include "id3/id3V2Tag.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/FrameBytes.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using test::frameOf;
using Frames = std::vector<std::pair<std::string, std::string>>;

id3V2Tag tagOf(const Frames& frames, const Dialect& dialect) {
    const test::TemporaryFolder folder;
    id3V2Tag tag(FrameLibrary(), dialect);
    tag.openPath(folder.write("tag.mp3", test::tagOf(3, frames)));
    return tag;
}

Picture pictureOf(const std::string& body, std::int32_t version, const Dialect& dialect) {
    const id3V2Tag tag(FrameLibrary(), dialect);
    const id3V2Frame frame = frameOf(body, version, dialect);
    return (version == 2 ? tag.getImageFrom2Frame(frame) : tag.getImageFrom3Frame(frame)).value_or(Picture());
}

/// One difference: what is read where the entry is true, and where it is false, whatever the other entries are.
struct Difference {
    const char* name;
    bool Dialect::* entry;
    std::string (*answer)(const Dialect& dialect);
    std::string system, standard;
};

const Difference kDifferences[] = {
    {"readsEncodingTwoAsUTF8", &Dialect::readsEncodingTwoAsUTF8,
     [](const Dialect& d) { return *frameOf("\2\x26\x3a"s, 4, d).getTextFromFrame(); }, "&:", "☺"},
    {"findsTerminatorsByByte", &Dialect::findsTerminatorsByByte,
     [](const Dialect& d) {
         return *frameOf("\1eng\xff\xfe\x61\0\0\0\xff\xfe\x62\0"s, 4, d).getShortCommentFromFrame();
     },
     "\xef\xbf\xbd", "a"},
    {"findsTerminatorsByByte, of a picture", &Dialect::findsTerminatorsByByte,
     [](const Dialect& d) { return test::bytesOf(pictureOf("\0g\0\3\0\0IF8"s, 3, d).image); }, "IF8", "\0IF8"s},
    {"keepsNulsBetweenValues", &Dialect::keepsNulsBetweenValues,
     [](const Dialect& d) { return *frameOf("\0a\0b"s, 4, d).getTextFromFrame(); }, "a\0b"s, "a / b"},
    {"keepsStrayParentheses", &Dialect::keepsStrayParentheses,
     [](const Dialect& d) { return frameOf("\0(17)"s, 3, d).genreArrayFromFrame().back(); }, "17)", "17"},
    {"joinsDescriptionAndComment", &Dialect::joinsDescriptionAndComment,
     [](const Dialect& d) { return *tagOf({{"COMM", "\0engd\0a"s}}, d).getComments(); }, "d a", "a"},
    {"misplacesPictureDescription", &Dialect::misplacesPictureDescription,
     [](const Dialect& d) { return pictureOf("\0g\0\3d\0X"s, 3, d).description; }, "\0g"s, "d"},
    {"keepsNulOfMimeType", &Dialect::keepsNulOfMimeType,
     [](const Dialect& d) { return pictureOf("\0g\0\3d\0X"s, 3, d).mimeType; }, "g\0"s, "g"},
    {"keepsNulOfMimeType, of a name of 2.2", &Dialect::keepsNulOfMimeType,
     [](const Dialect& d) { return pictureOf("\0JPG\0\3d\0X"s, 3, d).mimeType; }, "JPG\0"s, "image/jpeg"},
    {"swapsPictureKeys", &Dialect::swapsPictureKeys,
     [](const Dialect& d) { return pictureOf("\0JPG\3d\0X"s, 2, d).pictureType; }, "JPG", "Cover (front)"},
    {"readsYearFromOneFrame", &Dialect::readsYearFromOneFrame,
     [](const Dialect& d) { return std::to_string(tagOf({{"TDRC", "\0002004"s}, {"TYER", "\0x"s}}, d).getYear()); },
     "0", "2004"},
    {"answersMinusOneForAbsent", &Dialect::answersMinusOneForAbsent,
     [](const Dialect& d) { return std::to_string(tagOf({{"TIT2", "\0a"s}}, d).getTotalNumberDisks()); }, "-1", "0"},
    {"clampsNumbers", &Dialect::clampsNumbers,
     [](const Dialect& d) {
         const id3V2Tag tag = tagOf({{"TRCK", "\000099999999999/-1"s}}, d);
         return std::to_string(tag.getTrack()) + " of " + std::to_string(tag.getTotalNumberTracks());
     },
     "2147483647 of -1", "0 of 0"},
    {"asksOtherUnsynchronisationBit", &Dialect::asksOtherUnsynchronisationBit,
     [](const Dialect& d) { return std::to_string(frameOf("", 4, d, 0, 0x80).unsynch()); }, "1", "0"},
    {"clearsFlagsFromSecondByte", &Dialect::clearsFlagsFromSecondByte,
     [](const Dialect& d) {
         id3V2Frame frame = frameOf("", 4, d, 0x10, 0x03);
         frame.setReadOnly(false);
         return std::to_string(frame.flagByte1());
     },
     "3", "0"},
    {"endsTextWithTwoZeros", &Dialect::endsTextWithTwoZeros,
     [](const Dialect& d) {
         id3V2Frame frame = frameOf("", 4, d);
         frame.writeTextFrame("a", 3);
         return test::bodyOf(frame);
     },
     "\3a\0\0"s, "\3a\0"s},
    {"endsTextWithTwoZeros, of a description", &Dialect::endsTextWithTwoZeros,
     [](const Dialect& d) {
         id3V2Frame utf8 = frameOf("", 4, d);
         id3V2Frame utf16 = frameOf("", 4, d);
         utf8.writeCommentToFrame("a", "eng", 3);
         utf16.writeCommentToFrame("a", "eng", 1);
         return test::bodyOf(utf8) + test::bodyOf(utf16);
     },
     "\3eng\0\0a\1eng\0\0\xff\xfe\x61\0"s, "\3eng\0a\1eng\xff\xfe\0\0\xff\xfe\x61\0"s},
    {"readsFormatFieldsAtFixedPlaces, writing", &Dialect::readsFormatFieldsAtFixedPlaces,
     [](const Dialect& d) {
         const auto raw = frameOf(std::string(200, 'b'), 4, d, 0, 0x08).getCompleteRawFrame();
         return test::bytesOf(*raw).substr(9, 5);
     },
     "\x08\0\0\0\xc8"s, "\x09\0\0\1\x48"s},
};

TEST(FrameDialect, EachEntryAloneMakesItsDifference) {
    for (const Difference& c : kDifferences) {
        for (const bool system : {true, false}) {
            Dialect dialect{.system = system};
            EXPECT_EQ(c.answer(dialect), system ? c.system : c.standard) << c.name;
            dialect.*c.entry = !system;
            EXPECT_EQ(c.answer(dialect), system ? c.standard : c.system) << c.name << " alone";
        }
    }
}

}  // namespace
}  // namespace quillet
