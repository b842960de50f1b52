#include "id3/id3V1Tag.hpp"

#include <gtest/gtest.h>

#include "tests/TemporaryFolder.hpp"
#include "tests/id3/MpegFrames.hpp"

namespace quillet {
namespace {

using test::TemporaryFolder;

/// The bytes of a record: the fields, padded with `padding`, then bytes 125 to 127.
std::string record(std::string comment, const std::string& lastThree, char padding = '\0') {
    const auto padded = [&](std::string text, std::size_t length) {
        return text.append(length - text.size(), padding);
    };
    return "TAG" + padded("Title", 30) + padded("Art\xEFst", 30) + padded("", 30) + "1997" +
           padded(std::move(comment), 28) + lastThree;
}

class id3V1TagTest : public testing::Test {
  protected:
    id3V1Tag opened(std::string_view content, const Dialect& dialect, bool answer = true) {
        id3V1Tag tag(dialect);
        EXPECT_EQ(tag.openPath(folder_.write("file", content)), answer);
        return tag;
    }
    TemporaryFolder folder_;
};

TEST_F(id3V1TagTest, ReadsARecordByEachDialect) {
    struct Case {
        const char* what;
        std::string record;
        std::int32_t systemTrack, systemGenre, standardTrack, standardGenre;
        std::string systemComment, standardComment;
    };
    const Case kCases[] = {
        {"both bytes", record("Note", {3, 0, 17}), 3, 3, 0, 17, "Note", "Note"},
        {"v1.1", record("Note", {0, 9, 17}), 0, 0, 9, 17, "Note", "Note"},
        {"padded with spaces", record("Note", {0, 9, '\xFF'}, ' '), 0, 0, 9, 255, "Note", "Note"},
        {"v1.0, 30 bytes", record(std::string(28, 'c'), "dd\x05"), 100, 100, 0, 5, std::string(28, 'c'),
         std::string(28, 'c') + "dd"},
        {"v1.0, byte 125 set alone", record("", "d\x01\x05"), 100, 100, 0, 5, "", ""},
        {"edges", record(" \t Note\r\n", {0, 0, 0}), 0, 0, 0, 0, "Note", "Note"},
    };
    for (const Case& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        const id3V1Tag system = opened("audio" + wanted.record, kSystemDialect);
        const id3V1Tag standard = opened("audio" + wanted.record, kStandardDialect);
        for (const id3V1Tag* tag : {&system, &standard}) {
            EXPECT_TRUE(tag->tagPresent());
            EXPECT_FALSE(tag->tagChanged());
            EXPECT_EQ(tag->getTitle(), "Title");
            EXPECT_EQ(tag->getArtist(), "Art\u00EFst");
            EXPECT_EQ(tag->getAlbum(), "");
            EXPECT_EQ(tag->getYear(), 1997);
        }
        EXPECT_EQ(system.getTrack(), wanted.systemTrack);
        EXPECT_EQ(system.getGenre(), wanted.systemGenre);
        EXPECT_EQ(system.getComment(), wanted.systemComment);
        EXPECT_EQ(standard.getTrack(), wanted.standardTrack);
        EXPECT_EQ(standard.getGenre(), wanted.standardGenre);
        EXPECT_EQ(standard.getComment(), wanted.standardComment);
    }
}

TEST_F(id3V1TagTest, HoldsAFreshRecordWhereThereIsNone) {
    const std::string whole = record("", {0, 1, 2});
    const struct {
        const char* what;
        std::string content;
        bool answer;
    } kCases[] = {{"empty", "", false},
                  {"127 bytes", whole.substr(0, 127), false},
                  {"no marker", std::string(128, 'x'), true},
                  {"a byte behind it", whole + "x", true}};
    for (const auto& wanted : kCases) {
        SCOPED_TRACE(wanted.what);
        id3V1Tag tag = opened(wanted.content, kSystemDialect, wanted.answer);
        EXPECT_FALSE(tag.tagPresent());
        EXPECT_TRUE(tag.tagChanged());
        EXPECT_EQ(tag.getTitle(), std::nullopt);
        EXPECT_EQ(tag.getTrack(), 0);
        EXPECT_TRUE(tag.setTitle("T"));
        EXPECT_EQ(tag.getString(0, 5), "TAGT");
    }
    const test::LogLines log;
    id3V1Tag tag;
    EXPECT_FALSE(tag.setTrack(1)) << "no record is held yet";
    EXPECT_FALSE(tag.setTitle("T"));
    EXPECT_FALSE(tag.setYear(1999));
    EXPECT_FALSE(tag.openPath(folder_ / "gone"));
    EXPECT_FALSE(tag.openPath(folder_.path()));
    EXPECT_TRUE(tag.setTrack(1));
    EXPECT_EQ(log.all(), (std::vector<std::string>{"Could not open file handle for file:" + (folder_ / "gone"),
                                                   "Could not open file handle for file:" + folder_.path()}));
}

TEST_F(id3V1TagTest, WritesNumbersByEachDialect) {
    const std::string before = record("Note", {0, 9, 17});
    id3V1Tag system = opened(before, kSystemDialect);
    id3V1Tag standard = opened(before, kStandardDialect);
    for (id3V1Tag* tag : {&system, &standard}) {
        EXPECT_TRUE(tag->setYear(12345));
        EXPECT_TRUE(tag->tagChanged());
        EXPECT_TRUE(tag->setGenre(17));
        EXPECT_TRUE(tag->setTrack(258 + 5));
        EXPECT_EQ(tag->getYear(), 9999);
    }
    // The year's zero ends the comment, of the genre the first digit stays, which is not read; the track wraps.
    EXPECT_EQ(system.getComment(), "");
    EXPECT_EQ(system.getString(127, 1), "1");
    EXPECT_EQ(system.getTrack(), 7);
    EXPECT_EQ(standard.getComment(), "Note");
    EXPECT_EQ(standard.getGenre(), 17);
    EXPECT_EQ(standard.getTrack(), 0);

    id3V1Tag untracked = opened(record(std::string(28, 'c'), "dd\x05"), kStandardDialect);
    EXPECT_TRUE(untracked.setTrack(0));
    EXPECT_EQ(untracked.getComment()->size(), 30U) << "no track, so nothing of the comment goes";
    EXPECT_TRUE(untracked.setTrack(200));
    EXPECT_EQ(untracked.getTrack(), 200);
    EXPECT_EQ(untracked.getComment()->size(), 28U);
    EXPECT_TRUE(untracked.setGenre(256));
    EXPECT_EQ(untracked.getGenre(), 255);
    EXPECT_TRUE(untracked.setYear(-3));
    EXPECT_EQ(untracked.getYear(), 0);
}

TEST_F(id3V1TagTest, CutsTextThatIsTooLongAndZeroesTheRestOfAField) {
    id3V1Tag tag = opened(record("Note", {0, 9, 17}), kSystemDialect);
    EXPECT_TRUE(tag.setTitle(std::string(30, 'x')));
    EXPECT_EQ(tag.getErrorCode(), 0);
    EXPECT_TRUE(tag.setTitle(std::string(31, 'x')));
    EXPECT_EQ(tag.getErrorCode(), 1);
    EXPECT_EQ(tag.getErrorDescription(), "setFieldWithString: Data in field to long");
    EXPECT_EQ(tag.getTitle(), std::string(30, 'x'));
    EXPECT_EQ(tag.getArtist(), "Art\u00EFst");
    EXPECT_TRUE(tag.setTitle("\u00E9\u65E5"));
    EXPECT_EQ(tag.getTitle(), "\u00E9?");
    tag.clearError();
    EXPECT_EQ(tag.getErrorDescription(), std::nullopt);
    EXPECT_TRUE(tag.setComment(std::string(28, 'c')));
    EXPECT_EQ(tag.getTrack(), 0) << "the byte behind the comment";
    EXPECT_FALSE(tag.setFieldWithString("x", 4, 5));
    EXPECT_FALSE(tag.setFieldWithNumber(1, 129, 1));
    EXPECT_EQ(tag.getString(129, 1), "");
    EXPECT_TRUE(tag.newTag());
    EXPECT_EQ(tag.getTitle(), "") << "present, as it was";
}

}  // namespace
}  // namespace quillet
