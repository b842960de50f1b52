#include <gtest/gtest.h>

#include "id3/id3V2Tag.hpp"
#include "tests/LogLines.hpp"
#include "tests/MemoryFile.hpp"
#include "tests/id3/TagBytes.hpp"

// Finding and reading a tag as the system does it.

namespace quillet {
namespace {

using namespace std::string_literals;
using test::frame20;
using test::frame23;
using test::frame24;
using test::kAudio;
using test::listed;
using test::LogLines;
using test::number;
using test::synchsafeNumber;
using test::tagHeader;
using test::tagOf;

const std::string kBeyondEnd =
    "Problem detected when parsing v2 tag: tag length indicates that tag extends beyond end of file, guessing tag "
    "length";
const std::string kExtendedTooLong =
    "Problem detected when parsing v2 tag: extendedHeaderLength > tag length, guessing extended header length";
const std::string kTitle = frame23("TIT2", "abc");

struct ReadCase {
    const char* name;
    std::string file;
    bool present;
    std::string frames;
    std::uint32_t position = 0, length = 0, padding = 0, audio = 0;
    std::string log = {};
};

const ReadCase kReads[] = {
    {"empty", "", false, ""},
    {"nine bytes", "ID3\3\0\0\0\0\0"s, false, ""},
    {"a header alone", "ID3\3\0\0\0\0\0\0"s, true, ""},
    {"ten bytes, the marker one on", "xID3\3\0\0\0\0\0"s, false, ""},
    {"at the beginning", tagOf(3, 0, kTitle + "\0\0"s) + kAudio, true, "TIT2=abc", 0, 15, 2, 15},
    {"filled to its end", tagOf(3, 0, kTitle) + kAudio, true, "TIT2=abc", 0, 13, 0, 13},
    {"2.0", tagOf(0, 0, frame20("TT2", "abc")) + kAudio, true, "TT2=abc", 0, 9, 0, 9},
    {"2.2, compressed as it says", tagOf(2, 0x40, frame20("TT2", "abc")) + kAudio, true, "TT2=abc", 0, 9, 0, 9},
    {"2.4 with an experiment, which counts as a footer", tagOf(4, 0x20, frame24("TIT2", "abc")) + kAudio, true,
     "TIT2=abc", 0, 23, 0, 23},
    {"behind junk", std::string(300, 'I') + tagOf(3, 0, kTitle) + kAudio, true, "TIT2=abc", 300, 13, 0, 313},
    {"at the last place", std::string(1014, 'D') + tagOf(3, 0, kTitle) + kAudio, true, "TIT2=abc", 1014, 13, 0, 1027},
    {"one place too late", std::string(1015, 'D') + tagOf(3, 0, kTitle) + kAudio, false, ""},
    {"version 5", tagOf(5, 0, kTitle) + kAudio, true, "", 0, 0, 13},
    {"version 255", tagOf(0xFF, 0x60, kTitle) + kAudio, true, "", 0, 0, 13},
    {"frames past the tag's end", tagOf(3, 0, kTitle) + frame23("TPE1", "no") + kAudio, true, "TIT2=abc TPE1=no", 0, 13,
     0xFFFFFFF4, 13},
    {"longer than the file", tagHeader(3, 0, 1000) + kTitle + std::string(477, '\0'), true, "TIT2=abc", 0, 500, 487,
     500, kBeyondEnd},
    {"longer than the file, behind junk", std::string(90, 'x') + tagHeader(3, 0, 1000) + kTitle + std::string(87, '\0'),
     true, "TIT2=abc", 90, 110, 97, 200, kBeyondEnd},
    {"size bytes below zero", "ID3\3\0\0\0\0\1\xff"s + kTitle + std::string(140, '\0'), true, "TIT2=abc", 0, 127, 114,
     127},
    {"all size bytes below zero", "ID3\3\0\0\xff\xff\xff\xff"s + kTitle + std::string(77, '\0'), true, "TIT2=abc", 0,
     100, 87, 100, kBeyondEnd},
    {"2.3 extended header, in the block", tagOf(3, 0x40, synchsafeNumber(6) + "abcdef" + kTitle) + kAudio, true,
     "TIT2=abc", 0, 33, 10, 33},
    {"2.4 extended header, read in the same way",
     tagOf(4, 0x40, synchsafeNumber(2) + "ab" + frame24("TIT2", "abc")) + kAudio, true, "TIT2=abc", 0, 25, 6, 25},
    {"extended header, in a tag larger than the block",
     tagOf(3, 0x40,
           synchsafeNumber(13) + kTitle + frame23("TALB", "not to be") + frame23("TPE1", "read") +
               std::string(1000, '\0')),
     true, "", 0, 1067, 1050, 1067},
    {"extended header, longer than the tag",
     tagOf(3, 0x40, synchsafeNumber(100) + std::string(6, 'x') + kTitle) + kAudio, true, "", 0, 36, 23, 36,
     kExtendedTooLong},
    {"extended header, in a tag too short for one", tagOf(3, 0x40, "ab") + kAudio, true, "", 0, 6, 2, 6,
     kExtendedTooLong},
    {"extended header, in a tag without content", tagOf(3, 0x40, ""), true, "", 0, 4, 0, 4, kExtendedTooLong},
};

TEST(TagReading, FindsAndReadsATag) {
    for (const ReadCase& c : kReads) {
        SCOPED_TRACE(c.name);
        id3V2Tag tag{FrameLibrary()};
        const LogLines log;
        const test::MemoryFile file(c.file);
        EXPECT_TRUE(tag.openPath(file.path()));
        EXPECT_EQ(tag.tagPresent(), c.present);
        EXPECT_EQ(listed(tag.frames().all()), c.frames);
        EXPECT_EQ(tag.tagPositionInFile(), c.position);
        EXPECT_EQ(tag.tagLength(), c.length);
        EXPECT_EQ(tag.getPaddingLength(), c.padding);
        EXPECT_EQ(tag.audioStart(), c.audio);
        EXPECT_EQ(log.count(), c.log.empty() ? 0U : 1U);
        EXPECT_EQ(log.count(c.log), log.count());
    }
}

TEST(TagReading, CountsTheExtendedHeaderOfALargeTagTwice) {
    // 10 bytes of extended header, and 10 more that are taken for it.
    const std::string content = synchsafeNumber(6) + "abcdef" + "0123456789" + kTitle + std::string(1000, '\0');
    id3V2Tag tag{FrameLibrary()};
    tag.openPath(test::MemoryFile(tagOf(3, 0x40, content) + kAudio).path());
    EXPECT_EQ(listed(tag.frames().all()), "TIT2=abc");
    EXPECT_EQ(test::dataOf("abcdef"), tag.extendedHeaderData());
    EXPECT_EQ(tag.getPaddingLength(), content.size() - kTitle.size());
    EXPECT_EQ(tag.tagLength(), content.size() + 10);
}

TEST(TagReading, SearchesTheWholeFileWhereAskedTo) {
    for (const std::size_t position : {2000U, 8176U, 8177U, 8180U, 8187U, 8192U, 16370U, 26000U}) {
        SCOPED_TRACE(position);
        const test::MemoryFile file(std::string(position, '\1') + tagOf(3, 0, kTitle + std::string(2000, '\0')) +
                                    std::string(9000, '\1'));
        id3V2Tag tag{FrameLibrary()};
        tag.openPath(file.path());
        EXPECT_FALSE(tag.tagPresent());
        tag.setExhastiveSearch(true);
        EXPECT_TRUE(tag.getTag());
        EXPECT_EQ(listed(tag.frames().all()), "TIT2=abc");
        EXPECT_EQ(tag.tagPositionInFile(), position);
        tag.openPath(file.path());
        EXPECT_FALSE(tag.tagPresent());
    }
    for (std::size_t size = 0; size < 40; ++size) {  // the shortest blocks move on as well
        id3V2Tag tag{FrameLibrary()};
        tag.openPath(test::MemoryFile(std::string(size, 'I')).path());
        tag.setExhastiveSearch(true);
        EXPECT_FALSE(tag.getTag());
    }
}

TEST(TagReading, ForgetsOneFileForTheNext) {
    id3V2Tag tag{FrameLibrary()};
    tag.openPath(test::MemoryFile(tagOf(4, 0xE0, synchsafeNumber(2) + "ab" + frame24("TIT2", "abc")) + kAudio).path());
    EXPECT_TRUE(tag.extendedHeader() && tag.tagUnsynch() && tag.footer() && !tag.compressTag());
    const test::MemoryFile audio(kAudio);
    for (const std::string& path : {"/proc/self/nothing"s, "/proc/self"s, audio.path()}) {
        EXPECT_TRUE(tag.openPath(path));
        EXPECT_FALSE(tag.getTag());
        EXPECT_FALSE(tag.tagPresent() || tag.extendedHeader() || tag.tagUnsynch() || tag.footer());
        EXPECT_TRUE(tag.frames().empty());
        EXPECT_EQ(tag.getFramesTitled("TIT2"), std::nullopt);
        EXPECT_EQ(tag.tagLength() + tag.audioStart() + tag.tagVersion(), 0U);
    }
}

TEST(TagReading, AnswersTheFramesOfATagThatWasJustMadeOrRead) {
    id3V2Tag tag{FrameLibrary()};
    tag.openPath(
        test::MemoryFile(tagOf(2, 0xC0, frame20("COM", "1") + frame20("TT2", "x") + frame20("COM", "2"))).path());
    EXPECT_TRUE(tag.tagUnsynch() && tag.compressTag() && !tag.extendedHeader() && !tag.footer());
    tag.openPath(
        test::MemoryFile(tagOf(2, 0, frame20("COM", "1") + frame20("TT2", "x") + frame20("COM", "2")) + kAudio).path());
    EXPECT_EQ(listed(*tag.getFramesTitled("COM")), "COM=1 COM=2");
    EXPECT_EQ(tag.frameList(), (std::vector<std::string>{"COM", "TT2"}));
    EXPECT_TRUE(tag.newTag(3, 1));
    EXPECT_TRUE(tag.frames().empty() && tag.tagPresent() && !tag.tagChanged());
    EXPECT_EQ(tag.flags(), 0U);
    EXPECT_EQ(tag.tagVersion() * 10 + tag.minorVersion(), 31U);
    EXPECT_EQ(tag.tagLength(), 2048U);
    EXPECT_EQ(tag.getPaddingLength(), 21U);  // the file still has the tag that was read
}

struct PackedCase {
    std::string bytes;
    std::uint32_t value;
};

TEST(TagReading, TakesPackedBytesAsSigned) {
    const PackedCase kCases[] = {
        {"\0\0\0\0"s, 0},
        {"\0\0\1\x7f"s, 255},
        {"\x7f\x7f\x7f\x7f", 0x0FFFFFFF},
        {"\0\0\1\xff"s, 127},         // 128 - 1
        {"\0\0\1\x80"s, 0},           // 128 - 128
        {"\0\0\0\xff"s, 0x10000000},  // -1
        {"\x80\0\0\0"s, 0x10000000},
        {"\x7f\x80\x7f\xff", 127U * 2097152 - 128U * 16384 + 127U * 128 - 1},
    };
    for (const PackedCase& c : kCases)
        EXPECT_EQ(id3V2Tag::readPackedLengthFrom(util::bytesOf(c.bytes)), c.value) << test::hexadecimalOf(c.bytes);
}

struct DesynchCase {
    std::string bytes;
    std::size_t offset;
    std::string result;
};

TEST(TagReading, ReversesUnsynchronisationKeepingIndices) {
    const DesynchCase kCases[] = {
        {"abc", 0, "abc"},
        {"", 0, ""},
        {"abcd", 1, "bcd\0"s},  // behind the end is zero
        {"ab", 9, "\0\0"s},
        {"a\xff\0bc\0"s, 0, "a\xff\0bc"s},  // the byte behind FF stays zero, one is cut off the end
        {"a\xff\1bc\0"s, 0, "a\xff\0bc"s},
        // What decides stands one byte further on for each FF before: the second FF itself is blanked.
        {"\xff\0a\xff\0bcdef"s, 0, "\xff\0a\0\0bcd"s},
        {"ab\xff", 0, "ab"},
    };
    for (const DesynchCase& c : kCases) {
        const util::Data result = id3V2Tag::desynchData(util::bytesOf(c.bytes), c.offset);
        EXPECT_EQ(test::hexadecimalOf(util::charactersOf(result.bytes())), test::hexadecimalOf(c.result));
    }
}

TEST(TagReading, WalksAnUnsynchronisedTagInPlace) {
    // The byte behind FF is zero already; the tag is read from the first frame on and loses a byte at its end.
    id3V2Tag tag{FrameLibrary()};
    tag.openPath(test::MemoryFile(tagOf(3, 0x80, frame23("TIT2", "a\xff\0b"s) + frame23("TPE1", "x")) + kAudio).path());
    EXPECT_EQ(listed(tag.frames().all()), "TIT2=a\xff\0b TPE1=x"s);
}

}  // namespace
}  // namespace quillet
