#include <gtest/gtest.h>

#include "id3/id3V2Tag.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/id3/FrameBytes.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using util::PropertyArray;
using util::PropertyDictionary;
using Frames = std::vector<std::pair<std::string, std::string>>;

PropertyDictionary record(bool text, const PropertyDictionary& equivalents) {
    PropertyDictionary entry = equivalents;
    entry["text"] = text;
    entry["multi"] = !text;
    return entry;
}

FrameLibrary library() {
    const PropertyDictionary frames = {
        {"2.0", PropertyDictionary{{"TT2", record(true, {{"2.3", "TIT2"}, {"2.4", "TIT2"}})},
                                   {"OLD", record(true, {{"2.3", "GONE"}})}}},
        {"2.3", PropertyDictionary{{"TIT2", record(true, {{"2.0", "TT2"}, {"2.4", "TIT2"}})},
                                   {"TYER", record(true, {{"2.4", "TDRC"}})},
                                   {"PRIV", record(false, {})}}},
        {"2.4", PropertyDictionary{{"TIT2", record(true, {{"2.0", "TT2"}, {"2.3", "TIT2"}})},
                                   {"TDRC", record(true, {{"2.3", "TYER"}})},
                                   {"OLD", record(true, {{"2.3", "TIT2"}})}}},
        {"iTunes_comment", PropertyArray{"iTun", ""}},
    };
    return FrameLibrary(std::make_shared<const PropertyDictionary>(PropertyDictionary{{"frames", frames}}));
}

class TagContent : public testing::Test {
  protected:
    id3V2Tag tag(std::int32_t version, const Frames& frames, const Dialect& dialect = kSystemDialect) const {
        id3V2Tag read(library(), dialect);
        read.openPath(folder_.write("tag.mp3", test::tagOf(version, frames)));
        EXPECT_TRUE(read.tagPresent());
        return read;
    }
    test::TemporaryFolder folder_;
};

TEST_F(TagContent, AnswersEachFieldFromTheVersionsOwnFrame) {
    const char* const identifiers[][11] = {
        {"TT2", "TP1", "TP2", "TAL", "TYE", "TRK", "TPA", "TCO", "COM", "TSS", "TCM"},
        {"TIT2", "TPE1", "TPE2", "TALB", "TYER", "TRCK", "TPOS", "TCON", "COMM", "TSSE", "TCOM"},
        {"TIT2", "TPE1", "TPE2", "TALB", "TDRC", "TRCK", "TPOS", "TCON", "COMM", "TSSE", "TCOM"}};
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        for (const std::int32_t version : {2, 3, 4}) {
            SCOPED_TRACE(version);
            const auto& id = identifiers[static_cast<std::size_t>(version - 2)];
            const id3V2Tag read = tag(version,
                                      {{id[0], "\0Title"s},
                                       {id[0], "\0Second"s},
                                       {id[1], "\0Artist"s},
                                       {id[2], "\0Album artist"s},
                                       {id[3], "\0Album"s},
                                       {id[4], version == 4 ? "\0002004-05-06"s : "\0002004"s},
                                       {id[5], "\0003/12"s},
                                       {id[6], "\0007"s},
                                       {id[7], "\0Rock"s},
                                       {id[8], "\0eng\0Comment"s},
                                       {id[9], "\0Encoder"s},
                                       {id[10], "\0Composer"s}},
                                      dialect);
            EXPECT_EQ(read.getTitle(), "Title");
            EXPECT_EQ(read.getArtist(), "Artist");
            EXPECT_EQ(read.getAlbumArtist(), "Album artist");
            EXPECT_EQ(read.getAlbum(), "Album");
            EXPECT_EQ(read.getYear(), 2004);
            EXPECT_EQ(read.getTrack(), 3);
            EXPECT_EQ(read.getTotalNumberTracks(), 12);
            EXPECT_EQ(read.getDisk(), 7);
            EXPECT_EQ(read.getTotalNumberDisks(), 0);
            EXPECT_EQ(read.getGenreNames(), std::vector<std::string>{"Rock"});
            EXPECT_EQ(read.getComments(), "Comment");
            EXPECT_EQ(read.getEncodedBy(), "Encoder");
            EXPECT_EQ(read.getComposer(), "Composer");
        }
    }
}

TEST_F(TagContent, AnswersAbsentValues) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        for (const id3V2Tag& read : {tag(3, {{"TXXX", "\0"s}}, dialect), id3V2Tag(library(), dialect)}) {
            EXPECT_EQ(read.getTitle(), std::nullopt);
            EXPECT_EQ(read.getGenreNames(), std::nullopt);
            EXPECT_EQ(read.getComments(), "");
            EXPECT_EQ(read.getEncodedBy() + read.getComposer(), "");
            EXPECT_TRUE(read.getImage().empty());
            for (const auto number : {&id3V2Tag::getYear, &id3V2Tag::getTrack, &id3V2Tag::getTotalNumberTracks,
                                      &id3V2Tag::getDisk, &id3V2Tag::getTotalNumberDisks}) {
                EXPECT_EQ((read.*number)(), dialect.answersMinusOneForAbsent ? -1 : 0);
            }
        }
    }
    EXPECT_EQ(tag(3, {{"TCON", "\0\0"s}}).getGenreNames(), std::nullopt);
}

TEST_F(TagContent, ReadsNumbersOfASet) {
    const std::tuple<std::string_view, int, int> cases[] = {
        {"3/12", 3, 12}, {"7", 7, 0},       {"", 0, 0},
        {"/5", 0, 5},    {"3/0", 3, 0},     {"1/2/3", 1, 2},
        {"x/y", 0, 0},   {" 3 / 4 ", 3, 4}, {"99999999999/-99999999999", INT32_MAX, INT32_MIN}};
    for (const auto& [text, number, size] : cases) {
        EXPECT_EQ(id3V2Tag::numberInSetString(text), number) << text;
        EXPECT_EQ(id3V2Tag::setSizeInSetString(text), size) << text;
    }
}

TEST_F(TagContent, ReadsTheYear) {
    struct {
        std::int32_t version;
        Frames frames;
        std::int32_t system, standard;
    } const cases[] = {
        {4, {{"TDRC", "\0002004-05-06"s}}, 2004, 2004},
        {4, {{"TDRC", "\00020040506"s}}, 20040506, 2004},
        {4, {{"TDRC", "\0-2004"s}}, 0, 0},
        {4, {{"TYER", "\0001999"s}}, -1, 1999},
        {4, {{"TDRC", "\0"s}, {"TYER", "\0001999"s}}, 0, 1999},
        {3, {{"TDRC", "\0002004-05-06"s}}, -1, 2004},
        {3, {{"TYER", "\0 2004"s}}, 2004, 2004},
        {3, {{"TYER", "\0001999"s}, {"TDRC", "\0002004"s}}, 1999, 1999},
        {2, {{"TYE", "\0unknown"s}}, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.frames.front().second.substr(1));
        EXPECT_EQ(tag(c.version, c.frames).getYear(), c.system);
        EXPECT_EQ(tag(c.version, c.frames, kStandardDialect).getYear(), c.standard);
    }
}

TEST_F(TagContent, ChoosesTheCommentThatCounts) {
    const auto comment = [](std::string_view description, std::string_view text) {
        return std::pair<std::string, std::string>("COMM",
                                                   "\0eng"s + std::string(description) + '\0' + std::string(text));
    };
    struct {
        Frames frames;
        std::optional<std::string> system, standard;
    } const cases[] = {
        {{comment("", "a"), comment("", "b")}, "b", "a"},
        {{comment("d", "a"), comment("", "b"), comment("", "")}, "b", "b"},
        {{comment("", "a"), comment("d", "b")}, "d b", "a"},
        {{comment("d", "a"), comment("e", "b")}, "e b", "a"},
        {{comment("", "a"), comment("iTunNORM", "b")}, "a", "a"},
        {{comment("iTunNORM", "b")}, std::nullopt, std::nullopt},
        {{comment("", ""), comment("d", "")}, std::nullopt, std::nullopt},
        {{{"COMM", "\0eng"s}, comment("d", "a"), {"COMM", "\0"s}}, "d a", "a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(tag(3, c.frames).getComments(), c.system);
        EXPECT_EQ(tag(3, c.frames, kStandardDialect).getComments(), c.standard);
    }
}

TEST_F(TagContent, ResolvesIdentifiersOfOtherVersions) {
    struct {
        std::int32_t version;
        std::string_view asked;
        std::optional<std::string> identifier;
        bool known;
    } const cases[] = {
        {3, "TIT2", "TIT2", true}, {3, "TT2", "TIT2", true},  {4, "TT2", "TIT2", true}, {2, "TIT2", "TT2", true},
        {4, "TYER", "TDRC", true}, {3, "TDRC", "TYER", true}, {2, "TDRC", {}, false},   {3, "XXXX", {}, false},
        {3, "OLD", "TIT2", true},  // by the record of 2.4 before that of 2.0
        {4, "PRIV", {}, false},
    };
    for (const auto& c : cases) {
        const ResolvedFrame resolved =
            tag(c.version, {{c.version == 2 ? "TT2" : "TIT2", "\0a"s}}).getActualFrameID(c.asked);
        EXPECT_EQ(resolved.identifier, c.identifier) << c.asked;
        EXPECT_EQ(resolved.record != nullptr, c.known) << c.asked;
    }
}

TEST_F(TagContent, AnswersContentByIdentifierOrLogsWhyNot) {
    std::vector<std::string> lines;
    util::setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    const id3V2Tag read = tag(3, {{"TIT2", "\0a"s}, {"PRIV", "p"}, {"TIT2", "\0b"s}});
    const auto titles = read.getContentForFrameID("TT2");
    ASSERT_TRUE(titles && titles->size() == 2);
    EXPECT_EQ(std::get<std::string>(titles->front()), "a");
    EXPECT_EQ(std::get<std::string>(titles->back()), "b");
    const auto owners = read.getContentForFrameID("PRIV");
    ASSERT_TRUE(owners && owners->size() == 1);
    EXPECT_EQ(test::bytesOf(std::get<util::Data>(owners->front())), "p");
    EXPECT_TRUE(lines.empty());

    EXPECT_FALSE(read.getContentForFrameID("XXXX") || read.getContentForFrameID("TYER"));
    EXPECT_FALSE(tag(2, {{"TT2", "\0a"s}}).getContentForFrameID("PRIV"));
    util::setLogSink({});
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Method getContentForFrameID: Could not resolve correct frame ID for :XXXX", "no objectsFound",
                         "Method getContentForFrameID: Could not resolve correct frame ID for :PRIV"}));
}

}  // namespace
}  // namespace quillet
