#include "id3/AudioFile.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "id3/Limits.hpp"
#include "tests/TemporaryFolder.hpp"

namespace quillet {
namespace {

using test::TemporaryFolder;

/// Bytes that say where they stand.
std::string numbered(std::size_t length) {
    std::string text(length, '\0');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    return text;
}

std::string textOf(const util::Data& data) {
    return std::string(util::charactersOf(data.bytes()));
}

TEST(AudioFile, AnswersTheSameBytesInWhateverOrderTheyAreAskedFor) {
    const TemporaryFolder folder;
    const std::string content = numbered(300'000);
    const std::string path = folder.write("file", content);
    const struct {
        std::uint64_t offset;
        std::size_t count;
    } kReads[] = {{0, 10},         {kHeadLength - 1, 1}, {kHeadLength - 1, 2}, {kHeadLength + 1, 8192}, {100'000, 50},
                  {299'990, 8192}, {65'530, 100},        {300'000, 1},         {UINT64_MAX, 5},         {0, SIZE_MAX}};
    for (std::size_t first = 0; first < std::size(kReads); ++first) {
        AudioFile file;
        ASSERT_TRUE(file.open(path).ok());
        std::vector<std::pair<util::Data, std::string>> views;
        for (std::size_t i = 0; i < std::size(kReads); ++i) {
            const auto& read = kReads[(first + i) % std::size(kReads)];
            const std::string wanted = read.offset < content.size() ? content.substr(read.offset, read.count) : "";
            views.emplace_back(file.read(read.offset, read.count), wanted);
            if (i == 3) file.extendHead(120'000);
        }
        ASSERT_TRUE(file.open(folder.write("other", std::string(20'000, 'x'))).ok());
        EXPECT_EQ(textOf(file.read(0, 3)), "xxx");
        for (const auto& [view, wanted] : views) EXPECT_EQ(textOf(view), wanted) << "read " << first;
    }
}

TEST(AudioFile, AnswersFewerBytesWhereTheFileHasShrunkAndNoMoreWhereItHasGrown) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", numbered(50'000));
    AudioFile file;
    ASSERT_TRUE(file.open(path).ok());
    ASSERT_EQ(truncate(path.c_str(), 20'000), 0);
    EXPECT_EQ(file.read(0, 100).size(), 100U);
    EXPECT_EQ(file.read(19'000, 8192).size(), 1000U);
    EXPECT_EQ(file.read(40'000, 100).size(), 0U);
    file.extendHead(UINT64_MAX);
    EXPECT_EQ(file.read(10'000, 40'000).size(), 10'000U);
    ASSERT_EQ(truncate(path.c_str(), 90'000), 0);
    std::array<std::uint8_t, 64> target{};
    EXPECT_EQ(file.readInto(49'990, target), 10U);
    EXPECT_EQ(file.readInto(50'000, target), 0U);
}

TEST(AudioFile, OpensNothingButRegularFiles) {
    const TemporaryFolder folder;
    const std::string fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    AudioFile file;
    EXPECT_EQ(file.open(folder.path()).error(), EISDIR);
    EXPECT_EQ(file.open(fifo).error(), ENOTSUP);
    EXPECT_EQ(file.open("/dev/null").error(), ENOTSUP);
    EXPECT_EQ(file.open(folder / "gone").error(), ENOENT);
    EXPECT_EQ(file.size(), 0U);
    EXPECT_TRUE(file.read(0, 10).empty());
    EXPECT_TRUE(file.open(folder.write("empty", "")).ok());
    EXPECT_TRUE(file.read(0, 10).empty());
}

}  // namespace
}  // namespace quillet
