#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string_view>

#include "platform/ios/DistributedMessagingCenter.hpp"
#include "tests/rig/ports/Device.h"

/// An object of a host's own.
@interface QLTestTarget : NSObject {
  @public
    NSString* _heard;
}
- (id)heard:(NSString*)name with:(NSDictionary*)userInfo;
@end

@implementation QLTestTarget
- (id)heard:(NSString*)name with:(NSDictionary*)userInfo {
    _heard = [[NSString alloc] initWithFormat:@"%@ %@", name, rigDescription(userInfo)];
    return nil;
}
@end

namespace quillet {
namespace {

using util::PropertyDictionary;
using Answer = std::optional<PropertyDictionary>;

constexpr const char* kName = "com.quillet.test";

/// The other process: serves the center until its messages end it. It never gets as far as GoogleTest.
int serve() {
    DistributedMessagingCenters centers;
    const auto center = centers.centerNamed(kName);
    const auto answer = [&](const char* name, MessagingCenter::Handler handler) {
        center->registerForMessageName(name, std::move(handler));
    };
    answer("replaced", [](auto&, auto*) { return Answer({{"first", true}}); });
    answer("replaced", [&](auto&, auto*) {
        answer("replaced", [](auto&, auto*) { return Answer({{"third", true}}); });
        return Answer({{"second", true}});
    });
    answer("nothing", [](auto&, auto*) { return std::nullopt; });
    answer("repeat", [](auto& name, auto* sent) { return sent != nullptr ? *sent : Answer({{name, "none"}}); });
    answer("die", [](auto&, auto*) -> Answer { _exit(1); });
    answer("stop", [&](auto&, auto*) {
        center->stopServer();
        return Answer({{"stopped", true}});
    });
    answer("end", [&](auto&, auto*) {
        rigStopMainLoop();
        return std::nullopt;
    });
    center->runServerOnCurrentThread();
    (void)!write(STDOUT_FILENO, "!", 1);
    return rigRunMainLoop(test::kTooLong) ? 0 : 2;
}

class DistributedMessagingCenterTest : public test::Device {
  protected:
    ~DistributedMessagingCenterTest() override {
        if (server_ <= 0) return;
        kill(server_, SIGKILL);
        wait();
    }
    /// Starts the other process, and comes back when it serves.
    void startServer() {
        std::array<int, 2> ready{};
        ASSERT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ready[1], STDOUT_FILENO);
        std::string program = std::filesystem::read_symlink("/proc/self/exe"), argument = "serve";
        std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
        ASSERT_EQ(posix_spawn(&server_, program.c_str(), &actions, nullptr, arguments.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(ready[1]);
        char byte = 0;
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
    }
    /// The exit status of the other process.
    int wait() {
        int status = 0;
        return waitpid(std::exchange(server_, -1), &status, 0) > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    Answer call(const char* name, Answer userInfo = {}) {
        return center->sendMessageAndReceiveReplyName(name, userInfo ? &*userInfo : nullptr);
    }

    DistributedMessagingCenters centers;
    const std::shared_ptr<MessagingCenter> center = centers.centerNamed(kName);

  private:
    pid_t server_ = -1;
};

TEST_F(DistributedMessagingCenterTest, ReachesAnotherProcess) {
    const PropertyDictionary info{{"text", "Größe"}, {"number", -1}, {"list", util::PropertyArray{true, 0.5}}};
    EXPECT_FALSE(center->sendMessageName("repeat", nullptr));
    EXPECT_EQ(call("repeat"), std::nullopt);
    startServer();
    EXPECT_EQ(call("repeat"), (PropertyDictionary{{"repeat", "none"}}));
    EXPECT_EQ(call("repeat", info), info);
    EXPECT_EQ(call("repeat", PropertyDictionary()), PropertyDictionary());
    EXPECT_EQ(call("nothing"), PropertyDictionary());
    EXPECT_EQ(call("unknown"), std::nullopt);
    EXPECT_EQ(call("replaced"), (PropertyDictionary{{"second", true}}));
    EXPECT_EQ(call("replaced"), (PropertyDictionary{{"third", true}}));
    EXPECT_TRUE(center->sendMessageName("unknown", &info));
    EXPECT_EQ(centers.centerNamed("com.quillet.other")->sendMessageName("end", nullptr), false);
    EXPECT_TRUE(center->sendMessageName("end", nullptr));
    EXPECT_EQ(wait(), 0);
    startServer();
    EXPECT_EQ(call("stop"), (PropertyDictionary{{"stopped", true}}));
    EXPECT_FALSE(center->sendMessageName("repeat", nullptr));
}

TEST_F(DistributedMessagingCenterTest, HearsNoReplyFromAServerThatEnds) {
    startServer();
    EXPECT_EQ(call("die"), std::nullopt);
    EXPECT_EQ(wait(), 1);
    EXPECT_FALSE(center->sendMessageName("repeat", nullptr));
}

TEST_F(DistributedMessagingCenterTest, CallsAnObjectOfTheHost) {
    const auto own = centers.distributedCenterNamed(kName);
    EXPECT_EQ(own, center) << "the same object for the same name";
    QLTestTarget* target = [[[QLTestTarget alloc] init] autorelease];
    const auto kept = std::make_shared<int>();
    own->registerForMessageName("message", [kept](auto&, auto*) { return ++*kept, std::nullopt; });
    own->registerForMessageName("message", target, @selector(heard:with:));
    EXPECT_EQ(kept.use_count(), 1) << "the handler before is kept";
    EXPECT_EQ([target retainCount], 1U) << "the host's object is not kept";
    own->runServerOnCurrentThread();
    const PropertyDictionary info{{"key", 1}};
    EXPECT_TRUE(center->sendMessageName("message", &info));
    ASSERT_TRUE(rigRunMainLoop(test::kTooLong, [&] { return target->_heard != nil; }));
    EXPECT_STREQ([target->_heard UTF8String], "message {key = 1}");
    EXPECT_EQ(*kept, 0);
    own->stopServer();
    own->stopServer();
    EXPECT_FALSE(center->sendMessageName("message", nullptr));
    [target->_heard release];
}

TEST_F(DistributedMessagingCenterTest, LeavesNoHandlerBehind) {
    int heard = 0;
    const auto kept = std::make_shared<int>();
    {
        const auto brief = centers.centerNamed("com.quillet.brief");
        brief->registerForMessageName("message", [&, kept](auto&, auto*) { return ++heard, std::nullopt; });
        brief->runServerOnCurrentThread();
        EXPECT_EQ(kept.use_count(), 2);
    }
    EXPECT_EQ(kept.use_count(), 1);
    const auto again = centers.centerNamed("com.quillet.brief");
    again->sendMessageName("message", nullptr);
    (void)rigRunMainLoop(0);
    EXPECT_EQ(heard, 0);
    again->stopServer();
}

}  // namespace
}  // namespace quillet

int main(int count, char** arguments) {
    if (count == 2 && std::string_view(arguments[1]) == "serve") {
        @autoreleasepool {
            return quillet::serve();
        }
    }
    testing::InitGoogleMock(&count, arguments);
    return RUN_ALL_TESTS();
}
