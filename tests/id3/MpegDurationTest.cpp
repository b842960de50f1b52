#include "id3/MpegDuration.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "id3/MP3Header.hpp"
#include "tests/LogLines.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/MpegFrames.hpp"

namespace quillet {
namespace {

using test::bigEndian;
using test::frames;
using test::frameWith;
using test::xing;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kSeeds = QUILLET_SAMPLES "/../fuzz/corpus/MpegFuzz/";
const std::string kV1 = "TAG" + std::string(125, '\0');

TEST(MpegDuration, AgreesWithWhatADecoderPlaysOfSmallFiles) {
    // The samples that ffmpeg decodes of each; mutagen's lengths are the same where it knows the encoder.
    const struct {
        const char* file;
        const char* source;
        std::uint64_t milliseconds;
        std::int32_t bitRate, frameCount;
    } kFiles[] = {
        {"info-lame-mpeg1-mono.mp3", "info", 100, 128, 5},   {"info-lame-mpeg25-mono.mp3", "info", 300, 24, 7},
        {"info-lavf-mpeg2.mp3", "info", 300, 16, 11},        {"layer2-mpeg2.mp2", "frames", 360, 32, 5},
        {"no-header-v1.mp3", "frames", 131, 64, 5},          {"xing-ape.mp3", "xing", 300, 18, 11},
        {"xing-lame-mpeg1-joint.mp3", "xing", 100, 118, 5},  {"xing-lame-mpeg2-mono.mp3", "xing", 300, 18, 11},
        {"xing-lame-mpeg2-stereo.mp3", "xing", 300, 25, 11},
    };
    for (const auto& wanted : kFiles) {
        SCOPED_TRACE(wanted.file);
        MP3Header header(kStandardDialect);
        ASSERT_TRUE(header.openFile(kSeeds + wanted.file, 0));
        EXPECT_STREQ(nameOf(header.getDurationSource()), wanted.source);
        EXPECT_EQ(header.getMilliseconds(), wanted.milliseconds);
        EXPECT_EQ(header.getBitRate(), wanted.bitRate);
        EXPECT_EQ(header.getNumberOfFrames(), wanted.frameCount);
        EXPECT_THAT(header.remarks().all(), IsEmpty());
    }
}

class MpegDurationTest : public testing::Test {
  protected:
    MP3Header opened(std::string_view content) {
        MP3Header header(kStandardDialect);
        EXPECT_TRUE(header.openFile(folder_.write("file", content), 0));
        return header;
    }
    test::TemporaryFolder folder_;
};

std::string lyrics() {
    const std::string text = "LYRICSBEGININD0000200";
    return text + "0000" + std::to_string(text.size()) + "LYRICS200";
}

std::string ape() {
    std::string footer = std::string("APETAGEX\xD0\x07\0\0\x20\0\0\0\0\0\0\0\0\0\0\x80", 24) + std::string(8, '\0');
    std::string header = footer;
    header[23] = '\xA0';
    return header + footer;
}

TEST_F(MpegDurationTest, TrustsAHeaderThatFitsTheFileAndCountsWhereItDoesNot) {
    const std::uint32_t whole = 101 * 417;
    const std::string stream = frames(100);
    const std::string silent = frameWith(xing("Xing", 100, whole, 576, 1000), 36) + stream;
    const std::string vbri = "VBRI" + std::string(6, '\0') + bigEndian(whole) + bigEndian(100);
    constexpr const char* kXing = "the Xing header does not fit the file: the frames were counted";
    constexpr const char* kPassed = "bytes that belong to no audio frame were passed over";
    const struct {
        const char* what;
        std::string content;
        const char* source;
        std::int64_t samples;
        std::vector<std::string> remarks;
    } kCases[] = {
        {"delay and padding", silent, "xing", 115200 - 1576, {}},
        {"a v1 tag behind", silent + kV1, "xing", 115200 - 1576, {}},
        {"every tag behind", silent + ape() + lyrics() + kV1, "xing", 115200 - 1576, {}},
        {"old lyrics behind", silent + "LYRICSBEGINla laLYRICSEND" + kV1, "xing", 115200 - 1576, {}},
        {"its own frame not counted", frameWith(xing("Xing", 100, whole - 417), 36) + stream, "xing", 115200, {}},
        {"no byte count", frameWith("Info" + bigEndian(1) + bigEndian(100), 36) + stream, "info", 115200, {}},
        {"VBRI", frameWith(vbri, 36) + stream, "vbri", 115200, {}},
        {"zeros behind", silent + std::string(5000, '\0'), "xing", 115200 - 1576, {kPassed}},
        {"no header", stream, "frames", 115200, {}},
        {"no header, junk between", stream + "junk" + stream, "frames", 230400, {kPassed}},
        {"truncated", silent.substr(0, 51 * 417), "frames", 57600 - 576, {kXing}},
        {"truncated in a frame",
         silent.substr(0, 51 * 417 - 1),
         "frames",
         56448 - 576,
         {"the last audio frame is cut", kXing}},
        {"another file behind", silent + silent, "frames", 230400 - 576, {kXing}},
        {"no frames", frameWith(xing("Xing", 0, whole), 36) + stream, "frames", 115200, {kXing}},
        {"absurdly many", frameWith(xing("Xing", 0xFFFFFFFF, whole), 36) + stream, "frames", 115200, {kXing}},
        {"absurdly few", frameWith(xing("Xing", 2, whole), 36) + stream, "frames", 115200, {kXing}},
        {"absurd, and no byte count",
         frameWith("Xing" + bigEndian(1) + bigEndian(9000), 36) + stream,
         "frames",
         115200,
         {kXing}},
        {"more silence than audio",
         frameWith(xing("Info", 3, 4 * 417, 2000, 2000), 36) + frames(3),
         "info",
         3456,
         {"encoder delay and padding are longer than the audio, and were not taken off"}},
        {"layer 2 with a marker",
         frameWith(xing("Xing", 7, 7), 36, "\xFF\xFD\x80\x04") + frames(9, "\xFF\xFD\x80\x04"),
         "frames",
         11520,
         {}},
    };
    for (const auto& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        const MP3Header header = opened(wanted.content);
        EXPECT_STREQ(nameOf(header.getDurationSource()), wanted.source);
        EXPECT_EQ(static_cast<std::int64_t>(header.getMilliseconds()), (wanted.samples * 1000 + 22050) / 44100);
        EXPECT_EQ(header.getSeconds(), static_cast<std::int32_t>((header.getMilliseconds() + 500) / 1000));
        EXPECT_THAT(header.remarks().all(), testing::ElementsAreArray(wanted.remarks));
    }
}

TEST_F(MpegDurationTest, CountsOverChunksBitRatesAndFormats) {
    // Frames over the edges of the chunks; 128 and 320 kbit/s in turn.
    std::string stream;
    for (int i = 0; i < 1000; ++i) stream += frames(1) + frames(1, "\xFF\xFB\xE0\x64");
    const MP3Header mixed = opened(stream);
    EXPECT_EQ(mixed.getNumberOfFrames(), 2000);
    EXPECT_EQ(mixed.getBitRate(), 224);
    EXPECT_EQ(mixed.getMilliseconds(), 52245U);
    const std::string junk(300'000, '\xFF');
    EXPECT_EQ(opened(stream + junk + stream).getNumberOfFrames(), 4000);
    // Headers that no frame's length leads to: none becomes a frame because a chunk happens to end before it.
    std::string headers;
    while (headers.size() < 3'000'000) headers += test::kFrame128;
    headers.append(1000, '\0');  // the file's end would confirm one
    for (const char* before : {"j", "ju", "jun", "junk"}) {
        EXPECT_EQ(opened(frames(16) + before + headers).getNumberOfFrames(), 16) << before;
    }
    // 100 frames of 1152 at 44,100 Hz, 100 of 576 at 24,000: each by its own clock.
    const MP3Header changing = opened(frames(100) + frames(100, "\xFF\xF3\x84\x04"));
    EXPECT_EQ(changing.getMilliseconds(), 2612U + 2400U);
    EXPECT_THAT(changing.remarks().all(), ElementsAre("the audio changes its format"));
    // The header's frame is larger than those of the stream: their bit rate counts.
    const std::string small = frames(20, "\xFF\xFB\x10\x64");
    const std::string info = frameWith(xing("Info", 20, static_cast<std::uint32_t>(417 + small.size())), 36);
    EXPECT_EQ(opened(info + small).getBitRate(), 32);
}

TEST_F(MpegDurationTest, IsNeverLongerThanTheFileForAnyPrefixOfIt) {
    const std::string whole = test::contentOf(kSeeds + "xing-ape.mp3");
    ASSERT_GT(whole.size(), 1000U);
    const test::LogLines log;
    const std::string path = folder_.write("prefix", whole);
    for (std::size_t length = whole.size() + 1; length-- > 0;) {
        ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(length)), 0);
        MP3Header header(kStandardDialect);
        const bool found = header.openFile(path, 0);
        EXPECT_EQ(found, length >= 288) << length << ": the first frame has 288 bytes";
        // At the lowest bit rate, a byte plays a millisecond.
        EXPECT_LE(header.getMilliseconds(), length) << length;
        if (found && length < 1100) {
            EXPECT_FALSE(header.remarks().empty()) << length;
        }
    }
}

}  // namespace
}  // namespace quillet
