#pragma once

#include <functional>
#include <memory>
#include <string>

namespace quillet {

/// A directory that is being watched; destroying it ends the watch and closes what was open for it.
class DirectorySource {
  public:
    virtual ~DirectorySource() = default;
};

/// Queues of work (libdispatch on the device; on Linux one thread serves all).
class EventLoop {
  public:
    using Work = std::function<void()>;

    virtual ~EventLoop() = default;

    /// Calls `changed` on the global queue of default priority after entries of the directory came, went or were
    /// renamed; a write to a file in it is no such event. Several changes may give one call. Null where the directory
    /// cannot be opened. No call is made once the source is destroyed.
    virtual std::unique_ptr<DirectorySource> watchDirectory(const std::string& path, Work changed) = 0;

    /// Runs `work` once, `delaySeconds` from now or a little later, on the queue that is current at this call.
    virtual void runAfter(double delaySeconds, Work work) = 0;

    /// Runs `work` on the main queue, after this call has returned.
    virtual void runOnMain(Work work) = 0;
};

}  // namespace quillet
