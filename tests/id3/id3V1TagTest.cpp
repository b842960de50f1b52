#include "id3/id3V1Tag.hpp"

#include <gtest/gtest.h>

#include "tests/LogLines.hpp"
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

/// What a save makes of a file that somebody changed since it was read.
struct SaveCase {
    const char* what;
    std::string read, found;
    bool (*save)(id3V1Tag& tag);
    bool answer;
    std::string after;
};

const std::string kRecord = record("Note", {0, 9, 17});
/// With another title, and otherwise what was read.
const std::string kEdited = "TAG" + std::string("New\0\0", 5) + kRecord.substr(8);
/// A record that was never there.
const std::string kFresh = "TAG" + std::string("New", 3) + std::string(122, '\0');

bool writeNewTitle(id3V1Tag& tag) {
    return tag.setTitle("New") && tag.writeTag() && tag.tagPresent() && !tag.tagChanged();
}
bool drop(id3V1Tag& tag) {
    return tag.dropTag() && !tag.tagPresent();
}

const SaveCase kSaves[] = {
    {"over the record", "audio" + kRecord, "audio" + kRecord, writeNewTitle, true, "audio" + kEdited},
    {"behind audio", "audio", "audio", writeNewTitle, true, "audio" + kFresh},
    {"behind as many bytes as a record", std::string(128, 'a'), std::string(128, 'a'), writeNewTitle, true,
     std::string(128, 'a') + kFresh},
    {"of a file that has grown", "audio" + kRecord, "audio" + kRecord + "more", writeNewTitle, true,
     "audio" + kRecord + "more" + kEdited},
    {"of a file whose front has grown", "audio" + kRecord, "tag and audio" + kRecord, writeNewTitle, true,
     "tag and audio" + kEdited},
    {"of a file that has shrunk", "audio" + kRecord, "au", writeNewTitle, true, "au" + kEdited},
    {"of a file that has lost its record", std::string(200, 'a') + kRecord, std::string(200, 'a'), writeNewTitle, true,
     std::string(200, 'a') + kEdited},
    {"twice", "audio" + kRecord, "audio" + kRecord,
     [](id3V1Tag& tag) { return writeNewTitle(tag) && tag.setTitle("New") && tag.writeTag() && tag.writeTag(); }, true,
     "audio" + kEdited},
    {"after a drop", "audio" + kRecord, "audio" + kRecord,
     [](id3V1Tag& tag) { return drop(tag) && writeNewTitle(tag); }, true, "audio" + kEdited},
    {"nothing changed", kRecord, "other", [](id3V1Tag& tag) { return tag.writeTag(); }, true, "other"},
    {"drop", "audio" + kRecord, "audio" + kRecord, drop, true, "audio"},
    {"drop of one record of two", kRecord + kRecord, kRecord + kRecord, drop, true, kRecord},
    {"drop of a file that has grown", "audio" + kRecord, "audio" + kRecord + "more", drop, true,
     "audio" + kRecord + "more"},
    {"drop of none", std::string(128, 'a'), std::string(128, 'a'), drop, true, std::string(128, 'a')},
    {"drop of a file without room for one", "audio", "audio", drop, false, "audio"},
};

TEST_F(id3V1TagTest, ATagOfAnotherKindIsNoRecord) {
    const std::string before = "audio" + std::string("APETAGEX") + std::string(123, 'x');
    id3V1Tag tag(kStandardDialect);
    tag.openPath(folder_.write("file", before));
    EXPECT_FALSE(tag.tagPresent());
    EXPECT_TRUE(drop(tag) && test::contentOf(folder_ / "file") == before);
    EXPECT_TRUE(writeNewTitle(tag) && test::contentOf(folder_ / "file").starts_with(before));
}

TEST_F(id3V1TagTest, SavesIntoTheFileAsItIsNow) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        for (const SaveCase& wanted : kSaves) {
            SCOPED_TRACE(wanted.what);
            id3V1Tag tag(dialect);
            tag.openPath(folder_.write("file", wanted.read));
            const std::string path = folder_.write("file", wanted.found);
            EXPECT_EQ(wanted.save(tag), wanted.answer);
            std::string after = wanted.after;
            if (after.ends_with(kFresh) && !dialect.system) after.back() = '\xff';  // no genre
            EXPECT_EQ(test::contentOf(path), after);
            EXPECT_EQ(tag.getErrorDescription().has_value(), !wanted.answer);
        }
    }
}

TEST_F(id3V1TagTest, WritesTheLastByteOfACommentByEachDialect) {
    const std::string whole = record(std::string(28, 'c'), "dd\x05");
    const std::pair<const Dialect&, char> kCases[] = {{kSystemDialect, '\0'}, {kStandardDialect, 'c'}};
    for (const auto& [dialect, byte] : kCases) {
        id3V1Tag tag = opened(whole, dialect);
        EXPECT_TRUE(tag.setArtist("A") && tag.writeTag());
        const std::string written = test::contentOf(folder_ / "file");
        EXPECT_EQ(written.substr(93), whole.substr(93, 31) + byte + "dd\x05");
    }
}

TEST_F(id3V1TagTest, LeavesAFileThatItCannotSave) {
    for (const Dialect& dialect : {kSystemDialect, kStandardDialect}) {
        SCOPED_TRACE(dialect.system);
        id3V1Tag tag = opened("audio" + kRecord, dialect);
        EXPECT_TRUE(tag.setTitle("New"));
        // Open for reading alone, so that the write itself fails.
        AudioFile file;
        ASSERT_TRUE(file.open(folder_ / "file").ok());
        EXPECT_FALSE(tag.writeTag(file));
        EXPECT_EQ(tag.getErrorDescription(), "cannot be written: Bad file descriptor");
        EXPECT_FALSE(tag.dropTag(file));
        // Changed after it was opened.
        ASSERT_TRUE(file.open(folder_ / "file", AudioFile::Access::update).ok());
        const std::string path = folder_.write("file", "audio" + kRecord + "more");
        EXPECT_FALSE(tag.writeTag(file));
        EXPECT_FALSE(tag.dropTag(file));
        EXPECT_EQ(tag.getErrorDescription(), "was changed by another program meanwhile");
        EXPECT_EQ(test::contentOf(path), "audio" + kRecord + "more");
        EXPECT_TRUE(tag.tagChanged() && tag.tagPresent());

        std::filesystem::remove(path);
        EXPECT_FALSE(tag.dropTag());
        EXPECT_EQ(tag.getErrorDescription(), "cannot be written: No such file or directory");
        EXPECT_EQ(tag.writeTag(), dialect.takesUnopenableForWritten);
        EXPECT_EQ(tag.getErrorCode() == 0, dialect.takesUnopenableForWritten);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(id3V1TagTest, SavesAFileOfSeveralNamesOnlyWhereItIsAskedTo) {
    const std::pair<bool (*)(id3V1Tag&), std::string> kCases[] = {{writeNewTitle, kEdited}, {drop, ""}};
    for (const auto& [save, record] : kCases) {
        const std::string path = folder_.write("file", "audio" + kRecord);
        std::filesystem::remove(folder_ / "other");
        std::filesystem::remove(folder_ / "link");
        std::filesystem::create_hard_link(path, folder_ / "other");
        std::filesystem::create_symlink("file", folder_ / "link");
        id3V1Tag tag(kStandardDialect);
        ASSERT_TRUE(tag.openPath(folder_ / "link"));
        EXPECT_FALSE(save(tag));
        EXPECT_EQ(tag.getErrorDescription(), "has 2 names (hard links); --break-links saves it under this one alone");
        EXPECT_EQ(test::contentOf(path), "audio" + kRecord);
        tag.setSaveOptions({.file = {.durability = util::Durability::unsynced}, .breakLinks = true});
        EXPECT_TRUE(save(tag));
        EXPECT_EQ(test::contentOf(path), "audio" + record);
        EXPECT_EQ(test::contentOf(folder_ / "other"), "audio" + kRecord);
        EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link"));
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 3) << "no working file";
    }
}

}  // namespace
}  // namespace quillet
