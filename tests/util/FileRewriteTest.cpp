#include "util/FileRewrite.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "tests/TemporaryFolder.hpp"
#include "util/FileCalls.hpp"

namespace quillet::util {
namespace {

using test::contentOf;
using test::statOf;
using test::TemporaryFolder;
using Names = std::vector<std::string>;

constexpr RewriteOptions kUnsynced = {.durability = Durability::unsynced};
const char* const kAccessList = "system.posix_acl_access";

FileStamp stampOf(const FileDescriptor& file) {
    FileStamp stamp;
    EXPECT_TRUE(stampOf(file, stamp).ok());
    return stamp;
}

/// The error of a rewrite of the file as it stands.
int rewrite(const std::string& path, const std::string& front, const std::vector<FileRange>& kept) {
    const FileDescriptor old = openForReading(path);
    return rewriteFile(path, old, stampOf(old), bytesOf(front), kept, kUnsynced).error();
}

/// An access list that lets the owner read and write and the user 1234 read, under `mask`.
std::string accessList(char mask) {
    std::string list("\2\0\0\0", 4);
    const auto add = [&list](char tag, char rights, const std::string& who) {
        list += std::string{tag, '\0', rights, '\0'} + who;
    };
    const std::string nobody = "\xff\xff\xff\xff";
    add(1, 6, nobody);
    add(2, 4, std::string("\xd2\4\0\0", 4));
    add(4, 0, nobody);
    add(16, mask, nobody);
    add(32, 0, nobody);
    return list;
}

std::string attributeOf(const std::string& path, const char* name) {
    char value[256];
    const ssize_t size = lgetxattr(path.c_str(), name, value, sizeof value);
    return size < 0 ? "none" : std::string(value, static_cast<std::size_t>(size));
}

TEST(FileRewrite, PutsAFrontBeforeTheKeptPartsInTheirOrder) {
    const std::string old = "0123456789";
    struct Case {
        const char* name;
        std::string front;
        std::vector<FileRange> kept;
        std::string wanted;
        int error;
    };
    const Case cases[] = {
        {"grown", "front", {{2, 10}}, "front23456789", 0},
        {"cut out of the middle", "", {{0, 3}, {7, 10}}, "012789", 0},
        {"turned round, one part twice", "-", {{5, 10}, {0, 5}, {0, 1}}, "-56789012340", 0},
        {"an empty part at the end", "a", {{10, 10}}, "a", 0},
        {"nothing at all", "", {}, "", 0},
        {"a large front", std::string(600000, 'f'), {{9, 10}}, std::string(600000, 'f') + "9", 0},
        {"a part that passes the end", "front", {{2, 11}}, old, EIO},
        {"a part behind the end", "front", {{0, 10}, {4096, 4097}}, old, EIO},
        {"a part that ends before it begins", "front", {{0, 10}, {3, 2}}, old, EINVAL},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const TemporaryFolder folder;
        const std::string path = folder.write("audio.mp3", old);
        EXPECT_EQ(rewrite(path, each.front, each.kept), each.error);
        EXPECT_TRUE(contentOf(path) == each.wanted);
        EXPECT_EQ(listDirectory(folder.path()), Names{"audio.mp3"});
    }
}

TEST(FileRewrite, KeepsLinksAndNamesThatAreTaken) {
    const TemporaryFolder folder;
    const std::string path = folder.write("audio.mp3", "old");
    folder.write("audio.mp3.temp", "somebody's");
    ASSERT_EQ(symlink("nowhere", (folder / "audio.mp3.temp.temp").c_str()), 0);
    ASSERT_EQ(symlink("audio.mp3", (folder / "link").c_str()), 0);
    ASSERT_EQ(link(path.c_str(), (folder / "second").c_str()), 0);
    EXPECT_EQ(rewrite(folder / "link", "new ", {{0, 3}}), 0);
    EXPECT_EQ(contentOf(path), "new old");
    EXPECT_EQ(contentOf(folder / "second"), "old");
    EXPECT_EQ(contentOf(folder / "audio.mp3.temp"), "somebody's");
    EXPECT_TRUE(S_ISLNK(statOf(folder / "link").st_mode));
    EXPECT_EQ(listDirectory(folder.path()),
              (Names{"audio.mp3", "audio.mp3.temp", "audio.mp3.temp.temp", "link", "second"}));

    const std::string longest = folder.write(std::string(255, 'n'), "old");
    EXPECT_EQ(rewrite(longest, "new ", {{0, 3}}), 0);
    EXPECT_EQ(contentOf(longest), "new old");
    EXPECT_EQ(listDirectory(folder.path())->size(), 6U);
}

TEST(FileRewrite, KeepsWhoMayReadTheFile) {
    const bool isRoot = geteuid() == 0;
    const TemporaryFolder folder;
    for (const mode_t mode : {0600U, 0644U, 0444U, 04751U}) {
        SCOPED_TRACE(testing::Message() << std::oct << mode);
        const std::string path = folder.write("audio" + std::to_string(mode), "old");
        EXPECT_TRUE(!isRoot || chown(path.c_str(), 1234, 1235) == 0);
        EXPECT_EQ(setxattr(path.c_str(), "user.rating", "5", 1, 0), 0);
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        const struct stat before = statOf(path);
        EXPECT_EQ(rewrite(path, "new ", {{0, 3}}), 0);
        const struct stat after = statOf(path);
        EXPECT_EQ(after.st_mode & 07777, mode);
        EXPECT_EQ(after.st_uid, before.st_uid);
        EXPECT_EQ(after.st_gid, before.st_gid);
        EXPECT_EQ(attributeOf(path, "user.rating"), "5");
        EXPECT_NE(after.st_ino, before.st_ino);
    }
}

TEST(FileRewrite, KeepsAnAccessListAndTakesNoneFromTheFolder) {
    const TemporaryFolder folder;
    const std::string open = folder.write("open", "old");
    const std::string listed = folder.write("listed", "old");
    const std::string list = accessList(4);
    if (setxattr(listed.c_str(), kAccessList, list.data(), list.size(), 0) != 0) GTEST_SKIP() << "no access lists here";
    const std::string wide = accessList(6);
    ASSERT_EQ(setxattr(folder.path().c_str(), "system.posix_acl_default", wide.data(), wide.size(), 0), 0);
    ASSERT_NE(attributeOf(folder.write("made", ""), kAccessList), "none");
    EXPECT_EQ(rewrite(open, "new ", {{0, 3}}), 0);
    EXPECT_EQ(attributeOf(open, kAccessList), "none");
    EXPECT_EQ(rewrite(listed, "new ", {{0, 3}}), 0);
    EXPECT_EQ(attributeOf(listed, kAccessList), list);
}

TEST(FileRewrite, RefusesAFileThatIsNotTheOneThatWasRead) {
    const TemporaryFolder folder;
    const std::string path = folder.write("audio.mp3", "old");
    const FileDescriptor old = openForUpdate(path);
    FileStamp earlier = stampOf(old);
    --earlier.modifiedNanoseconds;
    EXPECT_EQ(rewriteFile(path, old, earlier, {}, {}).error(), EBUSY);
    EXPECT_EQ(overwriteFile(old, earlier, 0, bytesOf("new"), bytesOf("old")).error(), EBUSY);
    EXPECT_EQ(truncateFile(old, earlier, 0).error(), EBUSY);
    EXPECT_EQ(rewriteFile(folder.write("other", "old"), old, stampOf(old), {}, {}).error(), EBUSY);
    EXPECT_EQ(rewriteFile(folder / "absent", old, stampOf(old), {}, {}).error(), ENOENT);
    EXPECT_EQ(contentOf(path), "old");
    EXPECT_EQ(listDirectory(folder.path()), (Names{"audio.mp3", "other"}));
}

/// The error of a rewrite by a user who owns nothing; by this one, unless he is root.
int rewriteAsNobody(const std::string& path) {
    if (geteuid() != 0) return rewrite(path, "new", {});
    const pid_t child = fork();
    if (child == 0) _exit(setgid(65534) == 0 && setuid(65534) == 0 ? rewrite(path, "new", {}) : 255);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WEXITSTATUS(status);
}

TEST(FileRewrite, LeavesAFileWhoseFolderOrOwnerIsOutOfReach) {
    const TemporaryFolder folder;
    const std::string path = folder.write("audio.mp3", "old");
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
    EXPECT_EQ(rewriteAsNobody(path), EACCES);
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    const bool isOwner = geteuid() != 0;
    EXPECT_EQ(rewriteAsNobody(path), isOwner ? 0 : EPERM);
    EXPECT_EQ(contentOf(path), isOwner ? "new" : "old");
    EXPECT_EQ(listDirectory(folder.path()), Names{"audio.mp3"});
}

TEST(FileRewrite, WritesIntoAnOpenFileWhatItCouldPutBack) {
    const TemporaryFolder folder;
    struct Case {
        const char* name;
        std::uint64_t offset;
        std::string bytes, before, wanted;
        int error;
    };
    const Case cases[] = {
        {"inside", 2, "ABC", "234", "01ABC56789", 0},
        {"over the end", 8, "ABC", "89", "01234567ABC", 0},
        {"at the end", 10, "ABC", "", "0123456789ABC", 0},
        {"nothing", 10, "", "", "0123456789", 0},
        {"behind the end", 11, "ABC", "abc", "0123456789", EINVAL},
        {"too little to put back", 2, "ABC", "23", "0123456789", EINVAL},
        {"too much to put back", 8, "ABC", "89-", "0123456789", EINVAL},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const std::string path = folder.write("audio.mp3", "0123456789");
        const FileDescriptor file = openForUpdate(path);
        EXPECT_EQ(overwriteFile(file, stampOf(file), each.offset, bytesOf(each.bytes), bytesOf(each.before)).error(),
                  each.error);
        EXPECT_EQ(contentOf(path), each.wanted);
    }
    const std::string path = folder.write("audio.mp3", "0123456789");
    const FileDescriptor file = openForUpdate(path);
    EXPECT_EQ(truncateFile(file, stampOf(file), 11).error(), EINVAL);
    EXPECT_TRUE(truncateFile(file, stampOf(file), 4).ok());
    EXPECT_EQ(contentOf(path), "0123");
}

}  // namespace
}  // namespace quillet::util
