#include "platform/linux/SocketMessagingCenter.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/MessageFrames.hpp"
#include "platform/linux/SocketAddress.hpp"
#include "platform/linux/SocketPath.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/platform/MessagingPeers.hpp"

namespace quillet {
namespace {

namespace fs = std::filesystem;
using test::Center;
using test::Child;
using test::Gate;
using test::kName;
using test::RawClient;
using test::ServingChild;
using util::PropertyDictionary;

PropertyDictionary everyType() {
    return {{"text", "Ærøskøbing"},
            {"number", std::uint64_t{4294967295}},
            {"truth", true},
            {"data", util::Data({0, 1, 255})},
            {"array", util::PropertyArray{PropertyDictionary{}, "a < b & c"}}};
}

TEST(SocketMessagingCenter, CarriesMessagesAndRepliesBetweenProcesses) {
    const test::TemporaryFolder root;
    ServingChild server(root.path());
    Center center(root.path());
    const PropertyDictionary sent = everyType();
    PropertyDictionary large = {{"data", util::Data(std::vector<std::uint8_t>(2'000'000, 'x'))}};
    struct RoundTrip {
        const char* name;
        const PropertyDictionary* userInfo;
        std::optional<PropertyDictionary> reply;
    };
    const RoundTrip kRoundTrips[] = {
        {"repeat", &sent, sent},          {"repeat", nullptr, PropertyDictionary{{"none", true}}},
        {"repeat", &large, large},        {"nothing", &sent, PropertyDictionary{}},
        {"unknown", &sent, std::nullopt}, {"replaced", nullptr, PropertyDictionary{{"second", true}}},
    };
    for (const auto& [name, userInfo, reply] : kRoundTrips) {
        EXPECT_EQ(center->sendMessageAndReceiveReplyName(name, userInfo), reply) << name;
    }
    EXPECT_TRUE(center->sendMessageName("count", nullptr));
    EXPECT_TRUE(center->sendMessageName("unknown", nullptr));
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("count", nullptr), (PropertyDictionary{{"count", 2}}));

    large["data"] = util::Data(std::vector<std::uint8_t>(util::kLargestMessage, 'x'));
    EXPECT_FALSE(center->sendMessageName("repeat", &large));

    EXPECT_EQ(center->sendMessageAndReceiveReplyName("stop", nullptr), (PropertyDictionary{{"stopped", true}}));
    EXPECT_EQ(server.wait(), 0);
    EXPECT_FALSE(fs::exists(socketPath(center.paths, kName)));
}

TEST(SocketMessagingCenter, SaysWhereNobodyServesOrTheServerDies) {
    const test::TemporaryFolder root;
    Center center(root.path());
    const auto hearsNothing = [&] {
        EXPECT_FALSE(center->sendMessageName("count", nullptr));
        EXPECT_EQ(center->sendMessageAndReceiveReplyName("count", nullptr), std::nullopt);
    };
    hearsNothing();
    ServingChild server(root.path());
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("die", nullptr), std::nullopt);
    EXPECT_EQ(server.wait(), -1);
    EXPECT_TRUE(fs::is_socket(socketPath(center.paths, kName))) << "what a killed server leaves";
    hearsNothing();
}

TEST(SocketMessagingCenter, DoesNotWaitLongForAServerThatReadsNothing) {
    const test::TemporaryFolder root;
    Center sender(root.path());
    const auto address = SocketAddress::of(socketPath(sender.paths, kName));
    const util::FileDescriptor busy(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(busy.number(), address->pointer(), address->size()), 0);
    ASSERT_EQ(::listen(busy.number(), 0), 0);
    const PropertyDictionary large = {{"data", util::Data(std::vector<std::uint8_t>(2'000'000, 'x'))}};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(sender->sendMessageName("large", &large)) << "the socket's buffer is full";
    EXPECT_FALSE(sender->sendMessageName("small", nullptr)) << "the backlog is full of the one before";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(SocketMessagingCenter, LetsOneProcessAloneServe) {
    const test::TemporaryFolder root;
    constexpr std::size_t kContenders = 6;
    for (int round = 0; round < 10; ++round) {
        {
            ServingChild killed(root.path());  // its socket is left behind
            Center second(root.path());
            EXPECT_FALSE(second->runServerOnCurrentThread());
            const std::string lock = socketPath(second.paths, kName) + ".lock";
            ASSERT_TRUE(fs::remove(lock));
            EXPECT_FALSE(second->runServerOnCurrentThread()) << "not even where somebody removed the lock";
            EXPECT_NE(second->sendMessageAndReceiveReplyName("nothing", nullptr), std::nullopt);
        }
        Gate start, done, end;
        std::array<std::unique_ptr<Child>, kContenders> contenders;
        for (auto& contender : contenders) {
            contender = std::make_unique<Child>([&] {
                Center center(root.path());
                start.pass();
                const int serves = center->runServerOnCurrentThread() ? 1 : 0;
                done.open();
                end.pass();  // nobody stops before all have tried
                return serves;
            });
        }
        start.open(kContenders);
        for (std::size_t i = 0; i < kContenders; ++i) done.pass();
        end.open(kContenders);
        int serving = 0;
        for (const auto& contender : contenders) serving += contender->wait();
        EXPECT_EQ(serving, 1) << "round " << round;
    }
}

TEST(SocketMessagingCenter, RemovesItsOwnSocketAloneAndNoFileInItsPlace) {
    const test::TemporaryFolder root;
    Center center(root.path());
    const std::string path = socketPath(center.paths, kName);
    std::ofstream(path) << "not a socket";
    EXPECT_FALSE(center->runServerOnCurrentThread());
    EXPECT_EQ(test::contentOf(path), "not a socket");
    fs::remove(path);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(center->runServerOnCurrentThread());
        EXPECT_TRUE(center->runServerOnCurrentThread()) << "it serves already";
        EXPECT_TRUE(fs::is_socket(path));
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        center->stopServer();
        center->stopServer();
        EXPECT_FALSE(fs::exists(path));
    }
    {
        // Another process that has just begun to serve, and does not listen yet.
        const util::FileDescriptor lock(::open((path + ".lock").c_str(), O_RDWR));
        ASSERT_EQ(::flock(lock.number(), LOCK_EX), 0);
        EXPECT_FALSE(center->runServerOnCurrentThread());
    }
    EXPECT_TRUE(center->runServerOnCurrentThread());
    fs::remove(path);
    std::ofstream(path) << "another's";
    center.center.reset();  // serves no more
    EXPECT_EQ(test::contentOf(path), "another's");
}

TEST(SocketMessagingCenter, DeliversToItselfWithoutTheSocket) {
    const test::TemporaryFolder root;
    Center center(root.path());
    EXPECT_EQ(center.centers.centerNamed(kName), center.center);
    EXPECT_NE(center.centers.centerNamed("another"), center.center);
    ASSERT_TRUE(center->runServerOnCurrentThread());
    const PropertyDictionary sent = everyType();
    center->registerForMessageName("repeat", [](auto&, auto* userInfo) { return *userInfo; });
    center->registerForMessageName("end", [&, last = std::string("used after the center has gone")](auto&, auto*) {
        center->registerForMessageName("end", nullptr);
        center->stopServer();
        center.center.reset();
        return PropertyDictionary{{"text", last}};
    });
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("repeat", &sent), sent);
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("unknown", nullptr), std::nullopt);
    EXPECT_TRUE(center->sendMessageName("repeat", &sent));
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("end", nullptr),
              (PropertyDictionary{{"text", "used after the center has gone"}}));
    EXPECT_EQ(center.center, nullptr);
}

TEST(SocketMessagingCenter, HearsNoOtherUser) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    const test::TemporaryFolder root;
    ServingChild server(root.path());
    Center center(root.path());
    const std::string path = socketPath(center.paths, kName);
    // As open as can be, so that nothing but the question who is asking stands in the way.
    for (fs::path at = path; at != fs::path(root.path()).parent_path(); at = at.parent_path())
        ::chmod(at.c_str(), 0777);
    const auto frame = frameOf(Message{"count", std::nullopt, true});
    Child stranger([&] {
        if (::setuid(65534) != 0) return 2;
        RawClient client(path, *frame);
        while (!client.isDropped()) continue;
        return client.received.empty() ? 0 : 1;
    });
    EXPECT_EQ(stranger.wait(), 0);
    EXPECT_EQ(center->sendMessageAndReceiveReplyName("count", nullptr), (PropertyDictionary{{"count", 1}}));
}

}  // namespace
}  // namespace quillet
