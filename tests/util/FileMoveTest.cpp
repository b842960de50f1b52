#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "tests/TemporaryFolder.hpp"
#include "util/FileCalls.hpp"
#include "util/Files.hpp"
#include "util/Limits.hpp"

namespace quillet::util {
namespace {

using Names = std::vector<std::string>;
using test::contentOf;
using test::TemporaryFolder;

/// A small file system in memory, mounted on a folder of its own as long as it lives; only root can have one.
class SmallFileSystem : public TemporaryFolder {
  public:
    SmallFileSystem() : isMounted(mount("none", path().c_str(), "tmpfs", 0, "size=64k") == 0) {}
    ~SmallFileSystem() {
        if (isMounted) umount2(path().c_str(), MNT_DETACH);
    }
    const bool isMounted;
};

/// A folder on the machine's memory file system.
struct MemoryFolder {
    ~MemoryFolder() {
        std::error_code ignored;
        if (exists) std::filesystem::remove_all(path, ignored);
    }
    char path[29] = "/dev/shm/quillet-test-XXXXXX";
    const bool exists = mkdtemp(path) != nullptr;
};

/// Everything a caller could see of an entry, a folder with all that is in it: kind, mode, owner, modification time,
/// content, extended attribute.
std::string portraitOf(const std::string& path) {
    struct stat facts{};
    if (lstat(path.c_str(), &facts) != 0) return "nothing";
    std::string portrait = std::to_string(facts.st_mode) + " " + std::to_string(facts.st_uid) + " " +
                           std::to_string(facts.st_mtim.tv_sec) + "." + std::to_string(facts.st_mtim.tv_nsec) + " ";
    char value[64] = "";
    if (lgetxattr(path.c_str(), "user.quillet", value, sizeof value) > 0) portrait += std::string("marked ") + value;
    if (S_ISREG(facts.st_mode)) portrait += contentOf(path);
    if (S_ISLNK(facts.st_mode)) portrait += std::filesystem::read_symlink(path).string();
    if (!S_ISDIR(facts.st_mode)) return portrait;
    for (const std::string& name : listDirectory(path).value_or(Names{"unreadable"}))
        portrait += "\n" + name + ": " + portraitOf(path + "/" + name);
    return portrait;
}

/// Makes one entry of each kind in `folder`, the older the deeper, and answers their names.
Names makeOneOfEach(const std::string& folder) {
    const std::string longName(kLongestFileName, 'n');
    const auto write = [&](const std::string& name, const std::string& content, mode_t mode) {
        std::ofstream(folder + "/" + name) << content;
        EXPECT_EQ(chmod((folder + "/" + name).c_str(), mode), 0);
    };
    EXPECT_TRUE(createDirectories(folder + "/tree/inner").ok());
    write("file", std::string(200000, 'f') + "end", 0640);
    write(longName, "", 0444);
    write("tree/inner/file", "inner", 0600);
    EXPECT_EQ(symlink("no\nwhere", (folder + "/link").c_str()), 0);
    EXPECT_EQ(symlink("../file", (folder + "/tree/link").c_str()), 0);
    EXPECT_EQ(mkfifo((folder + "/fifo").c_str(), 0620), 0);
    EXPECT_EQ(chmod((folder + "/tree").c_str(), 02750), 0);
    setxattr((folder + "/file").c_str(), "user.quillet", "yes", 4, 0);
    time_t seconds = 1000000000;
    for (const std::string name : {"file", "link", "fifo", "tree/inner/file", "tree/inner", "tree"}) {
        const timespec times[2] = {{seconds, 1}, {seconds, 123456789}};
        EXPECT_EQ(utimensat(AT_FDCWD, (folder + "/" + name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
        seconds += 1000;
    }
    return {"fifo", "file", "link", longName, "tree"};
}

struct Way {
    const char* name;
    Status (*move)(const std::string& from, const std::string& to);
    bool acrossFileSystems;
};
const Way kWays[] = {{"rename", moveItem, false}, {"link", renameByLink, false}, {"copy", moveItem, true}};

class FileMove : public testing::TestWithParam<Way> {
  protected:
    void SetUp() override {
        if (!GetParam().acrossFileSystems) return;
        if (!memory.exists || factsOf(memory.path)->device == factsOf(disk.path())->device)
            GTEST_SKIP() << "/dev/shm is no other file system than " << disk.path();
        to = memory.path;
    }
    const TemporaryFolder disk, second;
    const MemoryFolder memory;
    std::string from = disk.path(), to = second.path();
};

TEST_P(FileMove, KeepsAllThatAnEntryIs) {
    for (const std::string& name : makeOneOfEach(from)) {
        SCOPED_TRACE(name);
        const std::string before = portraitOf(from + "/" + name);
        const Status moved = GetParam().move(from + "/" + name, to + "/" + name);
        ASSERT_TRUE(moved.ok()) << moved.message();
        EXPECT_EQ(portraitOf(to + "/" + name), before);
        EXPECT_EQ(portraitOf(from + "/" + name), "nothing");
        EXPECT_EQ(listDirectory(to), Names{name});  // and no working file
        std::filesystem::remove_all(to + "/" + name);
    }
    EXPECT_EQ(listDirectory(from), Names{});
}

TEST_P(FileMove, GoesOverNothing) {
    const Names names = makeOneOfEach(from);
    makeOneOfEach(to);
    const std::string before = portraitOf(to), sourceBefore = portraitOf(from);
    for (const std::string& name : names) {
        for (const std::string& taken : names)
            EXPECT_EQ(GetParam().move(from + "/" + name, to + "/" + taken).error(), EEXIST) << name << " to " << taken;
    }
    EXPECT_EQ(GetParam().move(from + "/absent", to + "/free").error(), ENOENT);
    EXPECT_EQ(GetParam().move(from + "/file", to + "/absent/file").error(), ENOENT);
    EXPECT_EQ(GetParam().move(from + "/file", from + "/file").error(), EEXIST);
    EXPECT_EQ(portraitOf(to), before);
    EXPECT_EQ(portraitOf(from), sourceBefore);
}

class FileMoveByCopy : public FileMove {};

TEST_P(FileMoveByCopy, LeavesAFileThatSomebodyWrites) {
    std::ofstream(from + "/file");
    ASSERT_EQ(truncate((from + "/file").c_str(), 64 << 20), 0);
    std::atomic<int> writes = 0;
    const std::jthread writer([&](const std::stop_token& stop) {
        std::fstream file(from + "/file");
        for (; !stop.stop_requested(); ++writes) file.seekp(0).put('x').flush();
    });
    while (writes == 0) std::this_thread::yield();
    EXPECT_EQ(moveItem(from + "/file", to + "/file").error(), EBUSY);
    EXPECT_EQ(listDirectory(to), Names{});
    EXPECT_EQ(factsOf(from + "/file")->size, std::uint64_t{64} << 20);
}

class FileCopy : public FileMove {};

TEST_P(FileCopy, AsksBetweenChunksWhetherToStop) {
    std::ofstream(from + "/file");
    ASSERT_EQ(truncate((from + "/file").c_str(), 40 << 20), 0);
    static int asked;
    asked = 0;
    EXPECT_EQ(copyFile(from + "/file", to + "/file", [] { return ++asked == 3; }).error(), EINTR);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(listDirectory(to), Names{});
    EXPECT_TRUE(copyFile(from + "/file", to + "/file", [] { return ++asked < 0; }).ok());
    EXPECT_GE(asked, 3 + 40 / 8);
}

const auto nameOf = [](const auto& way) { return way.param.name; };
INSTANTIATE_TEST_SUITE_P(Ways, FileMove, testing::ValuesIn(kWays), nameOf);
INSTANTIATE_TEST_SUITE_P(Ways, FileMoveByCopy, testing::Values(kWays[2]), nameOf);
INSTANTIATE_TEST_SUITE_P(Ways, FileCopy, testing::Values(kWays[0], kWays[2]), nameOf);

class FileMoveFailure : public testing::Test {
  protected:
    void SetUp() override {
        if (!small.isMounted) GTEST_SKIP() << "only root can mount a file system";
    }
    const SmallFileSystem small;
    const TemporaryFolder disk;
};

TEST_F(FileMoveFailure, LeavesTheSourceWholeAndNothingElseOnAFullDisk) {
    makeOneOfEach(disk.path());
    const std::string large(200000, 'x'), target = small / "new", old = small.write("old", "old");
    ASSERT_TRUE(createDirectories(disk / "tree/last").ok());
    disk.write("tree/last/large", large);
    const std::string before = portraitOf(disk.path());
    EXPECT_EQ(moveItem(disk / "file", target).error(), ENOSPC);
    EXPECT_EQ(moveItem(disk / "tree", target).error(), ENOSPC);
    EXPECT_EQ(copyFile(disk / "file", target).error(), ENOSPC);
    EXPECT_EQ(writeFileAtomically(target, bytesOf(large)).error(), ENOSPC);
    EXPECT_EQ(writeFileAtomically(old, bytesOf(large)).error(), ENOSPC);
    EXPECT_EQ(listDirectory(small.path()), Names{"old"});
    EXPECT_EQ(contentOf(old), "old");
    EXPECT_EQ(portraitOf(disk.path()), before);
}

TEST_F(FileMoveFailure, TakesTheCopyBackWhenTheSourceCannotGo) {
    small.write("file", "content");
    ASSERT_TRUE(createDirectories(small / "tree/inner").ok());
    ASSERT_EQ(mount("none", small.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const std::string before = portraitOf(small.path());
    for (const char* name : {"file", "tree"}) EXPECT_EQ(moveItem(small / name, disk / name).error(), EROFS) << name;
    EXPECT_EQ(listDirectory(disk.path()), Names{});
    EXPECT_EQ(portraitOf(small.path()), before);
}

TEST_F(FileMoveFailure, LeavesAFolderThatHoldsAnotherFileSystem) {
    small.write("file", "content");
    // The target lies in what is moved: a copy would never come to its end.
    const std::string inner = disk / "tree/mounted";
    ASSERT_TRUE(createDirectories(inner).ok());
    ASSERT_EQ(mount(small.path().c_str(), inner.c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(moveItem(disk / "tree", inner + "/tree").error(), EXDEV);
    EXPECT_EQ(listDirectory(small.path()), Names{"file"});
    EXPECT_EQ(umount2(inner.c_str(), MNT_DETACH), 0);
    EXPECT_EQ(listDirectory(disk / "tree"), Names{"mounted"});
}

}  // namespace
}  // namespace quillet::util
