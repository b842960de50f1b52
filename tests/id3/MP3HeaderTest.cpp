#include "id3/MP3Header.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/LogLines.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/MpegFrames.hpp"
#include "util/Text.hpp"

namespace quillet {
namespace {

using test::bigEndian;
using test::frames;
using test::frameWith;

class MP3HeaderTest : public testing::Test {
  protected:
    MP3Header opened(std::string_view content, std::int32_t tagSize = 0, const Dialect& dialect = kSystemDialect,
                     bool answer = true) {
        MP3Header header(dialect);
        EXPECT_EQ(header.openFile(folder_.write("file", content), tagSize), answer);
        return header;
    }
    test::TemporaryFolder folder_;
    test::LogLines log_;
};

TEST_F(MP3HeaderTest, RefusesLessAudioThanTwoBlocks) {
    const std::string stream = frames(60);
    for (const std::int32_t tagSize : {0, 1000}) {
        const std::string tag(static_cast<std::size_t>(tagSize), '\0');
        opened(tag + stream.substr(0, 16384), tagSize);
        opened(tag + stream.substr(0, 16383), tagSize, kSystemDialect, false);
        opened(tag + stream.substr(0, 16383), tagSize, kStandardDialect);
    }
    const std::string line = "MP3 header processor file " + (folder_ / "file") + " to short to process ";
    EXPECT_EQ(log_.all(), (std::vector<std::string>{line, line}));
    for (const std::int32_t tagSize : {-1, -16384, INT32_MIN, INT32_MAX, INT32_MAX - 16384})
        opened(stream, tagSize, kSystemDialect, false);
}

TEST_F(MP3HeaderTest, FindsASyncInTwoBlocks) {
    // A sync and a second byte, and what is found of them; zeros before and behind.
    const struct {
        std::size_t index;
        std::string bytes;
        std::int32_t found;
    } kCases[] = {
        {0, "\xFF\x20", 0},       {0, "\xFF\x1F\xFF\xFB\x90\x64", 2}, {8190, "\xFF\xFB\x90\x64", 8190},
        {8191, "\xFF\xFB", 8191}, {16381, "\xFF\xFB", 16381},         {16382, "\xFF\xFB", -1},
        {20000, "\xFF\xFB", -1},
    };
    for (const auto& wanted : kCases) {
        std::string content(100 + wanted.index, '\0');
        content.append(wanted.bytes).resize(40000);
        const MP3Header header = opened(content, 100, kSystemDialect, wanted.found >= 0);
        if (wanted.found >= 0) {
            EXPECT_EQ(header.getStartFrame(), 100 + wanted.found);
        }
    }
    EXPECT_EQ(log_.all().size(), 2U);
    EXPECT_EQ(log_.all().front(),
              "MP3 header processor could not find a valid MPEG header in frame on two seperate tries, file name: " +
                  (folder_ / "file"));
    // The block's last two bytes alone: no bit rate, no Xing header, nothing read past the block.
    std::string content(8190, '\0');
    const MP3Header cut = opened(content + frames(60));
    EXPECT_EQ(cut.getEncodingString(), "MPEG 1, Layer 3, 0bps, 0Hz, Stereo.");
    EXPECT_EQ(cut.getSeconds(), 0);
}

TEST_F(MP3HeaderTest, EstimatesFromSizeAndBitRate) {
    std::string content(test::kFrame128);
    content.resize(4'000'000);
    const MP3Header header = opened(content);
    EXPECT_EQ(header.getSeconds(), 250);
    EXPECT_EQ(header.getMilliseconds(), 250'000U);
    EXPECT_EQ(header.getDurationSource(), DurationSource::bitRate);
    EXPECT_EQ(header.getSecondsString(), "4:10");
    EXPECT_EQ(header.getEncodingString(), "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo.");
    EXPECT_EQ(header.getFrequencyString(), "44,100 kHz");
    EXPECT_EQ(header.getBitRateString(), "128 kbps");
    EXPECT_EQ(header.fileSize(), 4'000'000U);
    const MP3Header invalid = opened(content.replace(2, 1, "\xF0"));
    EXPECT_EQ(invalid.getBitRateString(), "-1 kbps");
    EXPECT_EQ(invalid.getSecondsString(), "0");
    EXPECT_EQ(invalid.getDurationSource(), DurationSource::none);
    EXPECT_EQ(opened(content.replace(1, 2, "\xF3\x84")).getFrequencyString(), "24,0 kHz");
    EXPECT_EQ(opened(content.replace(2, 1, "\x80")).getFrequencyString(), "22,50 kHz");
}

TEST_F(MP3HeaderTest, ReadsAXingHeaderByOneFactor) {
    const std::string counted = "Xing" + bigEndian(1);
    const struct {
        const char* what;
        std::string frame;
        bool found;
        std::int32_t frameCount, seconds, bitRate;
    } kCases[] = {
        {"10,000 frames", frameWith(counted + bigEndian(10000), 36), true, 10000, 261, 3},
        {"no count", frameWith("Xing" + bigEndian(2) + bigEndian(10000), 36), true, 0, 6, 128},
        {"a count of zero", frameWith(counted + bigEndian(0), 36), true, 0, 0, 0},
        {"a count that is negative", frameWith(counted + bigEndian(0xFFFFFFFF), 36), true, -1, 0, 0},
        {"a product that wraps", frameWith(counted + bigEndian(100'000'000), 36), true, 100'000'000, -1705198, 0},
        {"Info", frameWith("Info" + bigEndian(1) + bigEndian(10000), 36), false, 0, 6, 128},
        {"mono at its own place", frameWith(counted + bigEndian(10000), 21, "\xFF\xFB\x90\xC4"), false, 0, 6, 128},
        {"MPEG 2 at 17", frameWith(counted + bigEndian(1000), 17, "\xFF\xF3\x84\x04"), true, 1000, 26, 31},
        {"MPEG 2 at its own place", frameWith(counted + bigEndian(1000), 21, "\xFF\xF3\x84\x04"), false, 0, 12, 64},
    };
    for (const auto& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        std::string content = wanted.frame;
        content.resize(100'000);
        const MP3Header header = opened(content);
        EXPECT_EQ(header.getXINGHeaderFound(), wanted.found);
        EXPECT_EQ(header.getNumberOfFrames(), wanted.frameCount);
        EXPECT_EQ(header.getSeconds(), wanted.seconds);
        EXPECT_EQ(header.getBitRate(), wanted.bitRate);
    }
    // At the first block's end: what of the header is not read is not there.
    for (std::size_t cut = 1; cut <= 14; ++cut) {
        std::string content(8192 - 36 - 12 + cut, '\0');
        content += frameWith(counted + bigEndian(10000), 36);
        content.resize(100'000);
        EXPECT_FALSE(opened(content).getXINGHeaderFound()) << cut;
    }
}

TEST_F(MP3HeaderTest, KeepsTheStreamAndForgetsTheRestWhereAFileCannotBeRead) {
    MP3Header header;
    ASSERT_TRUE(header.openFile(folder_.write("good", frames(60)), 0));
    ASSERT_TRUE(header.getHash());
    EXPECT_FALSE(header.openFile(folder_ / "gone", 77));
    EXPECT_TRUE(log_.all().empty());
    EXPECT_EQ(header.getVersionString(), "MPEG 1");
    EXPECT_EQ(header.getBitRate(), 128);
    EXPECT_EQ(header.fileSize(), 60 * 417U);
    EXPECT_EQ(header.getSeconds(), 0);
    EXPECT_EQ(header.getStartFrame(), 77);
    EXPECT_EQ(header.getHash(), std::nullopt);
    EXPECT_FALSE(header.openFile(folder_.path(), 0));
    EXPECT_EQ(MP3Header().getVersionString(), "UNKNOWN");
}

TEST_F(MP3HeaderTest, WritesTimesWithTheirLastFieldPadded) {
    // A frame count that gives these seconds, by the fixed factor.
    const std::pair<std::int32_t, const char*> kTimes[] = {{7, "7"},           {60, "1:00"},     {247, "4:07"},
                                                           {3600, "1:0:00"},   {3723, "1:2:03"}, {90061, "1:1:1:01"},
                                                           {86400, "1:0:0:00"}};
    for (const auto& [seconds, text] : kTimes) {
        const auto count = static_cast<std::uint32_t>(seconds * 994 / 26 + 1);
        std::string content = frameWith("Xing" + bigEndian(1) + bigEndian(count), 36);
        content.resize(20'000);
        const MP3Header header = opened(content);
        EXPECT_EQ(header.getSeconds(), seconds);
        EXPECT_EQ(header.getSecondsString(), text);
    }
}

TEST_F(MP3HeaderTest, FingerprintsTheFirstFramesWhereverTheyStand) {
    // md5sum of the first 6,144 bytes of sixty such frames.
    constexpr const char* kDigest = "f3e4e2460d515e7241183029c371f7c4";
    for (const std::size_t before : {0U, 2048U, 2049U, 8000U, 12000U}) {
        const std::string content = std::string(before, '\0') + frames(60);
        for (const Dialect* dialect : {&kSystemDialect, &kStandardDialect}) {
            const auto hash = opened(content, 0, *dialect).getHash();
            ASSERT_TRUE(hash) << before;
            EXPECT_EQ(util::hexadecimal(*hash), kDigest) << before;
        }
    }
    EXPECT_EQ(opened(frames(14), 0, kStandardDialect).getHash(), std::nullopt) << "5,838 bytes";
    EXPECT_TRUE(opened(frames(15), 0, kStandardDialect).getHash());
}

TEST_F(MP3HeaderTest, SearchesAConfirmedFrameFarBehindTheTag) {
    const std::string picture = "\xFF\xD8\xFF\xE0 a sync, but no frame \xFF\xFB\x90\x64";
    const std::string tag = std::string("ID3\x03\0\0\0\0\x10\x00", 10) + std::string(2048, '\xFF');
    const struct {
        const char* what;
        std::string before;
        std::int32_t found;
    } kCases[] = {
        {"at once", "", 0},
        {"at the first block's end", std::string(8190, '\0'), 8190},
        {"behind what only looks like it", picture, static_cast<std::int32_t>(picture.size())},
        {"behind many blocks", std::string(500'000, '\xFF'), 500'000},
        {"behind further tags", tag + tag, 2 * 2058},
        {"behind what has the size of no tag", std::string("ID3\x03\0\0\x80\x80\x83\x80", 10), 10},
        {"behind a tag that lies", std::string("ID3\x03\0\0\x7F\x7F\x7F\x7F", 10), 10},
        {"too far away", std::string((1 << 20) + 9000, '\0'), -1},
    };
    for (const auto& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        const MP3Header header = opened(wanted.before + frames(20), 0, kStandardDialect, wanted.found >= 0);
        EXPECT_EQ(header.getStartFrame(), std::max(wanted.found, 0));
        EXPECT_EQ(header.remarks().empty(), wanted.before.empty());
    }
    EXPECT_EQ(opened("", 0, kStandardDialect, false).remarks().all(), std::vector<std::string>{"there is no audio"});
    opened(std::string(20'000, '\xFF'), 0, kStandardDialect, false);
    opened(frames(5), 5000, kStandardDialect, false);
}

TEST_F(MP3HeaderTest, TakesEachEntryOfTheDialectByItself) {
    std::string lone(20'000, '\0');
    lone.replace(100, 4, "\xFF\x7F\x90\x64");
    const std::string info = frameWith(test::xing("Info", 100, 101 * 417), 36) + frames(100);
    const struct {
        const char* what;
        bool Dialect::* entry;
        std::string content;
        std::string system, standard;  ///< what is found: "" for nothing
    } kCases[] = {
        {"short audio", &Dialect::refusesShortAudio, frames(10), "",
         "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo. 0"},
        {"any sync", &Dialect::takesAnySync, lone + frames(50), "MPEG 1, Layer 1, 288bps, 44100Hz, Joined Stereo. 1000",
         "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo. 1000"},
        {"channels", &Dialect::readsChannelsFromWholeByte, frames(50, "\xFF\xFB\x90\xC4"),
         "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo. 1000",
         "MPEG 1, Layer 3, 128bps, 44100Hz, Single Channel. 1000"},
        {"duration", &Dialect::estimatesDuration, info, "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo. 2000",
         "MPEG 1, Layer 3, 128bps, 44100Hz, Joined Stereo. 2612"},
    };
    for (const auto& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        for (const bool system : {true, false}) {
            Dialect dialect = kSystemDialect;
            dialect.*wanted.entry = system;
            const std::string& answer = system ? wanted.system : wanted.standard;
            const MP3Header header = opened(wanted.content, 0, dialect, !answer.empty());
            if (!answer.empty()) {
                EXPECT_EQ(header.getEncodingString() + " " + std::to_string(header.getMilliseconds()), answer);
            }
        }
    }
}

}  // namespace
}  // namespace quillet
