#include <gtest/gtest.h>

#include "id3/Limits.hpp"
#include "tests/LogLines.hpp"
#include "tests/id3/FilledTag.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using test::filledTag;
using test::frame;
using test::Frames;
using test::lengthOf;
using test::shown;

/// What a setter leaves of a tag. Where an entry is given, it alone makes the difference of both dialects.
struct SetterCase {
    const char* name;
    bool Dialect::* entry;
    std::uint32_t version;
    Frames before;
    bool (*set)(id3V2Tag& tag);
    std::string system, standard;
};

SetterCase alike(const char* name, std::uint32_t version, Frames before, bool (*set)(id3V2Tag&), std::string after) {
    return {name, nullptr, version, std::move(before), set, after, after};
}

const std::string kMachineComment = "\0engiTunNORM\0 00000A"s;
const std::string kWideRockPop = "\1\xff\xfeR\0o\0c\0k\0\0\0P\0o\0p\0\0\0"s;

const SetterCase kSetters[] = {
    alike(
        "title, ASCII", 2, {}, [](id3V2Tag& t) { return t.setTitle("Title"); }, "TT2=\0Title\0"s),
    alike(
        "title, Latin-1", 3, {}, [](id3V2Tag& t) { return t.setTitle("ä"); }, "TIT2=\1\xff\xfe\xe4\0\0\0"s),
    alike(
        "title, no text", 4, {}, [](id3V2Tag& t) { return t.setTitle("a\xc3"); }, "TIT2=\1\xff\xfe\x61\0\xfd\xff\0\0"s),
    alike(
        "track of total", 4, {}, [](id3V2Tag& t) { return t.setTrack(3, 12); }, "TRCK=\0003/12\0"s),
    alike(
        "comments of machines stay", 3,
        {{"COMM", "\0eng\0a"s}, {"COMM", kMachineComment}, {"TIT2", "t"}, {"COMM", "\0engd\0b"s}},
        [](id3V2Tag& t) { return t.setComments("new"); }, "TIT2=t COMM=" + kMachineComment + " COMM=\0eng\0new"s),
    alike(
        "no pictures", 3, {{"APIC", "a"}, {"TIT2", "t"}, {"APIC", "b"}}, [](id3V2Tag& t) { return t.setImages({}); },
        "TIT2=t"),
    alike(
        "raw data beside a picture dictionary", 3, {{"APIC", "a"}},
        [](id3V2Tag& t) {
            return t.setImages({{.image = test::dataOf("GIF8"), .pictureType = "", .mimeType = "", .description = ""},
                                {test::dataOf("x"), "Conductor", "g", "d"}});
        },
        "APIC=\0image/gif\0\3\0GIF8 APIC=\0g\0\x09"s
        "d\0x"s),
    alike(
        "content of another version, of which one alone may be", 3, {{"TIT2", "old"}},
        [](id3V2Tag& t) { return t.setContent({test::dataOf("\3raw"), "b"}, "TT2", true); }, "TIT2=\3raw"),
    alike(
        "content in place of what is there", 3, {{"PRIV", "old"}},
        [](id3V2Tag& t) { return t.setContent({test::dataOf("a"), "b"}, "PRIV", false); }, "PRIV=a PRIV=b"),
    alike(
        "content beside what is there", 3, {{"PRIV", "old"}},
        [](id3V2Tag& t) { return t.setContent({test::dataOf("a")}, "PRIV", true); }, "PRIV=a PRIV=old"),

    {"an empty title",
     &Dialect::writesEmptyValues,
     4,
     {{"TIT2", "t"}, {"TALB", "a"}},
     [](id3V2Tag& t) { return t.setTitle(""); },
     "TALB=a TIT2=\0\0"s,
     "TALB=a"},
    {"a year before the first",
     &Dialect::writesEmptyValues,
     3,
     {{"TYER", "y"}},
     [](id3V2Tag& t) { return t.setYear(-4); },
     "TYER=\0-4\0"s,
     ""},
    {"a track without a total",
     &Dialect::writesEmptyValues,
     3,
     {},
     [](id3V2Tag& t) { return t.setTrack(3, 0); },
     "TRCK=\0003/0\0"s,
     "TRCK=\0003\0"s},
    {"a total without a disc",
     &Dialect::writesEmptyValues,
     2,
     {{"TPA", "1"}},
     [](id3V2Tag& t) { return t.setDisk(0, 2); },
     "TPA=\0000/2\0"s,
     ""},
    {"an empty comment",
     &Dialect::writesEmptyValues,
     3,
     {{"COMM", "\0eng\0a"s}, {"COMM", kMachineComment}},
     [](id3V2Tag& t) { return t.setComments(""); },
     "COMM=" + kMachineComment + " COMM=\0eng\0"s,
     "COMM=" + kMachineComment},
    {"an empty content",
     &Dialect::writesEmptyValues,
     3,
     {{"PRIV", "old"}},
     [](id3V2Tag& t) { return t.setContent({""}, "PRIV", false); },
     "PRIV=",
     ""},
    {"a picture without bytes",
     &Dialect::writesEmptyValues,
     3,
     {{"APIC", "a"}},
     [](id3V2Tag& t) { return t.setImages({{{}, "Other", "g", ""}}); },
     "APIC=\0g\0\0\0"s,
     ""},
    {"two genres",
     &Dialect::writesSomeTextsInUTF16,
     3,
     {{"TCON", "x"}},
     [](id3V2Tag& t) { return t.setGenreName({"Rock", "Pop"}); },
     "TCON=" + kWideRockPop + "\0\0"s,
     "TCON=\0Rock\0Pop\0"s},
    {"genres that look like references",
     &Dialect::writesSomeTextsInUTF16,
     2,
     {},
     [](id3V2Tag& t) { return t.setGenreName({"(17)", "((", "(a) b", "17"}); },
     "TCO=\1\xff\xfe(\0"
     "1\0"
     "7\0)\0\0\0(\0(\0\0\0(\0a\0)\0 \0b\0\0\0"
     "1\0"
     "7\0\0\0\0\0"s,
     "TCO=\0((17)\0(((\0(a) b\0"
     "17\0"s},
    {"content that is text",
     &Dialect::writesSomeTextsInUTF16,
     3,
     {},
     [](id3V2Tag& t) { return t.setContent({"a"}, "TIT2", false); },
     "TIT2=\1\xff\xfe\x61\0\0\0"s,
     "TIT2=\0a\0"s},
    {"a title that stands twice",
     &Dialect::replacesFirstFrameAlone,
     3,
     {{"TIT2", "a"}, {"TPE1", "p"}, {"TIT2", "b"}},
     [](id3V2Tag& t) { return t.setTitle("c"); },
     "TPE1=p TIT2=\0c\0 TIT2=b"s,
     "TPE1=p TIT2=\0c\0"s},
    {"the year of 2.4 in a 2.3 tag",
     &Dialect::readsYearFromOneFrame,
     3,
     {{"TDRC", "old"}},
     [](id3V2Tag& t) { return t.setYear(2004); },
     "TDRC=old TYER=\0002004\0"s,
     "TYER=\0002004\0"s},
    {"the year of 2.3 in a 2.4 tag",
     &Dialect::readsYearFromOneFrame,
     4,
     {{"TYER", "old"}},
     [](id3V2Tag& t) { return t.setYear(2004); },
     "TYER=old TDRC=\0002004\0"s,
     "TDRC=\0002004\0"s},
    {"a wide comment",
     &Dialect::endsTextWithTwoZeros,
     3,
     {},
     [](id3V2Tag& t) { return t.setComments("ä"); },
     "COMM=\1eng\0\0\xff\xfe\xe4\0"s,
     "COMM=\1eng\xff\xfe\0\0\xff\xfe\xe4\0"s},
};

TEST(TagSetters, LeaveTheFramesThatTheyShould) {
    for (const SetterCase& c : kSetters) {
        SCOPED_TRACE(c.name);
        const auto check = [&](const Dialect& dialect, const std::string& after) {
            id3V2Tag tag = filledTag(c.version, c.before, dialect);
            const std::uint32_t rest = tag.tagLength() - lengthOf(tag);
            EXPECT_TRUE(c.set(tag));
            EXPECT_EQ(shown(tag), after);
            EXPECT_EQ(tag.tagLength() - lengthOf(tag), rest);
            EXPECT_TRUE(tag.tagChanged() || dialect.ignoresDropsAsChange);
        };
        for (const bool system : {true, false}) {
            Dialect dialect{.system = system};
            check(dialect, system ? c.system : c.standard);
            if (c.entry == nullptr) continue;
            dialect.*c.entry = !system;
            check(dialect, system ? c.standard : c.system);
        }
    }
}

TEST(TagSetters, AreReadBackInEachVersionAndDialect) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        for (const std::uint32_t version : {2U, 3U, 4U}) {
            SCOPED_TRACE(version);
            id3V2Tag tag = filledTag(version, {{version == 2 ? "TXX" : "TXXX", "x"}}, dialect);
            EXPECT_TRUE(tag.setTitle("Título") && tag.setArtist("夜") && tag.setAlbumArtist("Ω") &&
                        tag.setAlbum("Album") && tag.setComposer("Composer") && tag.setEncodedBy("Encoder") &&
                        tag.setYear(2004) && tag.setTrack(3, 12) && tag.setDisk(1, 2) && tag.setGenreName({"Rock"}) &&
                        tag.setComments("Note") &&
                        tag.setImages({{test::dataOf("\xff\xd8\xff\xe0"), "Illustration", "", ""}}));
            EXPECT_EQ(tag.getTitle(), "Título");
            EXPECT_EQ(tag.getArtist(), "夜");
            EXPECT_EQ(tag.getAlbumArtist(), "Ω");
            EXPECT_EQ(tag.getAlbum(), "Album");
            EXPECT_EQ(tag.getComposer(), "Composer");
            EXPECT_EQ(tag.getEncodedBy(), "Encoder");
            EXPECT_EQ(tag.getYear(), 2004);
            EXPECT_EQ(tag.getTrack(), 3);
            EXPECT_EQ(tag.getTotalNumberTracks(), 12);
            EXPECT_EQ(tag.getDisk(), 1);
            EXPECT_EQ(tag.getTotalNumberDisks(), 2);
            EXPECT_EQ(tag.getGenreNames(), std::vector<std::string>{"Rock"});
            EXPECT_EQ(tag.getComments(), "Note");
            ASSERT_EQ(tag.getImage().size(), 1U);
            EXPECT_EQ(tag.getImage().front().image, test::dataOf("\xff\xd8\xff\xe0"));
            EXPECT_EQ(tag.frames().all().size(), 13U);
        }
    }
}

TEST(TagSetters, RefuseWhatTheyCannotWrite) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        id3V2Tag unknown = filledTag(5, {}, dialect);
        const test::LogLines log;
        EXPECT_FALSE(unknown.setTitle("t") || unknown.setYear(2004) || unknown.setGenreName({"g"}) ||
                     unknown.setComments("c") || unknown.setImages({}) || unknown.setContent({"t"}, "TIT2", false));
        id3V2Tag tag = filledTag(3, {{"TIT2", "t"}}, dialect);
        EXPECT_FALSE(tag.setComposer(std::nullopt) || tag.setEncodedBy(std::nullopt));
        EXPECT_FALSE(tag.setContent({"t"}, "XXXX", false) || tag.setContent({"t"}, "OLD", false));
        EXPECT_FALSE(tag.setContent({}, "TIT2", true)) << "no content";
        EXPECT_EQ(shown(tag), "TIT2=t");
        EXPECT_FALSE(tag.tagChanged());
        const std::string start = "Method setContent: forFrame replace: Could not resolve correct frame ID ";
        EXPECT_EQ(log.all(), (std::vector<std::string>{start + "for :TIT2", start + "for :XXXX",
                                                       start + "library record for :GONE"}));
    }
}

TEST(TagSetters, RefuseWhatIsLargerThanReadersTake) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        id3V2Tag tag = filledTag(3, {{"APIC", "a"}, {"TIT2", "t"}}, dialect);
        const std::size_t header = "\0g\0\3\0"s.size();
        const auto picture = [&](std::size_t size) {
            return Picture{test::dataOf(std::string(size, 'x')), "", "g", ""};
        };
        EXPECT_FALSE(tag.setImages({picture(3), picture(kLargestFrame - header + 1)}));
        EXPECT_EQ(tag.getErrorDescription(),
                  "a picture of 10,000,001 bytes is larger than the 10,000,000 that readers take");
        EXPECT_FALSE(tag.setTitle(std::string(kLargestFrame - 1, 'x')));
        EXPECT_EQ(tag.getErrorDescription(),
                  "a text of 10,000,001 bytes is larger than the 10,000,000 that readers take");
        EXPECT_FALSE(tag.setComments(std::string(kLargestFrame, 'x')));
        EXPECT_FALSE(tag.setContent({std::string(kLargestFrame + 1, 'x')}, "PRIV", true));
        EXPECT_NE(tag.getErrorCode(), 0);
        EXPECT_EQ(shown(tag), "APIC=a TIT2=t");
        EXPECT_FALSE(tag.tagChanged());
        EXPECT_TRUE(tag.setImages({picture(kLargestFrame - header)}));
        EXPECT_TRUE(tag.setTitle(std::string(kLargestFrame - 2, 'x')));
    }
}

}  // namespace
}  // namespace quillet
