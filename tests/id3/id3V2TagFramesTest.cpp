#include <gtest/gtest.h>

#include "tests/id3/FilledTag.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using test::filledTag;
using test::frame;
using test::lengthOf;
using test::shown;

TEST(TagFrames, AreFiledAtTheirPlace) {
    struct {
        const char* name;
        bool replace;
        std::int32_t position;
        const char* after;
    } const cases[] = {
        {"at the front", false, 0, "TIT2=new TIT2=a TPE1=p TIT2=b"},
        {"below the first", false, -7, "TIT2=new TIT2=a TPE1=p TIT2=b"},
        {"between", false, 1, "TIT2=a TPE1=p TIT2=new TIT2=b"},
        {"past the end", false, 99, "TIT2=a TPE1=p TIT2=b TIT2=new"},
        {"in place of the first", true, 0, "TPE1=p TIT2=new TIT2=b"},
        {"in place of the last", true, 1, "TIT2=a TIT2=new TPE1=p"},
        {"in place of none", true, 2, "TIT2=a TPE1=p TIT2=b TIT2=new"},
        {"in place of all", true, -1, "TPE1=p TIT2=new"},
    };
    for (const auto& c : cases) {
        id3V2Tag tag = filledTag(3, {{"TIT2", "a"}, {"TPE1", "p"}, {"TIT2", "b"}}, kSystemDialect);
        EXPECT_FALSE(tag.addUpdateFrame(nullptr, true, 0));
        EXPECT_FALSE(tag.tagChanged());
        EXPECT_TRUE(tag.addUpdateFrame(frame("TIT2", "new"), c.replace, c.position));
        EXPECT_EQ(shown(tag), c.after) << c.name;
        EXPECT_TRUE(tag.tagChanged());
    }
    id3V2Tag tag = filledTag(3, {{"TIT2", "a"}, {"TPE1", "p"}}, kSystemDialect);
    EXPECT_FALSE(tag.setFrames({}) || tag.setFrames({frame("TPE1", "q"), nullptr}));
    EXPECT_FALSE(tag.tagChanged());
    EXPECT_TRUE(tag.setFrames({frame("TPE1", "q"), frame("TPE1", "r")}));
    EXPECT_EQ(shown(tag), "TIT2=a TPE1=q TPE1=r");
}

TEST(TagFrames, AreDroppedOneByOneOrAll) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        id3V2Tag tag = filledTag(3, {{"TIT2", "long"}, {"TPE1", "p"}, {"TIT2", "bb"}, {"TIT2", "c"}}, dialect);
        const std::uint32_t before = tag.tagLength();
        EXPECT_TRUE(tag.dropFrame("XXXX", 3) && tag.dropFrame("XXXX", -1) && tag.dropFrame(frame("XXXX", "")));
        EXPECT_FALSE(tag.dropFrame("TIT2", 3) || tag.dropFrame(nullptr) || tag.dropFrame(frame("TIT2", "c")));
        EXPECT_EQ(tag.tagLength(), before);
        EXPECT_FALSE(tag.tagChanged());
        EXPECT_TRUE(tag.dropFrame("TIT2", 1));
        EXPECT_EQ(shown(tag), "TIT2=long TPE1=p TIT2=c");
        EXPECT_EQ(tag.tagLength(), before - 12);
        EXPECT_EQ(tag.tagChanged(), !dialect.ignoresDropsAsChange);
        EXPECT_TRUE(tag.dropFrame(tag.frames().all().front()));
        EXPECT_EQ(shown(tag), "TPE1=p TIT2=c");
        EXPECT_EQ(tag.tagLength(), before - 26);
        EXPECT_TRUE(tag.dropFrame("TIT2", -1) && tag.dropFrame("TPE1", -1));
        EXPECT_EQ(tag.tagLength(), before - 48);
        EXPECT_EQ(tag.tagChanged(), !dialect.ignoresDropsAsChange);
    }
    const auto twice = frame("TIT2", "twice");
    id3V2Tag tag = filledTag(3, {{"TPE1", "p"}}, kSystemDialect);
    const std::uint32_t before = tag.tagLength();
    EXPECT_TRUE(tag.addUpdateFrame(twice, false, 0) && tag.addUpdateFrame(twice, false, 0) && tag.dropFrame(twice));
    EXPECT_EQ(shown(tag), "TPE1=p TIT2=twice");
    EXPECT_EQ(tag.tagLength(), before + 15);
}

TEST(TagFlags, AreSetInTheirVersionsAlone) {
    for (const std::uint32_t version : {0U, 2U, 3U, 4U, 5U}) {
        SCOPED_TRACE(version);
        id3V2Tag tag = filledTag(version, {}, kSystemDialect);
        const std::uint32_t empty = tag.tagLength();
        EXPECT_TRUE(tag.setTagUnsynch(true) && tag.tagUnsynch());
        EXPECT_EQ(tag.setCompressTag(true) && tag.compressTag(), version <= 2);
        EXPECT_EQ(tag.setExtendedHeader(true) && tag.extendedHeader(), version == 3 || version == 4);
        EXPECT_EQ(tag.setFooter(true) && tag.footer(), version == 4);
        EXPECT_EQ(tag.tagLength(), empty + (version == 4 ? 10 : 0));
        EXPECT_FALSE(tag.tagChanged());
        EXPECT_EQ(tag.flags(), version == 4 ? 0xE0 : version == 5 ? 0x80 : 0xC0);
        tag.setTagUnsynch(false);
        tag.setCompressTag(false);
        tag.setExtendedHeader(false);
        tag.setFooter(false);
        EXPECT_EQ(tag.flags(), 0U);
    }
    id3V2Tag standard = filledTag(4, {}, kStandardDialect);
    EXPECT_TRUE(standard.setFooter(true));
    EXPECT_EQ(standard.flags(), 0x10U);

    const std::string extended =
        test::tagOf(3, 0x40, test::number(6, 4) + "\0\0\0\0\0\0"s + test::frame23("TIT2", "t"));
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        id3V2Tag tag(FrameLibrary(), dialect);
        const test::MemoryFile file(extended + "\xff\xfb" + std::string(2000, '\x55'));
        tag.openPath(file.path());
        ASSERT_TRUE(tag.extendedHeaderData());
        const std::uint32_t before = tag.tagLength();
        EXPECT_TRUE(tag.setExtendedHeader(false));
        EXPECT_FALSE(tag.extendedHeaderData());
        EXPECT_EQ(before - tag.tagLength(), dialect.keepsExtendedHeaderMark ? 6U : 10U);
    }
}

}  // namespace
}  // namespace quillet
