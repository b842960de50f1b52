#pragma once

#include <dispatch/dispatch.h>

#include <deque>
#include <functional>
#include <mutex>
#include <optional>

/// How the doubles of libdispatch hang together.
namespace rig {

using Work = std::function<void()>;

/// The work that a copy of `block` does.
Work workOf(dispatch_block_t block);
/// Runs it with a pool of its own.
void run(const Work& work);
/// A thread that knows the object runtime, and that nobody waits for.
void startThread(Work body);
/// For calls that the real thing does not survive either.
[[noreturn]] void misuse(const char* what);

}  // namespace rig

/// Work in its order. Whoever serves the queue is woken by `wake`.
struct dispatch_queue_s {
    explicit dispatch_queue_s(void (*wakeServer)()) : wake(wakeServer) {}

    void add(rig::Work work) {
        {
            const std::lock_guard guard(mutex);
            waiting.push_back(std::move(work));
        }
        wake();
    }
    std::optional<rig::Work> take() {
        const std::lock_guard guard(mutex);
        if (waiting.empty()) return std::nullopt;
        rig::Work work = std::move(waiting.front());
        waiting.pop_front();
        return work;
    }
    bool isEmpty() {
        const std::lock_guard guard(mutex);
        return waiting.empty();
    }

    void (*wake)();
    std::mutex mutex;
    std::deque<rig::Work> waiting;
};

/// What dispatch_resume and dispatch_release take here.
struct dispatch_source_s {
    virtual ~dispatch_source_s() = default;
    virtual void setEventHandler(rig::Work handler) = 0;
    virtual void setCancelHandler(rig::Work handler) = 0;
    virtual void resume() = 0;
    virtual void cancel() = 0;
    virtual void release() = 0;
};
