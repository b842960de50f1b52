#include "import/QLDirectoryWatcher.hpp"

#include <gmock/gmock.h>

#include <cmath>

#include "tests/import/FakePlatform.hpp"

namespace quillet::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WatcherTest : public testing::Test {
  protected:
    void SetUp() override {
        watcher = QLDirectoryWatcher::directoryWatcherAtPath(platform.root.path(), platform.ports);
        ASSERT_NE(watcher, nullptr);
        for (const auto& [name, list] : {std::pair(QLDirectoryDidStartChangesNotification, &starts),
                                         std::pair(QLDirectoryDidFinishChangesNotification, &finishes)})
            platform.notifications.addObserver(this, name, watcher.get(), [this, list] { list->push_back(tenths()); });
    }
    int tenths() const { return static_cast<int>(std::lround(platform.loop.now * 10)); }
    void at(double time, std::function<void()> work) { platform.loop.due.emplace(time, std::move(work)); }
    void writeAndTell(const char* name, const char* content) {
        platform.root.write(name, content);
        platform.loop.changed();
    }

    FakePlatform platform;
    std::shared_ptr<QLDirectoryWatcher> watcher;
    std::vector<int> starts, finishes;  // in tenths of a second
};

TEST_F(WatcherTest, TellsOneStartAndOneFinishSixQuietSnapshotsAfterTheLastGrowth) {
    writeAndTell("a.mp3", "1");
    at(0.5, [&] { platform.root.write("a.mp3", "12"); });
    at(1.7, [&] { platform.root.write("a.mp3", "123"); });
    platform.loop.runUntil(60);
    EXPECT_THAT(starts, ElementsAre(0));
    EXPECT_THAT(finishes, ElementsAre(18 + 12));  // seen at 1.8, then six times 0.2
}

TEST_F(WatcherTest, AChangeBetweenTwoSnapshotsOfTheSameNameAndSizeIsNotSeen) {
    writeAndTell("a.mp3", "1234");
    at(0.5, [&] { platform.root.write("a.mp3", "4321"); });
    platform.loop.runUntil(60);
    EXPECT_THAT(finishes, ElementsAre(12));
}

TEST_F(WatcherTest, AnEventWhileTheQuietIsCountedBeginsASecondCountWithNoticesOfItsOwn) {
    writeAndTell("a.mp3", "1");
    at(0.1, [&] { platform.loop.changed(); });  // still changing: nothing more
    at(0.7, [&] { writeAndTell("b.mp3", "1"); });
    platform.loop.runUntil(60);
    EXPECT_THAT(starts, ElementsAre(0, 7));
    ASSERT_EQ(finishes.size(), 2U);
    EXPECT_GT(finishes[0], 7);
}

TEST_F(WatcherTest, StoppedItHearsNothingMoreButACountUnderWayEnds) {
    writeAndTell("a.mp3", "1");
    at(0.3, [&] {
        EXPECT_TRUE(watcher->stopWatching());
        EXPECT_FALSE(watcher->stopWatching());
        EXPECT_FALSE(platform.loop.changed);
    });
    platform.loop.runUntil(60);
    EXPECT_THAT(finishes, ElementsAre(12));
    EXPECT_TRUE(watcher->startWatching());
    EXPECT_FALSE(watcher->startWatching());
    EXPECT_TRUE(platform.loop.changed);
}

TEST_F(WatcherTest, WatchesAgainWhereverWatchedPathSays) {
    watcher->stopWatching();
    watcher->setWatchedPath(platform.root / "missing");
    EXPECT_FALSE(watcher->startWatching());
    EXPECT_EQ(QLDirectoryWatcher::directoryWatcherAtPath(platform.root / "missing", platform.ports), nullptr);
    EXPECT_EQ(QLDirectoryWatcher::directoryWatcherAtPath(std::nullopt, platform.ports), nullptr);
}

TEST_F(WatcherTest, GoesWithItsLastOwnerAndEndsTheWatch) {
    watcher.reset();
    EXPECT_FALSE(platform.loop.changed);
    platform.loop.runUntil(60);
    EXPECT_THAT(starts, IsEmpty());
}

}  // namespace
}  // namespace quillet::test
