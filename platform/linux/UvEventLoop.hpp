#pragma once

#include <functional>
#include <memory>

#include "platform/EventLoop.hpp"

struct uv_loop_s;

namespace quillet {

/// One libuv loop on one thread stands for every queue. A directory is watched by inotify; where that is missing or at
/// its limit, or `polling` was asked for, its entry list is looked at every second instead; unless that was asked for,
/// one log line says so.
class UvEventLoop : public EventLoop {
  public:
    enum class Watching { kernel, polling };

    /// Throws std::system_error where the system gives no loop (at the limit of open files).
    explicit UvEventLoop(Watching watching = Watching::kernel);
    /// No watch, timer or work may be in use afterwards; what has not run is dropped.
    ~UvEventLoop() override;

    std::unique_ptr<DirectorySource> watchDirectory(const std::string& path, Work changed) override;
    void runAfter(double delaySeconds, Work work) override;
    void runOnMain(Work work) override;

    /// Runs until stop(). Work that is under way is finished first; what has not begun stays for the next run(). What
    /// work throws ends the run and is thrown on from here.
    void run();
    /// Makes run() return; from work on the loop, or from a signal's handler given to onSignal. Called while nothing
    /// runs it makes the next run() return at once.
    void stop();
    /// Calls `work` on the loop, not inside a signal handler, when the process gets `number`; until the loop is
    /// destroyed.
    void onSignal(int number, Work work);

    /// For others that serve on this loop.
    uv_loop_s* handle();

  private:
    struct Body;
    std::unique_ptr<Body> body_;
};

}  // namespace quillet
