#include <gtest/gtest.h>

#include "id3/Limits.hpp"
#include "id3/V20FrameSet.hpp"
#include "id3/V23FrameSet.hpp"
#include "id3/V24FrameSet.hpp"
#include "tests/LogLines.hpp"
#include "tests/id3/TagBytes.hpp"

// The walks as the system does them; the standards' ways are in TagDialectTest.cpp.

namespace quillet {
namespace {

using namespace std::string_literals;
using test::deflated;
using test::frame20;
using test::frame23;
using test::frame24;
using test::frameOf;
using test::listed;
using test::LogLines;
using test::number;
using Lines = std::vector<std::string>;

const std::string kGuessing =
    "Problem encountered parsing v2 frame:  frame length value longer than tag length, guessing correct frame length";
const std::string kClipping = "Warning frame size > maximum allowable frame size, clipping frame to 10000000 bytes.";

struct Walked {
    FrameStore frames;
    std::uint32_t length = 0;
    Lines log;
    Remarks remarks;
    /// The frames that are marked as having plain sizes.
    std::string plain() const {
        std::string identifiers;
        for (const auto& frame : frames.all())
            identifiers += frame->isITunesV24Compat() ? frame->getFrameID().text() : "-";
        return identifiers;
    }
};

Walked walked(int version, const std::string& bytes, std::uint32_t offset = 0,
              const util::PropertyDictionary* stops = nullptr) {
    const FrameWalkInput input{.tag = test::dataOf(bytes), .frameOffset = offset, .validFrameSet = stops};
    Walked result;
    const LogLines log;
    const auto take = [&result](const FrameWalk& walk) {
        result.length = walk.getFrameSetLength();
        result.remarks = walk.remarks();
    };
    if (version == 2) take(V20FrameSet(input, result.frames));
    if (version == 3) take(V23FrameSet(input, result.frames));
    if (version == 4) take(V24FrameSet(input, result.frames, true));
    result.log = log.all();
    return result;
}

struct WalkCase {
    const char* name;
    int version;
    std::string bytes;
    std::uint32_t offset;
    std::string frames;
    std::uint32_t length;
    Lines log = {};
};

const std::string kJunk(10, '\xAA');
const std::string kZeros(20, '\0');

const WalkCase kWalks[] = {
    {"2.2 shorter than a header", 2, "TT2\0\0"s, 0, "", 0},
    {"2.2 two frames and padding", 2, frame20("TT2", "abc") + frame20("TP1", "de") + kZeros, 0, "TT2=abc TP1=de", 17},
    {"2.2 two frames to the end of the bytes", 2, frame20("TT2", "abc") + frame20("TP1", ""), 0, "TT2=abc TP1=", 15},
    {"2.2 comments in order", 2, frame20("COM", "1") + frame20("TT2", "x") + frame20("COM", "2") + kZeros, 0,
     "COM=1 TT2=x COM=2", 21},
    {"2.2 small letters", 2, frame20("TT2", "abc") + frame20("TpX", "de") + kZeros, 0, "TT2=abc", 9},
    {"2.2 a space and digits", 2, frame20("T 2", "a") + frame20("   ", "b") + frame20("123", "c") + kZeros, 0,
     "T 2=a    =b 123=c", 21},
    {"2.2 an identifier at the end, without a size", 2, frame20("TT2", "abc") + "TP1", 0, "TT2=abc", 9},
    {"2.2 behind junk", 2, kJunk + frame20("TT2", "abc") + kZeros, 10, "TT2=abc", 9},
    {"2.2 guessed, with the offset taken off twice",
     2,
     kJunk + frame20("TT2", "abcdefghijklmnopqrst", 100),
     10,
     "TT2=abcdef",
     12,
     {kGuessing, kGuessing}},
    {"2.2 guessed, too long for what is there", 2, frame20("TT2", "abc", 100), 0, "", 15, {kGuessing, kGuessing}},
    {"2.2 as long as the guess would be", 2, kJunk + frame20("TT2", "abcdefghijklmnopqrst", 6), 10, "TT2=abcdef", 12},
    {"2.2 guessed to nothing", 2, kJunk + frame20("TT2", "abcdefghijklmn"), 10, "", 0, {kGuessing, kGuessing}},
    {"2.3 nine bytes", 3, "TIT2\0\0\0\0\0"s, 0, "", 0},
    {"2.3 two frames and padding", 3, frame23("TIT2", "abc", 0x4020) + frame23("TPE1", "de") + kZeros, 0,
     "TIT2=abc TPE1=de", 25},
    {"2.3 guessed to less than nothing, which would stand still",
     3,
     kJunk + frameOf("TIT2", number(1, 4), "", 0),
     10,
     "",
     0,
     {kGuessing, kGuessing}},
    {"2.3 a size below 0 goes back into its header", 3,
     frameOf("TIT2", "\xff\xff\xff\xff", "", 'T') + "PE1" + number(2, 4) + "\0\0de"s + kZeros, 0, "TPE1=de", 21},
    {"2.3 a size of -10 stands still", 3, frameOf("TIT2", "\xff\xff\xff\xf6", "", 0) + kZeros, 0, "", 0},
    {"2.3 a size of -11 goes back", 3, frame23("TPE1", "x") + frameOf("TIT2", "\xff\xff\xff\xf5", "", 0) + kZeros, 0,
     "TPE1=x", 11},
    {"2.3 the offset is behind the bytes", 3, frame23("TIT2", "abc"), 1000, "", 0},
    {"2.3 the offset is below 0", 3, frame23("TIT2", "abc"), 0xFFFFFFF6, "", 0},
    {"2.4 two frames and padding", 4, frame24("TIT2", "abc") + frame24("TPE1", "de") + kZeros, 0, "TIT2=abc TPE1=de",
     25},
    {"2.4 guessed, with the offset taken off twice",
     4,
     kJunk + frameOf("TIT2", number(100, 4), "abcdefghijklmnopqrst", 0),
     10,
     "TIT2=abcdefghij",
     20,
     {kGuessing, kGuessing}},
    {"2.4 guessed to less than nothing",
     4,
     kJunk + frameOf("TIT2", number(1, 4), "", 0),
     10,
     "",
     0,
     {kGuessing, kGuessing}},
};

TEST(FrameSet, WalksStepByStep) {
    for (const WalkCase& c : kWalks) {
        SCOPED_TRACE(c.name);
        const Walked result = walked(c.version, c.bytes, c.offset);
        EXPECT_EQ(listed(result.frames.all()), c.frames);
        EXPECT_EQ(result.length, c.length);
        EXPECT_EQ(result.log, c.log);
    }
}

TEST(FrameSet, HandsOutViewsWithFlagsAndVersion) {
    const util::Data tag = test::dataOf(frame23("TIT2", "abc", 0x4020));
    FrameStore frames;
    V23FrameSet({.tag = tag}, frames);
    ASSERT_EQ(frames.all().size(), 1U);
    const id3V2Frame& frame = *frames.all()[0];
    EXPECT_EQ(frame.getRawFrameData()->bytes().data(), tag.bytes().data() + 10);
    EXPECT_EQ(frame.flagByte1(), 0x40);
    EXPECT_EQ(frame.flagByte2(), 0x20);
    EXPECT_EQ(frame.majorVersion(), 3);
}

TEST(FrameSet, CutsAFrameOfMoreThanTenMillionBytes) {
    for (const std::uint32_t size : {kLargestFrame, kLargestFrame + 1}) {
        const bool cut = size > kLargestFrame;
        const Walked result = walked(3, frame23("TIT2", std::string(size, 'x')) + kZeros);
        ASSERT_EQ(result.frames.all().size(), 1U);
        EXPECT_EQ(result.frames.all()[0]->getFrameLength(), kLargestFrame);
        EXPECT_EQ(result.length, kLargestFrame + 10);  // the walk goes on inside of the frame
        EXPECT_EQ(result.log, cut ? Lines({kClipping, kClipping}) : Lines());
    }
}

TEST(FrameSet, StopsAtIdentifiersOfAList) {
    const util::PropertyDictionary stops{{"TPE1", "x"}, {"TP1", "x"}};
    EXPECT_EQ(listed(walked(2, frame20("tt2", "a") + frame20("TP1", "b"), 0, &stops).frames.all()), "tt2=a");
    EXPECT_EQ(listed(walked(3, frame23("t\1t2", "a") + frame23("TPE1", "b"), 0, &stops).frames.all()), "t\1t2=a");
    EXPECT_EQ(listed(walked(4, frame24("tit2", "a") + frame24("TPE1", "b"), 0, &stops).frames.all()), "tit2=a");
}

TEST(FrameSet, EndsAtItsLimitOfFrames) {
    std::string many;
    for (std::size_t i = 0; i < kMostFrames + 10; ++i) many += frame20("TT2", "");
    const Walked result = walked(2, many + kZeros);
    EXPECT_EQ(result.frames.all().size(), kMostFrames);
    EXPECT_EQ(result.length, kMostFrames * 6);
    EXPECT_FALSE(result.remarks.empty());
}

// Sizes of 2.4.

TEST(V24FrameSet, SwitchesToPlainSizesAtTheFirstSizeThatIsNotSynchsafe) {
    const std::string body(255, 'x');
    const std::string before = frameOf("TIT2", "\0\0\1\x7f"s, body, 0);
    const Walked result = walked(4, before + frameOf("TPE1", "\0\0\0\xff"s, body, 0) +
                                        frameOf("TALB", number(0x0101, 4), std::string(257, 'y'), 0) + kZeros);
    EXPECT_EQ(listed(result.frames.all()), "TIT2=" + body + " TPE1=" + body + " TALB=" + std::string(257, 'y'));
    EXPECT_EQ(result.plain(), "-TPE1TALB");

    const Walked capped = walked(4, frameOf("TIT2", "\x7f\xff\xff\xff", body, 0));
    EXPECT_EQ(capped.log, Lines({kGuessing, kGuessing, kGuessing}));  // the last for where the next frame might be
    EXPECT_EQ(listed(capped.frames.all()), "");                       // the guess has no room for the header
}

TEST(V24FrameSet, TriesAPlainSizeWithoutTheHeaderWhereASynchsafeOneLeadsNowhere) {
    // 272 as a plain size is 144 as a synchsafe one. The next frame stands 272 bytes on, the header included.
    const std::string ambiguous = number(272, 4);
    const std::string body(262, 'x');
    const std::string next = frameOf("TALB", number(272, 4), std::string(272, 'y'), 0);
    const std::string cut(144, 'x');

    // The first frame is stepped over, and the sizes stay synchsafe.
    const Walked first = walked(4, frameOf("TIT2", ambiguous, body, 0) + frame24("TPE1", "a") + kZeros);
    EXPECT_EQ(listed(first.frames.all()), "TIT2=" + cut + " TPE1=a");
    EXPECT_EQ(first.plain(), "--");

    // A later frame switches.
    const Walked later = walked(4, frame24("TIT2", "a") + frameOf("TPE1", ambiguous, body, 0) + next + kZeros);
    EXPECT_EQ(listed(later.frames.all()), "TIT2=a TPE1=" + cut + " TALB=" + std::string(272, 'y'));
    EXPECT_EQ(later.plain(), "--TALB");

    // With the header counted, as such tags are written, it leads nowhere either: the frames end.
    const Walked whole =
        walked(4, frame24("TIT2", "a") + frameOf("TPE1", ambiguous, body + std::string(10, 'x'), 0) + next);
    EXPECT_EQ(listed(whole.frames.all()), "TIT2=a TPE1=" + cut);
    EXPECT_EQ(whole.length, 11U + 154U);
}

TEST(V24FrameSet, DoesNotTryAPlainSizeBelow128) {
    // 117 bytes and the header are 127; the frame that a plain size of 117 leads to is not looked for.
    const std::string inside = std::string(107, 'x') + frame24("TPE1", std::string(30, 'y'));
    EXPECT_EQ(listed(walked(4, frame24("TIT2", "a") + frameOf("TALB", number(117, 4), inside, 0)).frames.all()),
              "TIT2=a TALB=" + inside.substr(0, 117));
    const std::string longer = std::string(108, 'x') + frame24("TPE1", std::string(30, 'y'));
    EXPECT_EQ(listed(walked(4, frame24("TIT2", "a") + frameOf("TALB", number(118, 4), longer, 0)).frames.all()),
              "TIT2=a TALB=" + longer.substr(0, 118) + " TPE1=" + std::string(30, 'y'));
}

// Bodies.

TEST(V24FrameSet, BlanksTheByteBehindEachFFAndCutsTheEnd) {
    std::string pairs, blanked;
    for (int i = 0; i < 15; ++i) pairs += "\xff\x01";
    for (int i = 0; i < 10; ++i) blanked += "\xff\0"s;
    EXPECT_EQ(listed(walked(4, frame24("TIT2", pairs, 0x0002) + kZeros).frames.all()), "TIT2=" + blanked);
    // With fewer than ten FF the copy is shorter than what is to be taken from it, and there is no frame.
    EXPECT_EQ(
        listed(walked(4, frame24("TIT2", "abcdefghijklmnop", 0x0002) + frame24("TPE1", "a") + kZeros).frames.all()),
        "TPE1=a");
}

const std::string kText(100, 'q');
const std::string kStart = "Decompressing frame TIT2";
const std::string kNoRoom = kStart + " not enough room in the output buffer";
const std::string kCorrupt = kStart + " input data was corrupted";

struct CompressedCase {
    const char* name;
    std::uint32_t stated;
    std::string stream;
    bool read;
    Lines log;
};

const CompressedCase kCompressed[] = {
    {"as stated", 100, deflated(kText), true, {}},
    {"less than stated", 5000, deflated(kText), true, {}},
    {"more than stated", 99, deflated(kText), false, {kNoRoom, kCorrupt}},
    {"ten million stated", kLargestFrame, deflated(kText), true, {}},
    {"twenty million stated",
     20'000'000,
     deflated(kText),
     true,
     {"Warning Uncompressed frame size > maximum allowable frame size, clipping frame to 10000000 bytes."}},
    {"four thousand million stated",
     0xFFFFFFFF,
     deflated(kText),
     true,
     {"Warning Uncompressed frame size > maximum allowable frame size, clipping frame to 10000000 bytes."}},
    {"cut", 100, deflated(kText).substr(0, 8), false, {kCorrupt}},
    {"no stream", 100, "not compressed", false, {kCorrupt}},
    {"a dictionary is wanted", 100, "\x78\xbb\1\2\3\4abcd"s, false, {kCorrupt}},
    {"empty", 100, "", false, {kCorrupt}},
};

TEST(V23FrameSet, InflatesACompressedFrameOrSaysWhatIsWrong) {
    for (const CompressedCase& c : kCompressed) {
        SCOPED_TRACE(c.name);
        const Walked result =
            walked(3, frame23("TIT2", number(c.stated, 4) + c.stream, 0x0080) + frame23("TPE1", "a") + kZeros);
        EXPECT_EQ(listed(result.frames.all()), (c.read ? "TIT2=" + kText + " " : "") + "TPE1=a");
        EXPECT_EQ(result.log, c.log);
        EXPECT_EQ(result.frames.all()[0]->flagByte2(), c.read ? 0x80 : 0);
    }
}

TEST(V24FrameSet, TakesACompressedFramesLengthOneByteLate) {
    // The first byte of the stream, 0x78, is the last one of the length: 120 bytes, or 376.
    const std::string stream = deflated(kText);
    for (const std::string& length : {"\0\0\0"s, "\0\0\1"s})
        EXPECT_EQ(listed(walked(4, frame24("TIT2", "\xee" + length + stream, 0x0008) + kZeros).frames.all()),
                  "TIT2=" + kText);
    const std::string longer = deflated(std::string(121, 'q'));
    EXPECT_EQ(walked(4, frame24("TIT2", "\xee\0\0\0"s + longer, 0x0008) + kZeros).log, Lines({kNoRoom, kCorrupt}));
    // A data length is not passed over.
    EXPECT_EQ(listed(walked(4, frame24("TIT2", "\0\0\0\4text"s, 0x0001) + kZeros).frames.all()), "TIT2=\0\0\0\4text"s);
}

TEST(FrameInflater, GivesNoTagMoreMemoryThanTheLargestTagHas) {
    const std::string stream = deflated(std::string(kLargestFrame, '\0'));
    FrameInflater inflater;
    for (std::uint32_t i = 0; i < kLargestPackedLength / kLargestFrame; ++i)
        ASSERT_EQ(inflater.inflate(util::bytesOf(stream), kLargestFrame).result, InflateResult::done);
    EXPECT_EQ(inflater.inflate(util::bytesOf(stream), kLargestFrame).result, InflateResult::noMemory);
    EXPECT_EQ(inflater.inflate(util::bytesOf(deflated(kText)), kLargestFrame).body, test::dataOf(kText));

    const LogLines log;
    logInflateFailure(InflateResult::noMemory, "TIT2");
    EXPECT_EQ(log.all(), Lines({kStart + " not enough memory", kNoRoom, kCorrupt}));
}

}  // namespace
}  // namespace quillet
