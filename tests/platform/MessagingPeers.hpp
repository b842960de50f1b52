#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/SocketAddress.hpp"
#include "platform/linux/SocketMessagingCenter.hpp"
#include "util/Files.hpp"

/// Both ends of a messaging center for tests, in processes of their own and by hand.
namespace quillet::test {

inline constexpr const char* kName = "com.quillet.test";

/// One process's own loop and center for the root.
struct Center {
    explicit Center(const std::string& root) : paths(root) { center = centers.centerNamed(kName); }
    MessagingCenter* operator->() const { return center.get(); }

    DevicePaths paths;
    UvEventLoop loop;
    SocketMessagingCenters centers{paths, loop};
    std::shared_ptr<MessagingCenter> center;
};

/// Another process; ended with this at the latest. `body`'s result is its exit status; it must not use GoogleTest.
class Child {
  public:
    explicit Child(const std::function<int()>& body) : process_(::fork()) {
        if (process_ != 0) return;
        ::alarm(60);
        ::_exit(body());
    }
    ~Child() {
        if (process_ <= 0) return;
        ::kill(process_, SIGKILL);
        wait();
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Its exit status, or -1 where a signal ended it.
    int wait() {
        int status = 0;
        if (::waitpid(std::exchange(process_, -1), &status, 0) < 0) return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t process_;
};

/// A pipe over which one process tells another that it is so far.
class Gate {
  public:
    Gate() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        in_ = util::FileDescriptor(ends[1]);
        out_ = util::FileDescriptor(ends[0]);
    }
    void open(std::size_t howMany = 1) {
        const std::string bytes(howMany, '.');
        EXPECT_EQ(::write(in_.number(), bytes.data(), howMany), std::ssize(bytes));
    }
    void pass() {
        char byte = 0;
        EXPECT_EQ(::read(out_.number(), &byte, 1), 1);
    }

  private:
    util::FileDescriptor in_, out_;
};

/// Another process that serves the center, from the constructor's end on.
class ServingChild {
  public:
    explicit ServingChild(const std::string& root) : child_([&] { return serve(root); }) { ready_.pass(); }
    int wait() { return child_.wait(); }

  private:
    int serve(const std::string& root) {
        using Answer = std::optional<util::PropertyDictionary>;
        Center center(root);
        int heard = 0;
        if (!center->runServerOnCurrentThread()) return 1;
        const auto answer = [&](const char* name, auto handler) { center->registerForMessageName(name, handler); };
        answer("replaced", [](auto&, auto*) { return Answer({{"first", true}}); });
        answer("replaced", [](auto&, auto*) { return Answer({{"second", true}}); });
        answer("count", [&](auto& name, auto*) { return Answer({{name, ++heard}}); });
        answer("nothing", [](auto&, auto*) { return std::nullopt; });
        answer("repeat", [](auto&, auto* sent) { return sent != nullptr ? *sent : *Answer({{"none", true}}); });
        answer("die", [](auto&, auto*) { return ::raise(SIGKILL), Answer(); });
        answer("stop", [&](auto&, auto*) {
            center->stopServer();
            center.loop.stop();
            return Answer({{"stopped", true}});
        });
        ready_.open();
        center.loop.run();
        return 0;
    }

    Gate ready_;
    Child child_;
};

/// A client that keeps to no rule.
class RawClient {
  public:
    explicit RawClient(const std::string& path, std::span<const std::uint8_t> bytes = {})
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        const auto address = SocketAddress::of(path);
        EXPECT_EQ(::connect(socket_.number(), address->pointer(), address->size()), 0) << path;
        send(bytes);
    }
    /// False where not all of it goes, because the server has hung up.
    bool send(std::span<const std::uint8_t> bytes) {
        return ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
    }
    /// Reads what is there. Whether the server has hung up.
    bool isDropped() {
        std::vector<std::uint8_t> bytes(1 << 16);
        ssize_t count = 0;
        while ((count = ::recv(socket_.number(), bytes.data(), bytes.size(), 0)) > 0) {
            received.insert(received.end(), bytes.begin(), bytes.begin() + count);
        }
        return count == 0 || errno == ECONNRESET;
    }

    std::vector<std::uint8_t> received;

  private:
    util::FileDescriptor socket_;
};

}  // namespace quillet::test
