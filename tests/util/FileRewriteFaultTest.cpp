#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>

#include "tests/FaultInjection.hpp"
#include "tests/TemporaryFolder.hpp"
#include "util/FileCalls.hpp"
#include "util/FileRewrite.hpp"

namespace quillet::util {
namespace {

using test::contentOf;
using test::Fault;
using test::FaultKind;
using test::TemporaryFolder;
using Calls = std::vector<std::string>;
using Names = std::vector<std::string>;

constexpr RewriteOptions kAll = {.durability = Durability::synced, .keepTimes = true};

std::string noise(std::size_t size, std::uint32_t seed) {
    std::string text(size, '\0');
    for (char& c : text) c = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
    return text;
}

std::size_t firstOf(const Calls& calls, const std::string& name) {
    return static_cast<std::size_t>(std::ranges::find(calls, name) - calls.begin());
}

std::size_t lastOf(const Calls& calls, const std::string& name) {
    return static_cast<std::size_t>(calls.rend() - std::find(calls.rbegin(), calls.rend(), name)) - 1;
}

/// A file that is made anew for each fault, and is open.
class Subject {
  public:
    explicit Subject(std::size_t size) : before(noise(size, 1)) {}

    void make() {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) unlink(entry.path().c_str());
        folder.write("audio.mp3", before);
        EXPECT_EQ(chmod(path.c_str(), 0640), 0);
        EXPECT_EQ(setxattr(path.c_str(), "user.rating", "5", 1, 0), 0);
        const timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        file = openForUpdate(path);
        EXPECT_TRUE(stampOf(file, stamp).ok());
    }
    /// Mode, extended attribute and modification time are those that the file was made with.
    void expectItsAttributes() const {
        struct stat facts{};
        EXPECT_EQ(lstat(path.c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 07777, 0640U);
        EXPECT_EQ(facts.st_mtim.tv_sec, 1000000000);
        char value = 0;
        EXPECT_EQ(getxattr(path.c_str(), "user.rating", &value, 1), 1);
    }

    const std::string before;
    const TemporaryFolder folder;
    const std::string path = folder / "audio.mp3";
    FileDescriptor file;
    FileStamp stamp;
};

struct RewriteCase {
    const char* name;
    std::size_t size, front;
    std::vector<FileRange> kept;
    const char* madeBy;  ///< a call that shows the way taken
};

// The second front leaves the file on the blocks that it had, the third does not.
const RewriteCase kRewrites[] = {
    {"AsOnePiece", 5000, 300, {{1000, 5000}}, "write"},
    {"ByTheKernel", 600000, 4096, {{8192, 600000}}, "copy_file_range"},
    {"ByReading", 300000, 3000, {{0, 2000}, {4096, 300000}}, "pread64"},
};

std::string nameOf(const testing::TestParamInfo<RewriteCase>& info) {
    return info.param.name;
}

class RewriteUnderFaults : public testing::TestWithParam<RewriteCase> {
  protected:
    RewriteUnderFaults() : subject(GetParam().size), front(noise(GetParam().front, 2)), wanted(front) {
        for (const FileRange& range : GetParam().kept)
            wanted += subject.before.substr(range.begin, range.end - range.begin);
    }
    void rewrite() {
        done = rewriteFile(subject.path, subject.file, subject.stamp, bytesOf(front), GetParam().kept, kAll);
    }
    Subject subject;
    const std::string front;
    std::string wanted;
    Status done = Status::success();
};

TEST_P(RewriteUnderFaults, LeavesTheOldFileOrTheNewOne) {
    const auto check = [this](const Fault& fault, const Calls& calls) {
        const std::size_t renamed = lastOf(calls, "rename");
        ASSERT_LT(renamed, calls.size());
        EXPECT_THAT(calls, testing::Contains(GetParam().madeBy));
        // The content is durable before it takes the name, and then the name is.
        EXPECT_LT(firstOf(calls, "fsync"), renamed);
        EXPECT_GT(lastOf(calls, "fsync"), renamed);
        const std::string content = contentOf(subject.path);
        const Names names = listDirectory(subject.folder.path()).value_or(Names());
        subject.expectItsAttributes();
        if (fault.kills()) {
            const bool isNew = fault.call > renamed || (fault.call == renamed && fault.kind == FaultKind::killDuring);
            EXPECT_TRUE(content == (isNew ? wanted : subject.before));
            EXPECT_THAT(names, testing::AnyOf(Names{"audio.mp3"}, Names{"audio.mp3", "audio.mp3.temp"}));
            return;
        }
        EXPECT_EQ(names, Names{"audio.mp3"});
        EXPECT_TRUE(content == (done.ok() || fault.call > renamed ? wanted : subject.before));
        // What fails must be told, but for a copy that goes another way, a question, and the folder's close.
        const std::string& call = calls[fault.call];
        const bool mayPass = call == "copy_file_range" || call == "lgetxattr" || fault.call == calls.size() - 1;
        const bool fails = fault.kind == FaultKind::fail && fault.error == EIO && !mayPass;
        EXPECT_EQ(fails ? done.error() : EIO, EIO);
        EXPECT_TRUE(done.ok() || fault.error != 0);
    };
    test::tryEveryFault([this] { subject.make(); }, [this] { rewrite(); }, check);
}

struct Event {
    const char* name;
    int error;
    void (*happens)(const Subject& subject);
};

const Event kEvents[] = {
    {"grows", EBUSY, [](const Subject& s) { std::ofstream(s.path, std::ios::app) << "more"; }},
    {"is written into", EBUSY, [](const Subject& s) { EXPECT_EQ(pwrite(s.file.number(), "x", 1, 4999), 1); }},
    {"is replaced", EBUSY,
     [](const Subject& s) { std::filesystem::rename(s.folder.write("other", s.before), s.path); }},
    {"gets another mode", EBUSY, [](const Subject& s) { EXPECT_EQ(chmod(s.path.c_str(), 0600), 0); }},
    {"gets another name", EBUSY,
     [](const Subject& s) { EXPECT_EQ(link(s.path.c_str(), (s.folder / "x").c_str()), 0); }},
    {"vanishes", ENOENT, [](const Subject& s) { EXPECT_EQ(unlink(s.path.c_str()), 0); }},
};

TEST_P(RewriteUnderFaults, LeavesAFileThatAnotherChangesMeanwhile) {
    subject.make();
    const Calls calls = test::callsOf([this] { rewrite(); });
    ASSERT_TRUE(done.ok());
    for (const Event& event : kEvents) {
        // Between the last look and the rename nothing can be seen; before the first one it is known what is kept.
        for (std::size_t call = 1; call <= lastOf(calls, "lstat64"); ++call) {
            SCOPED_TRACE(testing::Message() << "the file " << event.name << " before " << calls[call] << ", " << call);
            subject.make();
            std::string changed;
            Names names;
            const auto happens = [&] {
                event.happens(subject);
                changed = contentOf(subject.path);
                names = listDirectory(subject.folder.path()).value_or(Names());
                std::erase(names, "audio.mp3.temp");
            };
            EXPECT_TRUE(test::runWithEvent(call, happens, [this] { rewrite(); }));
            EXPECT_EQ(done.error(), event.error);
            EXPECT_TRUE(contentOf(subject.path) == changed);
            EXPECT_EQ(listDirectory(subject.folder.path()), names);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, RewriteUnderFaults, testing::ValuesIn(kRewrites), nameOf);

TEST(OverwriteUnderFaults, PutsBackWhatItCannotFinish) {
    struct Case {
        const char* name;
        std::uint64_t offset;
        std::size_t size;
        RewriteOptions options;
    };
    const Case cases[] = {
        {"inside", 100, 1000, {.durability = Durability::unsynced, .keepTimes = false}},
        {"inside, synced", 0, 5000, kAll},
        {"over the end, synced", 4900, 128, kAll},
        {"behind the end", 5000, 128, {.durability = Durability::unsynced, .keepTimes = true}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Subject subject(5000);
        const std::string bytes = noise(each.size, 3);
        const std::string wanted = std::string(subject.before).replace(each.offset, each.size, bytes);
        const std::string old = subject.before.substr(each.offset, each.size);
        Status done = Status::success();
        const auto overwrite = [&] {
            done = overwriteFile(subject.file, subject.stamp, each.offset, bytesOf(bytes), bytesOf(old), each.options);
        };
        const auto check = [&](const Fault& fault, const Calls& calls) {
            EXPECT_EQ(std::ranges::count(calls, "pwrite64"), 1);
            std::string content = contentOf(subject.path);
            if (!fault.kills()) {
                EXPECT_TRUE(content == (done.ok() ? wanted : subject.before));
                if (each.options.keepTimes || !done.ok()) subject.expectItsAttributes();
                // An interrupted write, and an interrupted sync, is done again.
                const std::string& call = calls[fault.call];
                const bool again = fault.error == EINTR && (call == "pwrite64" || call == "fsync");
                const bool full = fault.kind == FaultKind::diskFull && wanted.size() > subject.before.size();
                const bool fails = fault.kind != FaultKind::diskFull && !again;
                EXPECT_EQ(done.error(), full ? ENOSPC : fails ? fault.error : 0);
                return;
            }
            ASSERT_GE(content.size(), subject.before.size());
            content.replace(each.offset, each.size, old);
            EXPECT_TRUE(content == subject.before) << "more was touched than the bytes in question";
        };
        test::tryEveryFault([&] { subject.make(); }, overwrite, check);
    }
}

TEST(TruncateUnderFaults, CutsOrTellsThatItDidNot) {
    Subject subject(5000);
    Status done = Status::success();
    const auto truncate = [&] { done = truncateFile(subject.file, subject.stamp, 4872, kAll); };
    const auto check = [&](const Fault& fault, const Calls& calls) {
        const std::size_t cut = lastOf(calls, "ftruncate64");
        ASSERT_LT(cut, calls.size());
        const bool isCut = fault.call > cut || (fault.call == cut && fault.kind == FaultKind::killDuring);
        const bool again = fault.error == EINTR && (fault.call == cut || calls[fault.call] == "fsync");
        EXPECT_EQ(contentOf(subject.path).size(), isCut || again ? 4872U : 5000U);
        if (!fault.kills()) {
            EXPECT_EQ(done.error(), again ? 0 : fault.error);
        }
    };
    test::tryEveryFault([&] { subject.make(); }, truncate, check);
}

}  // namespace
}  // namespace quillet::util
