#include <gtest/gtest.h>

#include <random>

#include "id3/id3V2Tag.hpp"
#include "tests/LogLines.hpp"
#include "tests/MemoryFile.hpp"
#include "tests/id3/TagBytes.hpp"

// What a broken tag must not do: run past the file, run for ever, make frames of nothing.

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
using test::tagOf;

const std::string kTags[] = {
    tagOf(2, 0x80, frame20("TT2", "a\xff\0bc"s) + frame20("PIC", std::string(300, 'p')) + frame20("TP1", "x")) + kAudio,
    tagOf(3, 0xC0,
          number(6, 4) + "\0\0\0\0\0\1"s + frame23("TIT2", "\xff\0abc"s) +
              frame23("TALB", number(50, 4) + deflated(std::string(50, 'z')), 0x0080) + frame23("TPE1", "x") +
              std::string(900, '\0')) +
        kAudio,
    tagOf(4, 0x40,
          synchsafeNumber(6) + "\1\0"s + frame24("TIT2", synchsafeNumber(3) + "\xff\0ab"s, 0x0003) +
              frame24("TALB", synchsafeNumber(50) + deflated(std::string(50, 'z')), 0x0009) +
              frame24("APIC", std::string(900, 'p')) + frame24("TPE1", "x")) +
        kAudio,
    tagOf(4, 0,
          frameOf("TIT2", number(200, 4), std::string(200, 'q'), 0) +
              frameOf("APIC", number(300, 4), std::string(300, 'p'), 0) + std::string(50, '\0')) +
        kAudio,
};

/// Reads a tag of `content` and sees to it that no frame has more than the file does.
id3V2Tag read(const std::string& content, const Dialect& dialect, std::size_t decompressed = 0) {
    const test::LogLines log;
    id3V2Tag tag(FrameLibrary(), dialect);
    const test::MemoryFile file(content);
    tag.openPath(file.path());
    std::size_t bodies = 0;
    for (const auto& frame : tag.frames().all()) bodies += frame->getFrameLength();
    EXPECT_LE(bodies, content.size() + decompressed);
    EXPECT_LE(log.count(), 100U);
    return tag;
}

TEST(TagDamage, EveryPrefixGivesTheFramesThatItHolds) {
    for (const std::string& whole : kTags) {
        const std::string all = test::listed(read(whole, kStandardDialect, 50).frames().all());
        for (std::size_t size = 0; size < whole.size(); size += size < 450 ? 1 : 97) {
            SCOPED_TRACE(size);
            const std::string prefix = whole.substr(0, size);
            read(prefix, kSystemDialect, 50);
            const id3V2Tag tag = read(prefix, kStandardDialect, 50);
            EXPECT_EQ(tag.tagPresent(), size >= 10);
            FrameArray frames = tag.frames().all();
            if (!frames.empty()) frames.pop_back();  // may be cut itself
            EXPECT_TRUE(all.starts_with(test::listed(frames)));
            EXPECT_LE(tag.audioStart(), size);
        }
    }
}

TEST(TagDamage, ASizeFieldOfAnyValueIsSurvived) {
    std::mt19937 random(1);
    for (const std::string& whole : kTags) {
        const bool extended = (whole[5] & 0x40) != 0;
        const std::size_t frame = extended ? 20 : 10;
        std::vector<std::size_t> fields{6, frame + (whole[3] == 2 ? 3 : 4)};
        if (extended) fields.push_back(10);
        for (const std::size_t field : fields) {
            for (int i = 0; i < 400; ++i) {
                std::string broken = whole;
                constexpr std::string_view kBytes("\0\0\0\1\x7f\x80\xff", 7);
                for (std::size_t at = 0; at < 4; ++at)
                    broken[field + at] = i % 2 ? kBytes[random() % kBytes.size()] : static_cast<char>(random());
                read(broken, kSystemDialect, 50);
                const id3V2Tag tag = read(broken, kStandardDialect, 50);
                EXPECT_LE(tag.audioStart(), whole.size());
            }
        }
    }
}

TEST(TagDamage, NestedLiesStayWithinTheFile) {
    const std::string bomb = number(0xFFFFFFFF, 4) + deflated(std::string(9'000'000, '\0'));
    const std::string lies[] = {
        // A frame longer than its tag, in a tag longer than its file, behind an extended header longer than both.
        test::tagHeader(3, 0x40, 0x0FFFFFFF) + number(0x7FFFFFFF, 4) + frameOf("TIT2", "\x7f\xff\xff\xff", "x", 0x00E0),
        test::tagHeader(4, 0xF0, 0x0FFFFFFF) + number(0x7FFFFFFF, 4) + frameOf("TIT2", "\x7f\x7f\x7f\x7f", "x", 0x004F),
        // Frames that claim four thousand million bytes and have nine million.
        tagOf(3, 0, frame23("TIT2", number(0xFFFFFFFF, 4), 0x0080) + frame23("TIT2", bomb, 0x0080)),
        // Frames that all begin inside of the first.
        tagOf(3, 0,
              frameOf("TIT2", "\xff\xff\xff\xff", "", 'T') + "PE1\xff\xff\xff\xff\0T"s + "PE1\xff\xff\xff\xff\0T"s),
        // A size that would go back for ever.
        tagOf(3, 0, frame23("TIT2", "abc") + frameOf("TPE1", "\xff\xff\xff\xe9", "", 0)),
        tagOf(4, 0, frame24("TIT2", "abc") + frameOf("TPE1", "\xff\xff\xff\xe9", "", 0)),
        // Sizes that stand still once a header is added in 32 bits.
        tagOf(3, 0, frame23("TIT2", "abc") + frameOf("TPE1", "\xff\xff\xff\xf6", "", 0)),
        tagOf(4, 0, frame24("TIT2", "abc") + frameOf("TPE1", "\xff\xff\xff\xf6", "", 0)),
    };
    for (const std::string& lie : lies) {
        for (const Dialect* dialect : {&kSystemDialect, &kStandardDialect}) read(lie + kAudio, *dialect, 9'000'000);
    }
}

}  // namespace
}  // namespace quillet
