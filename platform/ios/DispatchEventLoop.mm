#include "platform/ios/DispatchEventLoop.hpp"

#include <dispatch/dispatch.h>
#include <fcntl.h>
#import <objc/objc.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#import "platform/ios/SystemClasses.h"

namespace quillet {

namespace {

#ifdef O_EVTONLY
constexpr int kOpenForEvents = O_EVTONLY;
#else
constexpr int kOpenForEvents = O_RDONLY;  // the nearest where a descriptor cannot be for events alone
#endif

using SharedWork = std::shared_ptr<const EventLoop::Work>;

SharedWork shared(EventLoop::Work work) {
    return std::make_shared<const EventLoop::Work>(std::move(work));
}

/// The work may allocate, and a queue's thread frees nothing by itself before it has been idle.
void run(const SharedWork& work) {
    @autoreleasepool {
        (*work)();
    }
}

/// Held while a watch's work runs and while one ends, so that none runs, or goes on, once its source is gone. One for
/// all: the work of one watch may end another. The same thread may take it again, for work that ends its own watch.
id watchLock() {
    static id lock = [[NSObject alloc] init];
    return lock;
}

/// Outlives its source by the events that are under way.
struct Watch {
    SharedWork changed;  ///< null once the source is gone

    void tell() {
        @synchronized(watchLock()) {
            const SharedWork kept = changed;
            if (kept) run(kept);
        }
    }
    void end() {
        @synchronized(watchLock()) {
            changed = nullptr;
        }
    }
};

class VnodeSource : public DirectorySource {
  public:
    VnodeSource(dispatch_source_t source, std::shared_ptr<Watch> watch) : source_(source), watch_(std::move(watch)) {}
    ~VnodeSource() override {
        dispatch_source_cancel(source_);
        dispatch_release(source_);
        watch_->end();
    }
    VnodeSource(const VnodeSource&) = delete;
    VnodeSource& operator=(const VnodeSource&) = delete;

  private:
    dispatch_source_t source_;
    std::shared_ptr<Watch> watch_;
};

/// A negative delay, and one that is no number, counts as none; one too long to count never ends.
dispatch_time_t timeAfter(double seconds) {
    const double nanoseconds = seconds > 0 ? seconds * static_cast<double>(NSEC_PER_SEC) : 0;
    constexpr double kLongest = static_cast<double>(INT64_MAX);
    return dispatch_time(DISPATCH_TIME_NOW,
                         nanoseconds < kLongest ? static_cast<std::int64_t>(nanoseconds) : INT64_MAX);
}

}  // namespace

std::unique_ptr<DirectorySource> DispatchEventLoop::watchDirectory(const std::string& path, Work changed) {
    const int descriptor = open(path.c_str(), kOpenForEvents);
    if (descriptor < 0) return nullptr;
    dispatch_source_t source =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_VNODE, static_cast<std::uintptr_t>(descriptor),
                               DISPATCH_VNODE_WRITE, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0));
    if (source == nullptr) {
        close(descriptor);
        return nullptr;
    }
    const auto watch = std::make_shared<Watch>(Watch{shared(std::move(changed))});
    dispatch_source_set_event_handler(source, ^{
      watch->tell();
    });
    dispatch_source_set_cancel_handler(source, ^{
      close(descriptor);
    });
    dispatch_resume(source);
    return std::make_unique<VnodeSource>(source, watch);
}

void DispatchEventLoop::runAfter(double delaySeconds, Work work) {
    const SharedWork kept = shared(std::move(work));
    dispatch_after(timeAfter(delaySeconds), dispatch_get_current_queue(), ^{
      run(kept);
    });
}

void DispatchEventLoop::runOnMain(Work work) {
    const SharedWork kept = shared(std::move(work));
    dispatch_async(dispatch_get_main_queue(), ^{
      run(kept);
    });
}

}  // namespace quillet
