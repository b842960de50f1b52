#include <sys/mount.h>
#include <sys/resource.h>

#include <algorithm>
#include <set>

#include "tests/platform/LibraryFixture.hpp"

namespace quillet::test {
namespace {

using SqliteGroupsTest = LibraryFixture;

TEST_F(SqliteGroupsTest, NoIdentifierIsGivenTwice) {
    {
        const auto library = open();
        EXPECT_EQ(library->lastIdentifier(), 0U);
        EXPECT_EQ(import(*library, "1"), 1U);
        EXPECT_TRUE(library->remove(1, false));
        EXPECT_EQ(import(*library, "2"), 2U);
        library->beginGroup();
        EXPECT_EQ(import(*library, "2"), 0U);  // is there already; takes no identifier with it
        EXPECT_EQ(import(*library, "3"), 3U);
        EXPECT_EQ(import(*library, "4"), 4U);
        EXPECT_TRUE(library->remove(4, false));
        EXPECT_TRUE(library->endGroup());
        EXPECT_EQ(import(*library, "5"), 5U);  // the rest of the block came back
        EXPECT_EQ(library->lastIdentifier(), 5U);
    }
    const pid_t child = fork();
    if (child == 0) {
        const auto library = open();
        library->beginGroup();
        if (import(*library, "6") == 6 && import(*library, "7") == 7) kill(getpid(), SIGKILL);
        _exit(1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    const auto library = open();
    EXPECT_THAT(*library->persistentIdentifiers(), ElementsAre(2U, 3U, 5U));
    EXPECT_EQ(library->lastIdentifier(), 5U);
    library->beginGroup();
    const auto first = import(*library, "6");
    EXPECT_GT(first, 7U);
    EXPECT_EQ(library->lastIdentifier(), first);
    EXPECT_TRUE(library->endGroup());
    EXPECT_EQ(import(*library, "7"), first + 1);
}

TEST_F(SqliteGroupsTest, ABlockThatOthersFollowedIsNotGivenBack) {
    const auto ours = open();
    const auto theirs = open(milliseconds(0));
    std::set<std::uint64_t> given;
    std::size_t count = 0;
    const auto add = [&](SqliteMusicLibrary& library, const std::string& name) {
        const std::uint64_t identifier = import(library, name);
        if (identifier == 0) return false;
        given.insert(identifier);
        return ++count != 0;
    };
    ours->beginGroup();
    int names = 0;
    for (const char* name : {"b", "c"}) {
        // Until a transaction of the group has ended and the next has not begun; then more than is left of the block.
        do ASSERT_TRUE(add(*ours, std::to_string(++names)));
        while (!add(*theirs, name));
        for (int i = 0; i < 600; ++i) EXPECT_TRUE(add(*ours, std::to_string(++names)));
    }
    do ASSERT_TRUE(add(*ours, std::to_string(++names)));
    while (!add(*theirs, "d"));
    EXPECT_TRUE(ours->endGroup());
    const std::uint64_t highest = *given.rbegin();
    EXPECT_TRUE(add(*theirs, "e"));
    EXPECT_GT(*given.rbegin(), highest);
    EXPECT_TRUE(add(*ours, "f"));
    EXPECT_EQ(given.size(), count);
}

TEST_F(SqliteGroupsTest, ABadTrackLeavesTheOthersOfItsGroup) {
    const auto library = open();
    library->beginGroup();
    EXPECT_EQ(import(*library, "good", {{"album.album", "A"}}), 1U);
    EXPECT_EQ(import(*library, "good", {{"album.album", "B"}}), 0U);
    EXPECT_EQ(importAt(*library, "/somewhere/else.mp3"), 0U);
    EXPECT_EQ(import(*library, "deep\n.mp3", {{"album.album", nested(65)}}), 0U);
    EXPECT_EQ(import(*library, "later", {{"album.album", "C"}}), 2U);
    EXPECT_TRUE(library->endGroup());
    EXPECT_THAT(lines_, ElementsAre(mediaPath("good") + " is not added to the music library: it is there already",
                                    testing::StartsWith("/somewhere/else.mp3 is not added"),
                                    mediaPath("deep?.mp3") +
                                        " is not added to the music library: its property album.album is nested too "
                                        "deeply or too large"));
    EXPECT_THAT(run(file_, "SELECT album FROM album"), ElementsAre("A", "C"));
    library->setImportationEnabled(false);
    EXPECT_EQ(import(*library, "late"), 0U);
}

/// Makes writes in a folder fail, until its end: as on a file system that has 600 kB left, or where no file may grow
/// beyond 200 kB.
class FullDisk {
  public:
    FullDisk(const std::string& folder, bool isMounted) : folder_(isMounted ? folder : "") {
        getrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{200'000, before_.rlim_max};
        works = isMounted ? mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=2m") == 0
                          : setrlimit(RLIMIT_FSIZE, &small) == 0;
        if (works && isMounted) std::ofstream(folder + "/filler") << std::string(1'400'000, 'x');
    }
    ~FullDisk() {
        end();
        if (works && !folder_.empty()) umount2(folder_.c_str(), MNT_DETACH);
    }
    void end() {
        setrlimit(RLIMIT_FSIZE, &before_);
        if (works && !folder_.empty()) std::filesystem::remove(folder_ + "/filler");
    }
    bool works = false;

  private:
    std::string folder_;
    rlimit before_{};
};

class FullDiskTest : public SqliteGroupsTest, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(, FullDiskTest, testing::Bool(),
                         [](const auto& each) { return each.param ? "SmallFileSystem" : "SmallFiles"; });

TEST_P(FullDiskTest, WhatAGroupLosesIsToldAndLaterTracksArrive) {
    const std::string folder(util::deletingLastPathComponent(file_));
    std::filesystem::create_directories(folder);
    FullDisk disk(folder, GetParam());
    if (!disk.works) GTEST_SKIP() << "only root can mount";
    const auto library = open();
    std::set<std::uint64_t> told{import(*library, "before")};
    library->beginGroup();
    told.insert(import(*library, "small"));  // is in, as far as it knows
    std::string big(1'000'000, 'i');
    for (int i = 0; i < 30; ++i) {
        big[0] = static_cast<char>(i);
        told.insert(import(*library, "big" + std::to_string(i), {{"album.album", i}}, big));
    }
    EXPECT_EQ(told.erase(0), 1U);  // some heard of the failure themselves
    disk.end();
    const auto after = import(*library, "after");
    EXPECT_GT(after, *told.rbegin());
    told.insert(after);
    const bool whole = library->endGroup();
    const auto stored = *library->persistentIdentifiers();
    EXPECT_THAT(stored, testing::IsSupersetOf({*told.begin(), after}));
    EXPECT_TRUE(std::ranges::includes(told, std::set(stored.begin(), stored.end())));
    // How much was in the transaction that failed is a matter of time.
    EXPECT_EQ(whole, stored.size() == told.size());
    EXPECT_EQ(testing::Matches(testing::Contains(HasSubstr("changes to the music library are lost")))(lines_), !whole);
    EXPECT_GT(import(*library, "at last"), after);
    EXPECT_THAT(run(file_, "PRAGMA integrity_check; PRAGMA foreign_key_check"), ElementsAre("ok"));
}

TEST_F(SqliteGroupsTest, ALockedLibraryIsWaitedForAndThenGivenUp) {
    const auto patient = open();
    const auto impatient = open(milliseconds(20));
    sqlite3* other = nullptr;
    sqlite3_open(file_.c_str(), &other);
    run(other, "BEGIN IMMEDIATE");
    EXPECT_EQ(import(*impatient, "a"), 0U);
    EXPECT_THROW(impatient->remove(1, false), LibraryError);
    EXPECT_EQ(impatient->persistentIdentifiers()->size(), 0U);  // readers do not wait
    EXPECT_THAT(lines_, ElementsAre(HasSubstr("locked by another program")));

    std::vector<std::string> said;
    util::setLogSink([&](std::string_view line) {
        said.emplace_back(line);
        run(other, "COMMIT");
    });
    EXPECT_EQ(import(*patient, "a"), 1U);
    EXPECT_THAT(said, ElementsAre("the music library is locked by another program; waiting"));
    sqlite3_close(other);
}

TEST_F(SqliteGroupsTest, ProcessesThatMakeTheLibraryAtOnceShareIt) {
    constexpr std::size_t kProcesses = 4;
    std::vector<pid_t> children;
    for (std::size_t process = 0; process < kProcesses; ++process) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        try {
            const auto library = open();
            for (int i = 0; i < 5; ++i)
                if (import(*library, std::to_string(process) + std::to_string(i), {{"album.album", i}}) == 0) _exit(1);
        } catch (const LibraryError&) {
            _exit(1);
        }
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(open()->persistentIdentifiers()->size(), kProcesses * 5);
    EXPECT_THAT(run(file_, "SELECT count(*) FROM album"), ElementsAre("5"));
}

}  // namespace
}  // namespace quillet::test
