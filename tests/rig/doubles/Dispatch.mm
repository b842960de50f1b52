#import <Block.h>
#import <Foundation/Foundation.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <thread>

#include "tests/rig/doubles/DispatchQueues.h"

// Everything here lives as long as the process: its threads are never joined.
namespace rig {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWorkers = 3;

struct Global {
    Global() : queue([] { global().wakeWorker(); }) {
        for (int i = 0; i < kWorkers; ++i) startThread([this] { work(); });
    }
    static Global& global() {
        static auto* instance = new Global;
        return *instance;
    }
    void wakeWorker() {
        const std::lock_guard guard(mutex);
        awake.notify_one();
    }
    [[noreturn]] void work() {
        while (true) {
            {
                std::unique_lock guard(mutex);
                awake.wait(guard, [this] { return !queue.isEmpty(); });
            }
            if (const auto next = queue.take()) run(*next);
        }
    }

    dispatch_queue_s queue;
    std::mutex mutex;
    std::condition_variable awake;
};

/// Puts work on its queue when it is due.
struct Timers {
    Timers() {
        startThread([this] { work(); });
    }
    static Timers& timers() {
        static auto* instance = new Timers;
        return *instance;
    }
    void add(Clock::time_point when, dispatch_queue_t queue, Work work) {
        const std::lock_guard guard(mutex);
        due.emplace(when, std::pair(queue, std::move(work)));
        changed.notify_one();
    }
    [[noreturn]] void work() {
        std::unique_lock guard(mutex);
        while (true) {
            if (due.empty()) {
                changed.wait(guard);
            } else if (const auto first = due.begin()->first; first > Clock::now()) {
                changed.wait_until(guard, first);
            } else {
                const auto next = due.extract(due.begin());
                next.mapped().first->add(next.mapped().second);
            }
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::multimap<Clock::time_point, std::pair<dispatch_queue_t, Work>> due;
};

}  // namespace

Work workOf(dispatch_block_t block) {
    const std::shared_ptr<const void> copy((const void*)Block_copy(block),
                                           [](const void* kept) { Block_release(kept); });
    return [copy] { ((dispatch_block_t)copy.get())(); };
}

void run(const Work& work) {
    @autoreleasepool {
        work();
    }
}

void startThread(Work body) {
    std::thread([body = std::move(body)] {
        GSRegisterCurrentThread();
        body();
        GSUnregisterCurrentThread();
    }).detach();
}

void misuse(const char* what) {
    std::fprintf(stderr, "the stand-in of the device: %s\n", what);
    std::abort();
}

}  // namespace rig

/// GNUstep and the object runtime never free their tables, which the sanitizer of a build that has one takes for leaks.
extern "C" const char* __asan_default_options();
const char* __asan_default_options() {
    return "detect_leaks=0";
}

dispatch_queue_t dispatch_get_global_queue(long priority, unsigned long flags) {
    if (priority != DISPATCH_QUEUE_PRIORITY_DEFAULT || flags != 0) rig::misuse("a global queue of another priority");
    return &rig::Global::global().queue;
}

dispatch_queue_t dispatch_get_current_queue() {
    return getpid() == gettid() ? dispatch_get_main_queue() : &rig::Global::global().queue;
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
    queue->add(rig::workOf(block));
}

dispatch_time_t dispatch_time(dispatch_time_t base, int64_t nanoseconds) {
    if (base != DISPATCH_TIME_NOW || nanoseconds < 0) rig::misuse("a time that is not after now");
    const auto now = std::chrono::nanoseconds(rig::Clock::now().time_since_epoch()).count();
    // As the real one: never, where it cannot be counted.
    return nanoseconds > INT64_MAX - now ? UINT64_MAX : static_cast<dispatch_time_t>(now + nanoseconds);
}

void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) {
    if (when == UINT64_MAX) return;
    const rig::Clock::time_point due{std::chrono::nanoseconds(static_cast<int64_t>(when))};
    rig::Timers::timers().add(due, queue, rig::workOf(block));
}
