#include "id3/id3V2Frame.hpp"

#include <gtest/gtest.h>
#include <zlib.h>

#include "id3/FrameStore.hpp"
#include "id3/Limits.hpp"
#include "tests/id3/FrameBytes.hpp"

namespace quillet {
namespace {

using test::bodyOf;
using test::bytesOf;
using test::frameOf;
using namespace std::string_literals;
using namespace std::string_view_literals;
using Texts = std::vector<std::string>;

#define FFFD "\xef\xbf\xbd"

struct TextCase {
    std::string_view body, system, standard;
    Texts values;
};

const TextCase kTexts[] = {
    // Written by mutagen.
    {"\0Caf\xe9\0"sv, "Café", "Café", {"Café"}},
    {"\1\xff\xfeZ\0o\0\xeb\0 \0\x3c\xd8\xb5\xdf\0\0"sv, "Zoë 🎵", "Zoë 🎵", {"Zoë 🎵"}},
    {"\1\xff\xfe\xe9\0\0\0\xff\xfe\xfc\0\0\0"sv, "é\0\xef\xbb\xbfü"sv, "é / ü", {"é", "ü"}},
    {"\3\xc3\xa9\0\xc3\xbc\0"sv, "é\0ü"sv, "é / ü", {"é", "ü"}},
    {"\2\x26\x3a\x03\xa9\0\0"sv, "&:\3\xef\xbf\xbd", "☺Ω", {"☺Ω"}},
    // Written by eyeD3.
    {"\3Zo\xc3\xab", "Zoë", "Zoë", {"Zoë"}},
    {"\1\xff\xfeZ\0o\0\xeb\0"sv, "Zoë", "Zoë", {"Zoë"}},
    // The mark of the first value holds for the others.
    {"\1\xfe\xff\0a\0\0\0b"sv, "a\0b"sv, "a / b", {"a", "b"}},
    {"\1a\0b\0"sv, "ab", "ab", {"ab"}},  // without a mark
    {"\0a\0\0b\0\0"sv, "a\0\0b"sv, "a /  / b", {"a", "", "b"}},
    {"\1\xff\xfe\x61\0\0"sv, "a", "a", {"a"}},  // half a terminator
    {"\1\xff\xfe\x61\0b"sv, "a" FFFD, "a" FFFD, {"a" FFFD}},
    {"\5a\xe9", "aé", "aé", {"aé"}},
    {"\0\t\r\n a \n"sv, " a ", " a ", {" a "}},
    {"\0\x35\0"sv, "5", "5", {"5"}},
    {"\0\t"sv, "\t", "\t", {"\t"}},    // one character stays
    {"\1\xff\xfe\t\0"sv, "", "", {}},  // but not where the byte behind the coding is no ASCII
    {"\1\t\0"sv, "\t", "\t", {"\t"}},
    {"\0\0"sv, "", "", {}},
    {"\0"sv, "", "", {}},
    {"", "", "", {}},
};

TEST(Frame, ReadsTextInEachDialect) {
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(testing::PrintToString(c.body));
        EXPECT_EQ(frameOf(c.body, 4).getTextFromFrame(), c.system);
        EXPECT_EQ(frameOf(c.body, 4, kStandardDialect).getTextFromFrame(), c.standard);
        EXPECT_EQ(frameOf(c.body, 4, kStandardDialect).textValues(), c.values);
    }
    const id3V2Frame bodiless("TIT2", 0, 0, 3);
    EXPECT_EQ(bodiless.getTextFromFrame(), std::nullopt);
    EXPECT_EQ(bodiless.getCommentFromFrame(), std::nullopt);
    EXPECT_EQ(bodiless.getCompleteRawFrame(), std::nullopt);
    EXPECT_TRUE(bodiless.textValues().empty() && bodiless.genreArrayFromFrame().empty());
}

struct CommentCase {
    std::string_view body;
    std::optional<std::string> systemDescription, systemText, description, text;
};

const CommentCase kComments[] = {
    {"\0eng\0plain\0"sv, "", "plain", "", "plain"},                     // mutagen
    {"\3engGr\xc3\xb6\xc3\x9f\0\xc3\xbc"sv, "Größ", "ü", "Größ", "ü"},  // eyeD3
    // mutagen: a high byte is taken for the terminator's first, and what follows is out of step.
    {"\1deu\xff\xfeG\0\xf6\0\0\0\xff\xfe\xfc\0\xdf\0\0\0"sv, "G" FFFD, "\xef\xbc\x80\xef\xb3\xbe" FFFD, "Gö", "üß"},
    {"\1eng\xff\xfe\0\0\xff\xfe\x61\0"sv, "", "a", "", "a"},
    {"\1eng\xfe\xff\0d\0\0\xfe\xff\0\x61"sv, "d", "a", "d", "a"},
    {"\1eng\0\0a\0b\0"sv, "", "ab", "", "ab"},
    {"\2eng\0d\0\0\0\x61"sv, "", "d  a", "d", "a"},
    {"\0engd\0a\0\0b\0c\0"sv, "d", "a b c", "d", "a b c"},
    {"\0eng\0"sv, "", "", "", ""},
    {"\0engabc"sv, {}, {}, "abc", {}},
    {"\1eng\0\0\x61\0b"sv, "", "a" FFFD, "", "a" FFFD},
    {"\1eng\0\0\x61\0"sv, "", {}, "", "a"},  // fewer than three bytes behind the zeros
    {"\1eng\0\0\x61"sv, {}, {}, "", FFFD},   // and fewer than two
    {"\0eng"sv, {}, {}, "", {}},
    {"\0en"sv, {}, {}, {}, {}},
    {"", {}, {}, {}, {}},
};

TEST(Frame, ReadsCommentsInEachDialect) {
    for (const CommentCase& c : kComments) {
        SCOPED_TRACE(testing::PrintToString(c.body));
        EXPECT_EQ(frameOf(c.body, 4).getShortCommentFromFrame(), c.systemDescription);
        EXPECT_EQ(frameOf(c.body, 4).getCommentFromFrame(), c.systemText);
        EXPECT_EQ(frameOf(c.body, 4, kStandardDialect).getShortCommentFromFrame(), c.description);
        EXPECT_EQ(frameOf(c.body, 4, kStandardDialect).getCommentFromFrame(), c.text);
    }
    EXPECT_EQ(id3V2Frame::cleanString("\t\0a\0\0\0b\r\n"sv), "a  b");
}

struct GenreCase {
    std::string_view text;
    Texts system, standard;
};

const GenreCase kGenres[] = {
    {"(17)", {"17", "17)"}, {"17"}},
    {"Rock", {"Rock"}, {"Rock"}},
    {"(17)(18)", {"17", "18", "18)"}, {"17", "18"}},
    {"17", {"17"}, {"17"}},
    {"(4)Eurodisco", {"4", "4)Eurodisco"}, {"4", "Eurodisco"}},
    {"(RX)(CR)", {"RX", "CR", "CR)"}, {"RX", "CR"}},
    {"((foo)", {"(foo)"}, {"(foo)"}},
    {"(4)((x)", {"4", "(x)"}, {"4", "(x)"}},
    {"(17", {"17"}, {"(17"}},
    {"(abc)", {"abc", "abc)"}, {"(abc)"}},
    {"()", {")"}, {"()"}},
    {"17/18", {"17/18"}, {"17/18"}},
    {"17\0Rave\0\0(18)x"sv, {"17", "Rave", "18", "18)x"}, {"17", "Rave", "18", "x"}},
    {"(a\0(b)"sv, {"a", "b", "b)"}, {"(a", "(b)"}},
    {"a)b", {"a", "a)b"}, {"a)b"}},
    {"Käfer)\0ロック"sv, {"Käfer", "Käfer)", "ロック"}, {"Käfer)", "ロック"}},
    {"", {}, {}},
    {"(", {}, {"("}},
};

TEST(Frame, ReadsGenresInEachDialect) {
    for (const GenreCase& c : kGenres) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        const std::string body = "\3" + std::string(c.text);
        EXPECT_EQ(frameOf(body).genreArrayFromFrame(), c.system);
        EXPECT_EQ(frameOf(body, 3, kStandardDialect).genreArrayFromFrame(), c.standard);
    }
    EXPECT_EQ(id3V2Frame::genreStringFromArray({"17", "Rock"}), "17\0Rock\0"sv);
    const std::string hostile = '\0' + std::string(1'000'000, ')');
    EXPECT_LE(frameOf(hostile).genreArrayFromFrame().size(), kLongestGenreText);
}

struct FlagCase {
    const char* name;
    bool (id3V2Frame::*set)(bool);
    bool (id3V2Frame::*isSet)() const;
    int byte;
    std::uint8_t mask3, mask4;
};

const FlagCase kFlags[] = {
    {"compress", &id3V2Frame::setCompress, &id3V2Frame::compress, 2, 0x80, 0x08},
    {"encrypted", &id3V2Frame::setEncrypted, &id3V2Frame::encrypted, 2, 0x40, 0x04},
    {"dropIfTagChange", &id3V2Frame::setDropIfTagChange, &id3V2Frame::dropIfTagChange, 1, 0x80, 0x40},
    {"dropIfFileChange", &id3V2Frame::setDropIfFileChange, &id3V2Frame::dropIfFileChange, 1, 0x40, 0x20},
    {"readOnly", &id3V2Frame::setReadOnly, &id3V2Frame::readOnly, 1, 0x20, 0x10},
};

TEST(Frame, SetsAndClearsTheVersionsOwnFlagBits) {
    for (const FlagCase& c : kFlags) {
        for (const std::int32_t version : {2, 3, 4, 5}) {
            SCOPED_TRACE(c.name + std::to_string(version));
            id3V2Frame none = frameOf("", version, kStandardDialect);
            id3V2Frame all = frameOf("", version, kStandardDialect, 0xff, 0xff);
            const bool known = version == 3 || version == 4;
            const int mask = known ? (version == 3 ? c.mask3 : c.mask4) : 0;
            EXPECT_EQ((all.*c.isSet)(), known);
            EXPECT_EQ((none.*c.set)(true), known);
            EXPECT_EQ((none.*c.isSet)(), known);
            EXPECT_EQ((all.*c.set)(false), known);
            EXPECT_EQ(none.flagByte1(), c.byte == 1 ? mask : 0);
            EXPECT_EQ(none.flagByte2(), c.byte == 2 ? mask : 0);
            EXPECT_EQ(all.flagByte1(), c.byte == 1 ? 0xff & ~mask : 0xff);
            EXPECT_EQ(all.flagByte2(), c.byte == 2 ? 0xff & ~mask : 0xff);
        }
    }
    for (const std::int32_t version : {2, 3}) {
        EXPECT_FALSE(frameOf("", version).setUnsynch(true));
        EXPECT_FALSE(frameOf("", version, kSystemDialect, 0xff, 0xff).unsynch());
    }
}

TEST(Frame, TakesTheFirstFlagByteFromTheSecondWhereThatIsMeant) {
    id3V2Frame frame = frameOf("", 4, kSystemDialect, 0x10, 0x33);
    EXPECT_TRUE(frame.setReadOnly(false));
    EXPECT_EQ(frame.flagByte1(), 0x23);
    EXPECT_TRUE(frame.setReadOnly(true));
    EXPECT_EQ(frame.flagByte1(), 0x33);
    EXPECT_TRUE(frame.setDropIfFileChange(false));
    EXPECT_EQ(frame.flagByte1(), 0x13);
    id3V2Frame earlier = frameOf("", 3, kSystemDialect, 0xff, 0);
    EXPECT_TRUE(earlier.setReadOnly(false) && earlier.setDropIfFileChange(false));
    EXPECT_EQ(earlier.flagByte1(), 0x9f);
}

std::optional<std::string> rawOf(const id3V2Frame& frame) {
    const auto raw = frame.getCompleteRawFrame();
    if (!raw) return std::nullopt;
    return bytesOf(*raw);
}

TEST(Frame, WritesTheVersionsHeader) {
    const std::string body(200, 'b');
    EXPECT_EQ(rawOf(frameOf(body, 2)), "TES" + std::string("\0\0\xc8", 3) + body);
    EXPECT_EQ(rawOf(frameOf(body, 3, kSystemDialect, 1, 2)), "TEST" + std::string("\0\0\0\xc8\1\2", 6) + body);
    id3V2Frame frame = frameOf(body, 4);
    EXPECT_EQ(rawOf(frame), "TEST" + std::string("\0\0\1\x48\0\0", 6) + body);
    frame.iTunesV24Compat();
    EXPECT_EQ(rawOf(frame), "TEST" + std::string("\0\0\0\xc8\0\0", 6) + body);
    EXPECT_EQ(rawOf(frameOf(body, 5)), "");
    EXPECT_EQ(rawOf(id3V2Frame(test::dataOf("b"), "T", 0, 0, 3)), "T\0\0\0\0\0\0\1\0\0b"sv);
    EXPECT_EQ(frameOf(body, 2).length(), 206U);
    EXPECT_EQ(frame.length(), 210U);
    // A body too long for the size field stands without one.
    EXPECT_EQ(frameOf(std::string(0x1000000, 'b'), 2).getCompleteRawFrame()->size(), 0x1000003U);

    EXPECT_EQ(id3V2Frame::write2FrameLength(0xfedcba), "\xfe\xdc\xba");
    EXPECT_EQ(id3V2Frame::write2FrameLength(0x1000000), std::nullopt);
    EXPECT_EQ(id3V2Frame::write3FrameLength(0xfedcba98), "\xfe\xdc\xba\x98");
    EXPECT_EQ(id3V2Frame::write4FrameLength(0xfffffff), "\x7f\x7f\x7f\x7f");
    EXPECT_EQ(id3V2Frame::write4FrameLength(0x1fffffff), "\x7f\x7f\x7f\x7f");
    EXPECT_EQ(id3V2Frame::write4FrameLength(0x20000000), std::nullopt);
}

TEST(Frame, WritesUnsynchronisedAndCompressedBodies) {
    const std::string body = "\xff\xff\xe0" + std::string(100, '\0');
    EXPECT_EQ(rawOf(frameOf("\xff\xe0\xff", 4, kSystemDialect, 0, 0x80)), "TEST\0\0\0\5\0\x80\xff\0\xe0\xff\0"sv);
    EXPECT_EQ(rawOf(frameOf("\xff", 4, kSystemDialect, 0, 0x02)), "TEST\0\0\0\1\0\2\xff"sv);
    EXPECT_EQ(rawOf(frameOf("\xff", 4, kStandardDialect, 0, 0x02)), "TEST\0\0\0\2\0\2\xff\0"sv);
    for (const std::int32_t version : {3, 4}) {
        id3V2Frame frame = frameOf(body, version);
        ASSERT_TRUE(frame.setCompress(true));
        const std::string raw = rawOf(frame).value_or("");
        const std::string size(1, static_cast<char>(raw.size() - 10));
        EXPECT_EQ(raw.substr(7, 7), size + '\0' + (version == 3 ? "\x80\0\0\0\x67"s : "\x08\0\0\0\x67"s));
        std::string inflated(200, '\0');
        uLongf length = inflated.size();
        ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(inflated.data()), &length,
                             reinterpret_cast<const Bytef*>(raw.data()) + 14, raw.size() - 14),
                  Z_OK);
        EXPECT_EQ(inflated.substr(0, length), body);
        EXPECT_EQ(bodyOf(frame), body);
    }
    EXPECT_EQ(rawOf(frameOf("does not shrink", 3, kSystemDialect, 0, 0x80)), std::nullopt);
    EXPECT_EQ(rawOf(frameOf("", 3, kSystemDialect, 0, 0x80)), std::nullopt);
    // The standard's data length is synchsafe and has a flag; of a group's byte, which no body holds, nothing is left.
    const std::string packed = rawOf(frameOf(std::string(200, 'b'), 4, kStandardDialect, 0, 0x48)).value_or("");
    EXPECT_EQ(packed.substr(8, 6), "\0\x09\0\0\1\x48"sv);
    EXPECT_EQ(rawOf(frameOf("b", 3, kStandardDialect, 0, 0x20)), "TEST\0\0\0\1\0\0b"sv);
}

TEST(Frame, WritesTextsAndComments) {
    struct {
        std::int32_t coding;
        std::string_view asFrame, written;
    } const cases[] = {
        {0, "\0\xe9?\0"sv, "\0\xe9?\0"sv},
        {1, "\1\xff\xfe\xe9\0\xa9\x03\0\0"sv, "\1\xff\xfe\xe9\0\xa9\x03\0\0"sv},
        {2, "\2\xc3\xa9\xce\xa9\0"sv, "\2\xc3\xa9\xce\xa9\0\0"sv},
        {3, "\3\xc3\xa9\xce\xa9\0"sv, "\3\xc3\xa9\xce\xa9\0\0"sv},
        {9, "\x09\xe9?\0"sv, "\x09\xe9?\0\0"sv},
    };
    for (const auto& c : cases) {
        const auto frame = id3V2Frame::initTextFrame("TIT2", 1, 2, "éΩ", c.coding, 3);
        EXPECT_EQ(bodyOf(*frame), c.asFrame) << c.coding;
        EXPECT_TRUE(frame->writeTextFrame("éΩ", c.coding));
        EXPECT_EQ(bodyOf(*frame), c.written) << c.coding;
        EXPECT_EQ(frame->getFrameLength(), c.written.size());
    }
    EXPECT_EQ(bodyOf(*id3V2Frame::initTextFrame("TIT2", 0, 0, "é", 3, 1)), "\1\xff\xfe\xe9\0\0"sv);
    EXPECT_EQ(bodyOf(*id3V2Frame::initTextFrame("TIT2", 0, 0, "é", 2, 4, kStandardDialect)), "\2\0\xe9\0\0"sv);

    id3V2Frame comment("COMM", 0, 0, 3);
    EXPECT_TRUE(comment.writeCommentToFrame("a", "english", 0));
    EXPECT_EQ(bodyOf(comment), "\0eng\0a"sv);
    EXPECT_TRUE(comment.writeCommentToFrame("aé", "eng", 1));
    EXPECT_EQ(bodyOf(comment), "\1eng\0\0\xff\xfe\x61\0\xe9\0"sv);
    EXPECT_EQ(comment.getCommentFromFrame(), "aé");
    for (const char* language : {"en", "", "日本語"}) {
        EXPECT_FALSE(comment.writeCommentToFrame("a", language, 1));
        EXPECT_EQ(bodyOf(comment), "\1");
        EXPECT_EQ(comment.getFrameLength(), 0U);
        EXPECT_EQ(comment.getTextFromFrame(), "");
    }
    EXPECT_TRUE(comment.appendDataToFrame(test::dataOf("engd"), false));
    EXPECT_EQ(bodyOf(comment), "\1engd");

    id3V2Frame frame("PRIV", 0, 0, 3);
    EXPECT_TRUE(frame.appendDataToFrame(test::dataOf("a"), false));
    EXPECT_TRUE(frame.appendDataToFrame(test::dataOf("b"), false));
    EXPECT_EQ(bodyOf(frame), "ab");
    EXPECT_TRUE(frame.isEqual(id3V2Frame(test::dataOf("ab"), "PRIV", 9, 9, 4)));
    EXPECT_FALSE(frame.isEqual(id3V2Frame(test::dataOf("ab"), "PRIW", 0, 0, 3)));
    EXPECT_FALSE(frame.isEqual(id3V2Frame(test::dataOf("ac"), "PRIV", 0, 0, 3)));
    EXPECT_TRUE(frame.appendDataToFrame(test::dataOf("c"), true));
    EXPECT_EQ(bodyOf(frame), "c");
    EXPECT_EQ(frame.getFrameLength(), 1U);
}

TEST(FrameStore, KeepsEachIdentifiersFramesInTagOrder) {
    FrameStore store;
    for (const char* identifier : {"COMM", "TIT2", "COMM", "TPE1", "TIT2", "COMM"}) {
        store.append(std::make_shared<id3V2Frame>(FrameID(identifier), 0, 0, 3));
    }
    EXPECT_EQ(store.identifiers(), (std::vector<FrameID>{"COMM", "TIT2", "TPE1"}));
    EXPECT_EQ(store.titled("COMM"), (FrameArray{store.all()[0], store.all()[2], store.all()[5]}));
    EXPECT_EQ(store.first("TIT2"), store.all()[1].get());
    EXPECT_EQ(store.first("TALB"), nullptr);
    EXPECT_EQ(store.count("COMM"), 3U);
}

}  // namespace
}  // namespace quillet
