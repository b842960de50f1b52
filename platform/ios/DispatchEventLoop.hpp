#pragma once

#include "platform/EventLoop.hpp"

namespace quillet {

/// libdispatch: a vnode source on the global queue of default priority for a directory, dispatch_after on the queue
/// that is current at the call, and the main queue.
class DispatchEventLoop : public EventLoop {
  public:
    std::unique_ptr<DirectorySource> watchDirectory(const std::string& path, Work changed) override;
    void runAfter(double delaySeconds, Work work) override;
    void runOnMain(Work work) override;
};

}  // namespace quillet
