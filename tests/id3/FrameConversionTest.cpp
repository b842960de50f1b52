#include "id3/FrameConversion.hpp"

#include <gmock/gmock.h>

#include "cli/ResourceDictionary.hpp"
#include "id3/FrameDates.hpp"
#include "id3/id3V2Tag.hpp"
#include "tests/MemoryFile.hpp"
#include "tests/id3/TagBytes.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using test::frame20;
using test::frame23;
using test::frame24;
using test::synchsafeNumber;

FrameLibrary library() {
    return FrameLibrary(cli::resourceDictionary()().dictionary);
}

std::optional<std::int64_t> genreNumber(std::string_view name) {
    if (name == "Rock") return 17;
    return name == "Pop" ? std::optional(13) : std::nullopt;
}

/// The frames of such a tag in another version: what a tag of them holds, and "; " before each "frame: loss".
std::string converted(int from, const std::string& frames, int to) {
    const test::MemoryFile file(test::tagOf(static_cast<unsigned>(from), 0, frames + std::string(20, '\0')));
    id3V2Tag source(library(), kStandardDialect);
    source.openPath(file.path());
    EXPECT_TRUE(source.remarks().faithful());
    id3V2Tag target(library(), kStandardDialect);
    target.newTag(static_cast<std::uint32_t>(to), 0);
    const ConvertedFrames made = convertFrames(source.frames().all(), target, genreNumber);
    std::string bytes;
    for (const auto& frame : made.frames) EXPECT_TRUE(frame->appendCompleteRawFrame(bytes, to == 3));
    for (const auto& [identifier, reason] : made.losses) bytes += "; " + identifier + ": " + reason;
    return bytes;
}

const std::string kWide = "\xff\xfe"s;

/// In UTF-16 with a mark, of ASCII.
std::string wide(std::string_view text) {
    std::string bytes = kWide;
    for (const char one : text) bytes += std::string{one, '\0'};
    return bytes;
}

struct ConversionCase {
    const char* name;
    int from;
    std::string frames;
    int to;
    std::string wanted;
};

const std::string kLong(200, 'p');

const ConversionCase kConversions[] = {
    // Identifiers.
    {"2.2 to 2.3", 2, frame20("TT2", "\0T"s) + frame20("UFI", "o\0i"s), 3,
     frame23("TIT2", "\0T"s) + frame23("UFID", "o\0i"s)},
    {"2.2 to 2.4", 2, frame20("TP2", "\0T"s) + frame20("CNT", "\0\0\0\1"s), 4,
     frame24("TPE2", "\0T"s) + frame24("PCNT", "\0\0\0\1"s)},
    {"2.4 to 2.2", 4, frame24("TPOS", "\0001/2"s) + frame24("WOAR", "http"), 2,
     frame20("TPA", "\0001/2"s) + frame20("WAR", "http")},
    {"without an equivalent", 4, frame24("TMOO", "\3m"s) + frame24("NONE", "x") + frame24("RVA2", "x"), 3,
     "; TMOO: ID3v2.3 has no frame for it; NONE: ID3v2.3 has no frame for it; RVA2: ID3v2.3 has no frame for it"},
    {"experiments", 3, frame23("XABC", "x") + frame23("ZABC", "z") + frame23("WABC", "w"), 4,
     frame24("XABC", "x") + frame24("ZABC", "z") + "; WABC: ID3v2.4 has no frame for it"},
    {"no experiments in 2.2", 3, frame23("XABC", "x"), 2, "; XABC: ID3v2.2 has no frame for it"},
    // Text.
    {"what stays to the byte", 4, frame24("TIT2", "\0T"s) + frame24("TALB", "\1\xfe\xff\0A\0\0"s), 3,
     frame23("TIT2", "\0T"s) + frame23("TALB", "\1\xfe\xff\0A\0\0"s)},
    {"UTF-8 and UTF-16 without a mark", 4,
     frame24("TIT2", "\3\xc3\xa9"s) + frame24("TALB", "\3\xe2\x82\xac"s) + frame24("TPE2", "\2\0A"s), 3,
     frame23("TIT2", "\0\xe9\0"s) + frame23("TALB", "\1\xff\xfe\xac\x20\0\0"s) + frame23("TPE2", "\0A\0"s)},
    {"text that is not named so", 4, frame24("GRP1", "\3\xc3\xa9"s) + frame24("WFED", "\3u"s), 3,
     frame23("GRP1", "\0\xe9\0"s) + frame23("WFED", "\0u\0"s)},
    {"several values", 4, frame24("TPE1", "\0A\0B"s) + frame24("TXXX", "\3d\0v\0w"s), 3,
     frame23("TPE1", "\0A/B\0"s) + frame23("TXXX", "\0d\0v/w"s)},
    {"several values stay", 3, frame23("TPE1", "\0A/B\0C"s), 4, frame24("TPE1", "\0A/B\0C"s)},
    {"genres of 2.4", 4, frame24("TCON", "\003Rock\0RX\0My own\0Pop"s), 3, frame23("TCON", "\0(17)(RX)(13)My own\0"s)},
    {"one genre of 2.4", 4, frame24("TCON", "\0Rock"s), 2, frame20("TCO", "\0Rock"s)},
    {"genres of 2.3", 3, frame23("TCON", "\0(17)(CR)My own"s), 4, frame24("TCON", "\00017\0CR\0My own\0"s)},
    {"a name of 2.3", 3, frame23("TCON", "\0Rock\0"s), 4, frame24("TCON", "\0Rock\0"s)},
    // Layouts.
    {"comment, lyrics, terms", 4,
     frame24("COMM", "\3eng\xc3\xa9\0t"s) + frame24("USLT", "\2eng\0\0\0t"s) + frame24("USER", "\3engt"s), 3,
     frame23("COMM", "\0eng\xe9\0t"s) + frame23("USLT", "\0eng\0t"s) + frame23("USER", "\0engt"s)},
    {"a wide comment", 4, frame24("COMM", "\3eng\0\xe2\x82\xac"s), 2,
     frame20("COM", "\1eng\xff\xfe\0\0\xff\xfe\xac\x20"s)},
    {"a link's address is no text", 4, frame24("WXXX", "\3\xe2\x82\xac\0http"s), 3,
     frame23("WXXX", "\1\xff\xfe\xac\x20\0\0http"s)},
    {"object, lines, offer, owner", 4,
     frame24("GEOB", "\3m\0f\0d\0\xff"s) + frame24("SYLT", "\3eng\2\1d\0l\0\0\0\0\7m\0\0\0\0\x08"s) +
         frame24("COMR", "\3p\00020300101u\0\1s\0d\0m\0L"s) + frame24("OWNE", "\3p\00020300101s"s),
     3,
     frame23("GEOB", "\0m\0f\0d\0\xff"s) + frame23("SYLT", "\0eng\2\1d\0l\0\0\0\0\7m\0\0\0\0\x08"s) +
         frame23("COMR", "\0p\00020300101u\0\1s\0d\0m\0L"s) + frame23("OWNE", "\0p\00020300101s"s)},
    {"pictures to 2.2", 4,
     frame24("APIC", "\0image/jpeg\0\3d\0\xff\xd8"s) + frame24("APIC", "\3image/png\0\4\xe2\x82\xac\0P"s) +
         frame24("APIC", "\0-->\0\0\0http"s),
     2,
     frame20("PIC", "\0JPG\3d\0\xff\xd8"s) + frame20("PIC", "\1PNG\4\xff\xfe\xac\x20\0\0P"s) +
         frame20("PIC", "\0-->\0\0http"s)},
    {"pictures of 2.2", 2, frame20("PIC", "\0JPG\3d\0\xff\xd8"s) + frame20("PIC", "\1PNG\4"s + wide("d") + "\0\0P"s), 3,
     frame23("APIC", "\0image/jpeg\0\3d\0\xff\xd8"s) + frame23("APIC", "\1image/png\0\4"s + wide("d") + "\0\0P"s)},
    {"a body that ends early", 4, frame24("COMM", "\3en"s) + frame24("APIC", "\3image/png"s) + frame24("TIT2", "\3"s),
     3, frame23("COMM", "\0en\0"s) + frame23("APIC", "\0image/png\0\0"s) + frame23("TIT2", "\0\0"s)},
    // Dates.
    {"a year of 2.3", 3, frame23("TYER", "\0002004"s), 4, frame24("TDRC", "\0002004\0"s)},
    {"a whole date of 2.3", 3,
     frame23("TIME", "\0000708"s) + frame23("TDAT", "\0000605"s) + frame23("TYER", "\0002004"s), 4,
     frame24("TDRC", "\0002004-05-06T07:08\0"s)},
    {"a date without a year", 3, frame23("TDAT", "\0000605"s), 4, "; TDAT: has no year"},
    {"a date that is none", 2, frame20("TYE", "\0002004"s) + frame20("TDA", "\0003213"s), 4,
     frame24("TDRC", "\0002004\0"s) + "; TDA: is kept as 2004"},
    {"a time stamp", 4, frame24("TDRC", "\0032004-05-06T07:08"s), 3,
     frame23("TYER", "\0002004\0"s) + frame23("TDAT", "\0000605\0"s) + frame23("TIME", "\0000708\0"s)},
    {"a time stamp that tells more", 4, frame24("TDRC", "\0002004-05"s) + frame24("TDOR", "\0001999-01-01"s), 2,
     frame20("TYE", "\0002004\0"s) + frame20("TOR", "\0001999\0"s) + "; TDRC: is kept as 2004; TDOR: is kept as 1999"},
    {"two kinds of date", 4, frame24("TYER", "\0001999"s) + frame24("TDRC", "\0002004"s), 3,
     frame23("TYER", "\0002004\0"s) + "; TYER: is kept as 2004"},
    {"2.2 and 2.3 have the same", 2, frame20("TYE", "\0002004"s) + frame20("TIM", "\0000708"s), 3,
     frame23("TYER", "\0002004"s) + frame23("TIME", "\0000708"s)},
    {"a year of the original", 3, frame23("TORY", "\0001999"s), 4, frame24("TDOR", "\0001999"s)},
    // People.
    {"people", 4, frame24("TMCL", "\0bass\0B"s) + frame24("TIT2", "\0T"s) + frame24("TIPL", "\0mix\0M\0"s), 3,
     frame23("IPLS", "\0bass\0B\0mix\0M\0"s) + frame23("TIT2", "\0T"s)},
    {"people of 2.2", 2, frame20("IPL", "\0mix\0M"s), 4, frame24("TIPL", "\0mix\0M"s)},
    // Flags and formats.
    {"status", 4, test::frameOf("TIT2", synchsafeNumber(2), "\0T"s, 0x7000), 3, frame23("TIT2", "\0T"s, 0xE000)},
    {"status back", 3, frame23("TIT2", "\0T"s, 0xA000), 4, frame24("TIT2", "\0T"s, 0x5000)},
    {"group", 3, frame23("TIT2", "g\0T"s, 0x0020), 4, frame24("TIT2", "g\0T"s, 0x0040)},
    {"group, and another encoding", 4, frame24("TIT2", "g\3T"s, 0x0040), 3, frame23("TIT2", "g\0T\0"s, 0x0020)},
    {"encrypted", 3,
     frame23("TIT2",
             "\0\0\0\x09"
             "mg\xff\xe0"s,
             0x00E0),
     4, frame24("TIT2", "gm\0\0\0\x09\xff\xe0"s, 0x004D)},
    {"encrypted and unsynchronised", 4, frame24("TIT2", "gm\xff\0\xe0"s, 0x0046), 3,
     frame23("TIT2", "mg\xff\xe0"s, 0x0060)},
    {"encrypted, to 2.2", 3, frame23("TIT2", "mx", 0x0040), 2, "; TIT2: is encrypted, which ID3v2.2 does not know"},
    {"encrypted under another name", 3, frame23("TORY", "mx", 0x0040), 4,
     "; TORY: is encrypted, and cannot be changed"},
    {"unsynchronised", 4, frame24("PRIV", "o\0\xff\0\xe0"s, 0x0002), 3, frame23("PRIV", "o\0\xff\xe0"s)},
    // Chapters.
    {"a chapter", 3,
     frame23("CHAP", "c\0"s + std::string(16, 't') + frame23("TIT2", "\0T"s) + frame23("WABC", "x") +
                         frame23("APIC", "\0m\0\0\0"s + kLong)),
     4,
     frame24("CHAP", "c\0"s + std::string(16, 't') + frame24("TIT2", "\0T"s) + frame24("APIC", "\0m\0\0\0"s + kLong)) +
         "; CHAP/WABC: ID3v2.4 has no frame for it"},
    {"a table of contents", 4, frame24("CTOC", "t\0\3\2a\0b\0"s + frame24("TIT2", "\3T"s)), 3,
     frame23("CTOC", "t\0\3\2a\0b\0"s + frame23("TIT2", "\0T\0"s))},
    {"a chapter in a chapter", 3,
     frame23("CHAP", "c\0"s + std::string(16, 't') + frame23("CHAP", "d\0"s + std::string(16, 't'))), 4,
     frame24("CHAP", "c\0"s + std::string(16, 't')) + "; CHAP/CHAP: could not be read"},
    {"a broken chapter", 3, frame23("CHAP", "c\0"s + std::string(16, 't') + "TIT2\0\0\0\x09"s) + frame23("CHAP", "c"),
     4, "; CHAP: could not be read; CHAP: could not be read"},
};

TEST(FrameConversionTest, FramesAreTheOnesOfTheOtherVersion) {
    for (const ConversionCase& one : kConversions) {
        const std::string made = converted(one.from, one.frames, one.to);
        EXPECT_EQ(made, one.wanted) << one.name << "\n"
                                    << test::hexadecimalOf(made) << "\n"
                                    << test::hexadecimalOf(one.wanted);
    }
}

TEST(FrameConversionTest, WhatIsCompressedStaysSoWhereThatHelps) {
    const std::string text = "\0"s + kLong;
    const auto stream = test::deflated(text);
    const std::string made = converted(3, frame23("TALB", test::number(201, 4) + stream, 0x0080), 4);
    const test::MemoryFile file(test::tagOf(4, 0, made));
    id3V2Tag tag(library(), kStandardDialect);
    tag.openPath(file.path());
    EXPECT_EQ(tag.getAlbum(), kLong);
    EXPECT_LT(made.size(), 50U);
    EXPECT_EQ(converted(3, frame23("TALB", test::number(201, 4) + stream, 0x0080), 2), frame20("TAL", text));
}

TEST(FrameConversionTest, EveryBeginningOfABodyIsConverted) {
    for (const ConversionCase& one : kConversions) {
        // The first frame's body, at each length.
        const std::size_t header = one.from == 2 ? 6 : 10;
        const std::string body = one.frames.substr(header);
        const std::string identifier = one.frames.substr(0, header == 6 ? 3 : 4);
        for (std::size_t length = 0; length < body.size(); ++length) {
            id3V2Tag target(library(), kStandardDialect);
            target.newTag(static_cast<std::uint32_t>(one.to), 0);
            const auto frame =
                std::make_shared<id3V2Frame>(test::dataOf(body.substr(0, length)), FrameID(identifier), std::uint8_t{0},
                                             std::uint8_t{0}, one.from, kStandardDialect);
            const ConvertedFrames made = convertFrames({frame}, target, genreNumber);
            EXPECT_TRUE(length < 2 || made.frames.size() + made.losses.size() > 0) << one.name << " " << length;
        }
    }
}

TEST(FrameConversionTest, WhatIsTooLargeForTheVersionIsLost) {
    id3V2Tag target(library(), kStandardDialect);
    target.newTag(2, 0);
    for (const std::size_t size : {(std::size_t{1} << 24) - 1, std::size_t{1} << 24}) {
        const auto frame = std::make_shared<id3V2Frame>(test::dataOf(std::string(size, 'o')), "UFID", std::uint8_t{0},
                                                        std::uint8_t{0}, 3, kStandardDialect);
        EXPECT_EQ(convertFrames({frame}, target, genreNumber).losses.size(), size >> 24) << size;
    }
}

TEST(FrameConversionTest, DatesAreTakenApartAndPutTogetherAsFarAsTheyGo) {
    const struct {
        const char* stamp;
        OldDate old;
        const char* told;
    } kCases[] = {
        {"", {}, ""},
        {"2004", {"2004", "", ""}, "2004"},
        {"2004-05", {"2004", "", ""}, "2004"},
        {"2004-05-06", {"2004", "0605", ""}, "2004-05-06"},
        {"2004-05-06T07", {"2004", "0605", ""}, "2004-05-06"},
        {"2004-05-06T07:08", {"2004", "0605", "0708"}, "2004-05-06T07:08"},
        {"2004-05-06T07:08:09", {"2004", "0605", "0708"}, "2004-05-06T07:08"},
        {"2004-13-06T07:08", {"2004", "0613", "0708"}, "2004"},
        {"May 2004", {"May 2004", "", ""}, "May 2004"},
    };
    for (const auto& [stamp, old, told] : kCases) {
        EXPECT_EQ(oldDateOf(stamp), old) << stamp;
        EXPECT_EQ(timeStampOf(old), told) << stamp;
    }
}

}  // namespace
}  // namespace quillet
