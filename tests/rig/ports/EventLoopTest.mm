#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include "import/QLDirectoryWatcher.hpp"
#include "platform/ios/IOSPlatform.hpp"
#include "tests/rig/ports/Device.h"

namespace quillet {
namespace {

using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

bool isOpenHere(const std::string& path) {
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(descriptor, gone) == path) return true;
    }
    return false;
}

class DispatchEventLoopTest : public test::Device {
  protected:
    /// Makes and removes a file.
    void change() const { std::filesystem::remove(folder.write("dropped", "")); }

    const std::thread::id mainThread = std::this_thread::get_id();
    DispatchEventLoop loop;
};

TEST_F(DispatchEventLoopTest, RunsWorkOnTheQueueThatItIsFor) {
    std::string calls;
    const auto add = [&](char call) {
        return [&, call] { calls += std::this_thread::get_id() == mainThread ? call : '!'; };
    };
    const auto asked = Clock::now();
    Clock::time_point ran;
    loop.runAfter(0.02, [&] {
        ran = Clock::now();
        add('c')();
        rigStopMainLoop();
    });
    loop.runAfter(-1, add('b'));
    loop.runAfter(std::numeric_limits<double>::infinity(), add('?'));
    loop.runOnMain(add('a'));
    EXPECT_EQ(calls, "") << "inside the call";
    ASSERT_TRUE(rigRunMainLoop(test::kTooLong));
    EXPECT_THAT(calls, testing::AnyOf("abc", "bac"));
    EXPECT_GE(ran - asked, std::chrono::milliseconds(20));
}

TEST_F(DispatchEventLoopTest, TellsOfAChangeOffTheMainThreadAndGoesOnThere) {
    std::atomic<bool> onMain[2] = {true, true};
    const auto source = loop.watchDirectory(folder.path(), [&] {
        onMain[0] = std::this_thread::get_id() == mainThread;
        loop.runAfter(0, [&] {
            onMain[1] = std::this_thread::get_id() == mainThread;
            rigStopMainLoop();
        });
    });
    ASSERT_NE(source, nullptr);
    change();
    ASSERT_TRUE(rigRunMainLoop(test::kTooLong));
    EXPECT_FALSE(onMain[0]);
    EXPECT_FALSE(onMain[1]) << "work goes on on the queue that asked for it";
    EXPECT_EQ(loop.watchDirectory(folder / "missing", [] {}), nullptr);
}

TEST_F(DispatchEventLoopTest, NeverCallsASourceThatIsGone) {
    for (int round = 0; round < 300; ++round) {
        struct Seen {
            std::atomic<bool> began = false, gone = false, late = false;
        };
        const auto seen = std::make_shared<Seen>();
        auto source = loop.watchDirectory(folder.path(), [seen] {
            seen->began = true;
            for (int i = 0; i < 200; ++i) {
                if (seen->gone) seen->late = true;
                std::this_thread::yield();
            }
        });
        change();
        while (round % 2 == 0 && !seen->began) std::this_thread::yield();
        source.reset();
        seen->gone = true;
        change();
        ASSERT_FALSE(seen->late) << "in round " << round;
    }
}

TEST_F(DispatchEventLoopTest, LetsAHandlerEndItsOwnSourceAndClosesIt) {
    std::unique_ptr<DirectorySource> source;
    std::string name;
    const auto kept = std::make_shared<int>();
    source = loop.watchDirectory(folder.path(), [&, kept, text = std::string("what it captured, afterwards")] {
        source.reset();
        name = text;
        rigStopMainLoop();
    });
    EXPECT_TRUE(isOpenHere(folder.path()));
    change();
    ASSERT_TRUE(rigRunMainLoop(test::kTooLong));
    EXPECT_EQ(name, "what it captured, afterwards");
    const auto end = Clock::now() + std::chrono::duration<double>(test::kTooLong);
    while ((isOpenHere(folder.path()) || kept.use_count() != 1) && Clock::now() < end) std::this_thread::yield();
    EXPECT_FALSE(isOpenHere(folder.path()));
    EXPECT_EQ(kept.use_count(), 1) << "something has not been freed";
}

TEST_F(DispatchEventLoopTest, CarriesADirectoryWatcherToBothNotices) {
    IOSPlatform platform{folder.path()};
    const std::string drop = folder / "drop";
    std::filesystem::create_directory(drop);
    const auto watcher = QLDirectoryWatcher::directoryWatcherAtPath(drop, platform.ports);
    ASSERT_NE(watcher, nullptr);
    EXPECT_FALSE(watcher->startWatching());
    std::vector<std::string> notices;
    const auto observe = [&](std::string_view name, const char* noted, bool last) {
        platform.notifications.addObserver(this, name, watcher.get(), [&notices, this, noted, last] {
            notices.push_back(std::this_thread::get_id() == mainThread ? noted : "off the main thread");
            if (last) rigStopMainLoop();
        });
    };
    observe(QLDirectoryDidStartChangesNotification, "start", false);
    observe(QLDirectoryDidFinishChangesNotification, "finish", true);
    const auto dropped = Clock::now();
    std::filesystem::rename(folder.write("SONG.mp3", "audio"), drop + "/SONG.mp3");
    ASSERT_TRUE(rigRunMainLoop(test::kTooLong));
    EXPECT_GE(Clock::now() - dropped, std::chrono::milliseconds(1200));
    EXPECT_THAT(notices, ElementsAre("start", "finish"));
    EXPECT_TRUE(watcher->stopWatching());
    EXPECT_FALSE(watcher->stopWatching());
    platform.notifications.removeObserver(this);
}

using FoundationNotificationCenterTest = test::Device;

TEST_F(FoundationNotificationCenterTest, CallsThoseWhoAskedUntilTheyAreRemoved) {
    std::string calls;
    const auto called = [&] {
        std::ranges::sort(calls);  // the order is the center's
        return std::exchange(calls, "");
    };
    const int first = 0, second = 0;
    {
        FoundationNotificationCenter center;
        const auto add = [&](char call) { return [&calls, call] { calls += call; }; };
        center.addObserver(&first, "name", &center, add('a'));
        center.addObserver(&second, "name", &center, add('b'));
        center.addObserver(&first, "other", &center, add('c'));
        center.addObserver(&first, "name", nullptr, add('d'));
        center.addObserver(&first, "name", &center, add('e'));
        center.post("name", &center);
        EXPECT_EQ(called(), "abe");
        center.post("name", nullptr);
        center.post("other", &second);
        EXPECT_EQ(called(), "d") << "no object is an object like any other";
        center.post("other", &center);
        EXPECT_EQ(called(), "c");
        center.removeObserver(&first);
        center.removeObserver(&first);
        center.post("name", &center);
        EXPECT_EQ(called(), "b");
        center.removeObserver(&second);
        // Each ends itself and the other, and what it captured is used afterwards; what it adds is for later.
        for (const int* observer : {&first, &second}) {
            center.addObserver(observer, "name", &center, [&, text = std::string("one of the two, and only one")] {
                center.removeObserver(&first);
                center.removeObserver(&second);
                center.addObserver(&second, "name", &center, add('z'));
                calls = text;
            });
        }
        center.post("name", &center);
        EXPECT_EQ(std::exchange(calls, ""), "one of the two, and only one");
        center.post("name", &center);
        EXPECT_EQ(called(), "z");
    }
    const auto kept = std::make_shared<int>();
    FoundationNotificationCenter().addObserver(&first, "name", nullptr, [kept] { FAIL() << "called after the end"; });
    EXPECT_EQ(kept.use_count(), 1) << "a handler has outlived its center";
}

}  // namespace
}  // namespace quillet
