#import <Foundation/Foundation.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <map>
#include <vector>

#include "tests/rig/doubles/DispatchQueues.h"
#import "tests/rig/doubles/Doubles.h"

namespace {

using Clock = std::chrono::steady_clock;

struct MainLoop {
    /// Not freed: threads may wake it at the very end.
    static MainLoop& main() {
        static auto* instance = new MainLoop;
        return *instance;
    }
    void wake() const {
        const std::uint64_t one = 1;
        (void)!write(alarm, &one, sizeof one);
    }
    void goToSleep(Clock::time_point until);

    const int alarm = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::atomic<bool> stopped = false;
    std::map<int, std::function<void()>> handlers;
    std::vector<int> readable;  ///< found at the last look, and not handled yet
};

void MainLoop::goToSleep(Clock::time_point until) {
    std::vector<pollfd> polled{{alarm, POLLIN, 0}};
    for (const auto& [descriptor, handler] : handlers) polled.push_back({descriptor, POLLIN, 0});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    poll(polled.data(), polled.size(), static_cast<int>(std::clamp<long>(left, 0, INT_MAX)));
    std::uint64_t alarms = 0;
    (void)!read(alarm, &alarms, sizeof alarms);
    for (const pollfd& each : polled)
        if (each.fd != alarm && each.revents != 0) readable.push_back(each.fd);
}

}  // namespace

[[clang::no_destroy]] struct dispatch_queue_s _dispatch_main_q([] { MainLoop::main().wake(); });

bool rigRunMainLoop(double seconds, const std::function<bool()>& condition) {
    if (getpid() != gettid()) rig::misuse("the main loop runs on the main thread");
    MainLoop& loop = MainLoop::main();
    const auto end = Clock::now() +
                     std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(std::min(seconds, 1e6)));
    while (true) {
        if (loop.stopped.exchange(false)) return true;
        if (condition && condition()) return true;
        if (!loop.readable.empty()) {
            const auto handler = loop.handlers.find(loop.readable.back());
            loop.readable.pop_back();
            if (handler == loop.handlers.end()) continue;  // forgotten meanwhile
            const auto kept = handler->second;
            rig::run(kept);
        } else {
            const auto work = _dispatch_main_q.take();
            if (work) rig::run(*work);
            loop.goToSleep(work || !_dispatch_main_q.isEmpty() ? Clock::now() : end);
            if (Clock::now() >= end && !work && loop.readable.empty() && _dispatch_main_q.isEmpty()) return false;
        }
    }
}

void rigStopMainLoop() {
    MainLoop::main().stopped = true;
    MainLoop::main().wake();
}

void rigWhenReadable(int descriptor, std::function<void()> handler) {
    MainLoop::main().handlers[descriptor] = std::move(handler);
}

void rigForget(int descriptor) {
    MainLoop::main().handlers.erase(descriptor);
}
