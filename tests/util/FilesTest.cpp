#include "util/Files.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/TemporaryFolder.hpp"
#include "util/Limits.hpp"

namespace quillet::util {
namespace {

using Names = std::vector<std::string>;
using test::contentOf;
using test::statOf;
using test::TemporaryFolder;

TEST(Files, SayWhatStandsAtAPathAndListAFolderByTheBytesOfItsNames) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "12345");
    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(factsOf(file)->kind, FileKind::regular);
    EXPECT_EQ(factsOf(file)->size, 5U);
    EXPECT_EQ(factsOf(file)->inode, statOf(file).st_ino);
    EXPECT_EQ(factsOf(folder.path())->kind, FileKind::directory);
    EXPECT_EQ(factsOf(folder / "dangling")->kind, FileKind::symbolicLink);
    EXPECT_EQ(factsOf(folder / "fifo")->kind, FileKind::other);
    EXPECT_FALSE(factsOf(folder / "absent"));
    EXPECT_TRUE(fileExists(file));
    EXPECT_FALSE(fileExists(folder / "dangling"));
    for (const char* name : {"b", "B", ".hidden", "\xff", "a\nb", "\xc3\xa9"}) folder.write(name, "");
    EXPECT_EQ(listDirectory(folder.path()),
              (Names{".hidden", "B", "a\nb", "b", "dangling", "fifo", "file", "\xc3\xa9", "\xff"}));
    EXPECT_EQ(listDirectory(folder / "absent"), std::nullopt);
    EXPECT_EQ(listDirectory(folder / "b"), std::nullopt);
}

TEST(Files, MakeFoldersThatAreMissing) {
    const TemporaryFolder folder;
    EXPECT_TRUE(createDirectories(folder / "a/b//c/").ok());
    EXPECT_TRUE(createDirectories(folder / "a/b/c").ok());
    EXPECT_EQ(factsOf(folder / "a/b/c")->kind, FileKind::directory);
    ASSERT_EQ(symlink("a", (folder / "link").c_str()), 0);
    EXPECT_TRUE(createDirectories(folder / "link").ok());
    folder.write("file", "");
    EXPECT_EQ(createDirectories(folder / "file").error(), ENOTDIR);
    EXPECT_EQ(createDirectories(folder / "file/x").error(), ENOTDIR);
    EXPECT_EQ(createDirectories("").error(), ENOENT);
}

TEST(Files, ReadRegularFilesWhole) {
    const TemporaryFolder folder;
    EXPECT_EQ(charactersOf(readFile(folder.write("file", "12345"))->bytes()), "12345");
    EXPECT_TRUE(readFile(folder.write("empty", ""))->empty());
    EXPECT_EQ(charactersOf(readFile("/proc/version")->bytes()), contentOf("/proc/version"));  // its size says 0
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const char* name : {"fifo", "absent", "."}) EXPECT_FALSE(readFile(folder / name)) << name;
    const std::string large = folder.write("large", "");
    ASSERT_EQ(truncate(large.c_str(), off_t{kLargestWholeFile} + 1), 0);
    EXPECT_FALSE(readFile(large));
}

TEST(Files, TellHowAWriteFailed) {
    const FileDescriptor full(open("/dev/full", O_WRONLY));
    const Status written = writeAll(full.number(), bytesOf("x"));
    EXPECT_EQ(written.error(), ENOSPC);
    EXPECT_EQ(written.message(), "No space left on device");

    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    // The pipe takes a part, then has no room: a short write is not taken for a whole one.
    EXPECT_EQ(writeAll(writing.number(), std::vector<std::uint8_t>(1 << 20)).error(), EAGAIN);
    FileDescriptor moved = std::move(writing);
    EXPECT_TRUE(moved.close().ok());
    EXPECT_FALSE(moved.isOpen());
    EXPECT_TRUE(moved.close().ok());
    EXPECT_EQ(FileDescriptor(ends[1]).close().error(), EBADF);
}

TEST(Files, ReplaceAFileWholeAndKeepItsMode) {
    const TemporaryFolder folder;
    const std::string path = folder.write("database", "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    EXPECT_TRUE(writeFileAtomically(path, bytesOf("new")).ok());
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_EQ(statOf(path).st_mode & 07777, 0640U);
    EXPECT_TRUE(writeFileAtomically(folder / "second", {}).ok());
    EXPECT_EQ(writeFileAtomically(folder / "absent/file", bytesOf("x")).error(), ENOENT);
    ASSERT_TRUE(createDirectories(folder / "folder/inner").ok());
    EXPECT_EQ(writeFileAtomically(folder / "folder", bytesOf("x")).error(), EISDIR);
    EXPECT_EQ(listDirectory(folder.path()), (Names{"database", "folder", "second"}));
}

TEST(Files, CopyBytesModeAndTimes) {
    const TemporaryFolder folder;
    const std::string from = folder.write("from", std::string(300000, 'x') + "end");
    ASSERT_EQ(chmod(from.c_str(), 04440), 0);
    const timespec times[2] = {{1000000000, 123456789}, {1100000000, 987654321}};
    ASSERT_EQ(utimensat(AT_FDCWD, from.c_str(), times, 0), 0);
    EXPECT_TRUE(copyFile(from, folder / "to").ok());
    EXPECT_EQ(contentOf(folder / "to"), contentOf(from));
    EXPECT_EQ(statOf(folder / "to").st_mode & 07777, 0440U);
    EXPECT_EQ(statOf(folder / "to").st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(statOf(folder / "to").st_mtim.tv_nsec, 987654321);
    EXPECT_TRUE(copyFile("/proc/version", folder / "version").ok());
    EXPECT_EQ(contentOf(folder / "version"), contentOf("/proc/version"));
}

TEST(Files, CopyNothingThatIsNoRegularFileAndOverNothing) {
    const TemporaryFolder folder;
    const std::string from = folder.write("from", "new");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(copyFile(folder / "fifo", folder / "to").error(), ENOTSUP);
    EXPECT_EQ(copyFile(folder.path(), folder / "to").error(), EISDIR);
    EXPECT_EQ(copyFile(folder / "absent", folder / "to").error(), ENOENT);
    ASSERT_EQ(symlink("victim", (folder / "link").c_str()), 0);
    const std::string old = folder.write("old", "old");
    for (const char* taken : {"old", "link", "fifo", "from"}) {
        EXPECT_EQ(copyFile(from, folder / taken).error(), EEXIST) << taken;
    }
    EXPECT_EQ(contentOf(old), "old");
    EXPECT_EQ(listDirectory(folder.path()), (Names{"fifo", "from", "link", "old"}));
}

}  // namespace
}  // namespace quillet::util
