#include "id3/MpegFrameHeader.hpp"

#include <gtest/gtest.h>

#include "tests/id3/MpegFrames.hpp"

namespace quillet {
namespace {

using test::frames;

MpegFrameHeader decoded(std::string_view bytes, const Dialect& dialect = kStandardDialect) {
    return MpegFrameHeader::decode(util::bytesOf(bytes), dialect).value();
}

struct HeaderCase {
    std::string_view bytes;
    std::int32_t version, layer, bitRate, frequency, channels, samples;
    std::uint32_t length, sideInformationEnd;
};

// Lengths and samples by ISO/IEC 11172-3 2.4.3.1, worked out by hand.
constexpr HeaderCase kHeaders[] = {
    {"\xFF\xFB\x90\x64", 1, 3, 128, 44100, 1, 1152, 417, 36}, {"\xFF\xFB\x92\x64", 1, 3, 128, 44100, 1, 1152, 418, 36},
    {"\xFF\xFB\xE4\xC4", 1, 3, 320, 48000, 3, 1152, 960, 21}, {"\xFF\xF3\x84\x04", 2, 3, 64, 24000, 0, 576, 192, 21},
    {"\xFF\xE3\x18\xC4", 3, 3, 8, 8000, 3, 576, 72, 13},      {"\xFF\xFD\xA4\x84", 1, 2, 192, 48000, 2, 1152, 576, 36},
    {"\xFF\xF5\x48\x04", 2, 2, 32, 16000, 0, 1152, 288, 21},  {"\xFF\xFF\xC2\x04", 1, 1, 384, 44100, 0, 384, 420, 36},
    {"\xFF\xF7\x46\xC4", 2, 1, 64, 24000, 3, 384, 132, 13},   {"\xFF\xE5\xEA\x04", 3, 2, 160, 8000, 0, 1152, 2881, 21},
};

TEST(MpegFrameHeader, DecodesEveryVersionAndLayer) {
    for (const HeaderCase& wanted : kHeaders) {
        const MpegFrameHeader header = decoded(wanted.bytes);
        SCOPED_TRACE(testing::Message() << header.version << "/" << header.layer << "/" << header.bitRate);
        EXPECT_TRUE(header.isValid());
        EXPECT_EQ(header.version, wanted.version);
        EXPECT_EQ(header.layer, wanted.layer);
        EXPECT_EQ(header.bitRate, wanted.bitRate);
        EXPECT_EQ(header.frequency, wanted.frequency);
        EXPECT_EQ(header.channels, wanted.channels);
        EXPECT_EQ(header.samplesPerFrame(), wanted.samples);
        EXPECT_EQ(header.frameLength(), wanted.length);
        EXPECT_EQ(header.sideInformationEnd(), wanted.sideInformationEnd);
        EXPECT_LE(header.frameLength() + kMpegHeaderLength, kConfirmationRoom);
    }
}

TEST(MpegFrameHeader, TakesNoReservedFieldForValid) {
    using namespace std::string_view_literals;
    EXPECT_EQ(decoded("\xFF\xFB\xF0\x64").bitRate, -1);
    for (const std::string_view bytes : {"\xFF\xDB\x90\x64"sv /* sync */, "\xFF\xEB\x90\x64"sv /* version */,
                                         "\xFF\xF9\x90\x64"sv /* layer */, "\xFF\xFB\xF0\x64"sv /* bit rate */,
                                         "\xFF\xFB\x00\x64"sv /* free format */, "\xFF\xFB\x9C\x64"sv /* frequency */,
                                         "\xFF\xFB\x90\x66"sv /* emphasis */, "\xFF\xFB"sv, "\xFF\xE0\x00\x00"sv}) {
        EXPECT_FALSE(decoded(bytes).isValid());
        EXPECT_EQ(decoded(bytes).frameLength(), 0U);
    }
    EXPECT_FALSE(MpegFrameHeader::decode(util::bytesOf("\xFF"), kStandardDialect));
    EXPECT_EQ(decoded("\xFF\xFB").version, 1);
    EXPECT_EQ(decoded("\xFF\xFB").frequency, 0);
}

TEST(MpegFrameHeader, TakesChannelsFromTheWholeByteOrFromItsTopBits) {
    const struct {
        char byte;
        std::int32_t system, standard;
    } kCases[] = {{'\x00', 0, 0}, {'\x04', 1, 0}, {'\x44', 1, 1}, {'\x80', 1, 2}, {'\xC0', 1, 3}};
    for (const auto& wanted : kCases) {
        const std::string bytes = std::string("\xFF\xFB\x90") + wanted.byte;
        EXPECT_EQ(decoded(bytes, kSystemDialect).channels, wanted.system);
        EXPECT_EQ(decoded(bytes).channels, wanted.standard);
    }
}

TEST(MpegFrameHeader, IsConfirmedByWhatFollowsIt) {
    const std::string two = frames(2);
    const struct {
        const char* what;
        std::string bytes;
        bool atEnd;
        std::optional<std::size_t> found;
    } kCases[] = {
        {"two frames", two, true, 0},
        {"one frame at the end", frames(1), true, 0},
        {"one frame, and more to come", frames(1), false, std::nullopt},
        {"a cut frame", frames(1).substr(0, 400), true, std::nullopt},
        {"another stream's header", frames(1) + frames(1, "\xFF\xFB\x94\x64"), true, 417},
        {"a tag", frames(1) + "TAG" + std::string(125, ' '), true, 0},
        {"junk with syncs before", std::string("\xFF\xFB\x90\x64junk\xFF\xFF\xFF") + two, true, 11},
        {"nothing but syncs", std::string(5000, '\xFF'), true, std::nullopt},
        {"room for confirmation to the byte",
         std::string(3, '\0') + two.substr(0, 421) + std::string(kConfirmationRoom, '\0'), false, 3},
        {"one byte less", std::string(417 + 421, '\0').append(frames(8)).substr(0, 838 + kConfirmationRoom), false,
         std::nullopt},
    };
    for (const auto& wanted : kCases)
        EXPECT_EQ(findConfirmedFrame(util::bytesOf(wanted.bytes), wanted.atEnd), wanted.found) << wanted.what;
}

}  // namespace
}  // namespace quillet
