#include "platform/linux/UvEventLoop.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/TemporaryFolder.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

namespace fs = std::filesystem;
using Watching = UvEventLoop::Watching;

/// A loop that fails the test when it runs for too long.
class GuardedLoop : public UvEventLoop {
  public:
    explicit GuardedLoop(Watching watching = Watching::kernel) : UvEventLoop(watching) {
        runAfter(30, [this] {
            ADD_FAILURE() << "the loop has not been stopped";
            stop();
        });
    }
    /// Runs until everything that happened before the call has been told. What the kernel tells is there on the next
    /// turn; an entry list is looked at after one second, and a timer due later runs later, however slow the machine.
    void settle(Watching watching = Watching::kernel) {
        runAfter(watching == Watching::polling ? 1.2 : 0,
                 [this] { runOnMain([this] { runOnMain([this] { stop(); }); }); });
        run();
    }
};

class EveryWayOfWatching : public testing::TestWithParam<Watching> {};
INSTANTIATE_TEST_SUITE_P(, EveryWayOfWatching, testing::Values(Watching::kernel, Watching::polling),
                         [](const auto& tested) {
                             return std::string(tested.param == Watching::kernel ? "kernel" : "polling");
                         });

TEST_P(EveryWayOfWatching, TellsOfANewEntryListAlone) {
    using Change = void (*)(const std::string& folder, const std::string& elsewhere);
    struct ChangeCase {
        const char* name;
        bool isTold;
        Change change;
    };
    const ChangeCase kChanges[] = {
        {"nothing", false, [](auto&, auto&) {}},
        {"write", false, [](auto& folder, auto&) { std::ofstream(folder + "/file", std::ios::app) << "more"; }},
        {"truncate", false, [](auto& folder, auto&) { fs::resize_file(folder + "/file", 0); }},
        {"mode of a file", false, [](auto& folder, auto&) { ::chmod((folder + "/file").c_str(), 0600); }},
        {"mode of a folder in it", false, [](auto& folder, auto&) { ::chmod((folder + "/sub").c_str(), 0700); }},
        {"mode of itself", false, [](auto& folder, auto&) { ::chmod(folder.c_str(), 0700); }},
        {"change below", false, [](auto& folder, auto&) { std::ofstream(folder + "/sub/file") << "new"; }},
        {"create", true, [](auto& folder, auto&) { std::ofstream(folder + "/new") << "new"; }},
        {"rename in", true, [](auto& folder, auto& elsewhere) { fs::rename(elsewhere + "/file", folder + "/new"); }},
        {"rename out", true, [](auto& folder, auto& elsewhere) { fs::rename(folder + "/file", elsewhere + "/new"); }},
        {"rename within", true, [](auto& folder, auto&) { fs::rename(folder + "/file", folder + "/new"); }},
        {"delete", true, [](auto& folder, auto&) { fs::remove(folder + "/file"); }},
        {"new folder", true, [](auto& folder, auto&) { fs::create_directory(folder + "/new"); }},
        {"hard link", true, [](auto& folder, auto&) { fs::create_hard_link(folder + "/file", folder + "/new"); }},
        {"delete all of it", true, [](auto& folder, auto&) { fs::remove_all(folder); }},
        {"rename away", true, [](auto& folder, auto& elsewhere) { fs::rename(folder, elsewhere + "/moved"); }},
    };
    GuardedLoop loop(GetParam());
    const test::TemporaryFolder temporary;
    std::map<std::string, int> calls;
    std::vector<std::unique_ptr<DirectorySource>> sources;
    for (const auto& [name, isTold, change] : kChanges) {
        for (const std::string& folder : {temporary / name, temporary / name + "-elsewhere"}) {
            fs::create_directories(folder + "/sub");
            std::ofstream(folder + "/file") << "content";
        }
        sources.push_back(loop.watchDirectory(temporary / name, [&calls, key = std::string(name)] { ++calls[key]; }));
        ASSERT_NE(sources.back(), nullptr) << name;
    }
    for (const auto& each : kChanges) each.change(temporary / each.name, temporary / each.name + "-elsewhere");
    loop.settle(GetParam());
    for (const auto& each : kChanges) EXPECT_EQ(calls[each.name] > 0, each.isTold) << each.name;
}

TEST_P(EveryWayOfWatching, NeverCallsASourceThatIsGone) {
    GuardedLoop loop(GetParam());
    const test::TemporaryFolder folder;
    std::unique_ptr<DirectorySource> first, second;
    std::vector<std::string> calls;
    // Each destroys both, itself first; what it has captured is used afterwards.
    const auto handler = [&](const std::string& name) {
        return [&, name] {
            first.reset();
            second.reset();
            calls.push_back(name);
        };
    };
    first = loop.watchDirectory(folder.path(), handler("the name of the one called"));
    second = loop.watchDirectory(folder.path(), handler("the name of the one called"));
    auto unheard = loop.watchDirectory(folder.path(), [] { ADD_FAILURE() << "called after its end"; });
    folder.write("a", "");
    unheard.reset();
    loop.settle(GetParam());
    EXPECT_EQ(calls, std::vector<std::string>{"the name of the one called"});
}

TEST_P(EveryWayOfWatching, GivesNoSourceForWhatCannotBeOpened) {
    GuardedLoop loop(GetParam());
    const test::TemporaryFolder folder;
    const auto watched = [&](const std::string& path) { return loop.watchDirectory(path, [] {}) != nullptr; };
    EXPECT_FALSE(watched(folder / "missing"));
    EXPECT_FALSE(watched(folder.write("file", "")));
    fs::create_directory(folder / "closed");
    EXPECT_TRUE(watched(folder / "closed"));
    fs::permissions(folder / "closed", fs::perms::none);
    const auto user = ::geteuid();
    ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);  // root may open everything
    EXPECT_FALSE(watched(folder / "closed"));
    ASSERT_EQ(::seteuid(user), 0);
}

TEST(UvEventLoop, LooksAtTheFolderWhereTheKernelWatchesNoMore) {
    std::vector<std::string> lines;
    util::setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    GuardedLoop loop;
    const test::TemporaryFolder folder;
    int calls = 0;
    // Room for one more descriptor: the folder opens, inotify does not.
    const int lowestFree = ::dup(STDIN_FILENO);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit low{static_cast<rlim_t>(lowestFree) + 1, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    auto source = loop.watchDirectory(folder.path(), [&] { ++calls; });
    source = loop.watchDirectory(folder.path(), [&] { ++calls; });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    util::setLogSink(nullptr);
    ASSERT_NE(source, nullptr);
    ASSERT_EQ(lines.size(), 1U) << "one line, however often the watch is begun anew";
    EXPECT_NE(lines[0].find(folder.path()), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("once a second"), std::string::npos) << lines[0];
    folder.write("new", "");
    loop.settle(Watching::polling);
    EXPECT_EQ(calls, 1);
}

TEST(UvEventLoop, SurvivesMoreEventsThanTheKernelKeepsAndWorkWithoutEnd) {
    GuardedLoop loop;
    const test::TemporaryFolder folder;
    int calls = 0;
    const auto source = loop.watchDirectory(folder.path(), [&] { ++calls; });
    int limit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
    const util::FileDescriptor files[] = {util::FileDescriptor(::creat((folder / "a").c_str(), 0600)),
                                          util::FileDescriptor(::creat((folder / "b").c_str(), 0600))};
    // Turn by turn: the kernel joins an event to an equal one before it.
    for (int event = 0; event <= limit; ++event) ASSERT_EQ(::pwrite(files[event % 2].number(), "", 1, 0), 1);
    loop.settle();
    EXPECT_GT(calls, 0);
    calls = 0;
    std::function<void()> again = [&] { calls == 0 ? loop.runOnMain(again) : loop.stop(); };
    again();
    folder.write("after", "");
    loop.run();
    EXPECT_EQ(calls, 1);
}

TEST(UvEventLoop, RunsWorkInOrderAndNeverInsideTheCall) {
    GuardedLoop loop;
    std::string calls;
    const auto add = [&](char call) { return [&, call] { calls += call; }; };
    loop.runAfter(0.02, [&] {
        calls += 'y';
        loop.stop();
    });
    loop.runAfter(0.01, add('x'));
    loop.runOnMain(add('a'));
    loop.runAfter(-5, add('b'));
    loop.runAfter(std::numeric_limits<double>::quiet_NaN(), add('c'));
    loop.runOnMain([&] {
        loop.runOnMain(add('e'));
        calls += 'd';
    });
    loop.runAfter(std::numeric_limits<double>::infinity(), add('!'));
    EXPECT_EQ(calls, "");
    loop.run();
    EXPECT_EQ(calls, "abcdexy");
}

TEST(UvEventLoop, StopsBetweenTwoWorksRunsAgainAndWaitsTheWholeDelay) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kDelay{20};
    GuardedLoop loop;
    std::string calls;
    loop.runOnMain([&] {
        calls += 'a';
        loop.stop();
        loop.stop();
    });
    loop.runOnMain([&] { calls += 'b'; });
    loop.runOnMain([] { throw std::runtime_error("thrown by work"); });
    loop.runOnMain([&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(calls, "a");
    EXPECT_THROW(loop.run(), std::runtime_error);
    EXPECT_EQ(calls, "ab");
    loop.run();
    loop.stop();
    loop.run();  // returns at once: nothing else is there to stop it
    // A delay is waited for from the call, however long the work before it kept the loop busy.
    Clock::time_point asked, ran;
    loop.runOnMain([&] {
        for (const auto end = Clock::now() + 2 * kDelay; Clock::now() < end;) continue;
        asked = Clock::now();
        loop.runAfter(0.02, [&] {
            ran = Clock::now();
            loop.stop();
        });
    });
    loop.run();
    EXPECT_GE(ran - asked, kDelay);
}

TEST(UvEventLoop, HandlesASignalOnTheLoop) {
    GuardedLoop loop;
    int calls = 0;
    loop.onSignal(SIGUSR1, [&] {
        ++calls;
        loop.stop();
    });
    for (int expected : {0, 1}) {
        std::raise(SIGUSR1);
        EXPECT_EQ(calls, expected) << "called inside the signal's handler";
        loop.run();
    }
    EXPECT_EQ(calls, 2);
    std::raise(SIGUSR1);  // and one that is under way when the loop ends
}

TEST(UvEventLoop, DropsWhatHasNotRunAtItsEnd) {
    const test::TemporaryFolder folder;
    const auto count = std::make_shared<int>(0);
    {
        GuardedLoop loop;
        std::shared_ptr<DirectorySource> source = loop.watchDirectory(folder.path(), [count] { ++*count; });
        loop.runOnMain([&loop] { loop.stop(); });
        loop.run();
        loop.runAfter(1000, [source] {});  // the source goes with the loop
        loop.runOnMain([count] { ++*count; });
        source.reset();
        folder.write("new", "");
    }
    EXPECT_EQ(*count, 0);
    EXPECT_EQ(count.use_count(), 1) << "something has not been freed";
}

}  // namespace
}  // namespace quillet
