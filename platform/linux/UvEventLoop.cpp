#include "platform/linux/UvEventLoop.hpp"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/UvHandle.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

constexpr std::uint64_t kPollingIntervalMs = 1000;
constexpr std::uint64_t kNanosecondsPerMs = 1'000'000;

/// Runs work that libuv calls back for. An exception must not pass libuv's frames: it ends the loop's run and leaves
/// there.
struct Runner {
    void run(const EventLoop::Work& work) noexcept {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
            stop();
        }
    }
    void stop() {
        stopping = true;
        uv_stop(&loop);
    }

    uv_loop_t loop{};
    bool stopping = false;
    std::exception_ptr failure;
};

/// The kernel tells of changes.
class KernelSource final : public DirectorySource {
  public:
    KernelSource(Runner& runner, EventLoop::Work changed)
        : runner_(runner), changed_(std::move(changed)), event_(makeUvHandle(uv_fs_event_init, &runner.loop, this)) {}

    /// 0 or a libuv error.
    int start(const std::string& path) {
        if (!event_) return UV_ENOSYS;
        return uv_fs_event_start(event_.get(), happened, path.c_str(), 0);
    }

  private:
    static void happened(uv_fs_event_t* event, const char*, int events, int) {
        // Not `events & UV_RENAME`: libuv sets both for a new mode or time of a folder inside, which is no new entry
        // list.
        if (events != UV_RENAME) return;
        const auto& source = *static_cast<KernelSource*>(event->data);
        const auto changed = source.changed_;  // a copy: it may destroy the source
        source.runner_.run(changed);
    }

    Runner& runner_;
    EventLoop::Work changed_;
    UvHandle<uv_fs_event_t> event_;
};

/// The entry list is looked at again and again. A folder that cannot be listed any more is one change.
class PollingSource final : public DirectorySource {
  public:
    PollingSource(Runner& runner, std::string path, EventLoop::Work changed)
        : runner_(runner),
          path_(std::move(path)),
          changed_(std::move(changed)),
          timer_(makeUvHandle(uv_timer_init, &runner.loop, this)) {
        names_ = util::listDirectory(path_);
        uv_timer_start(timer_.get(), look, kPollingIntervalMs, kPollingIntervalMs);
    }

  private:
    static void look(uv_timer_t* timer) {
        auto& source = *static_cast<PollingSource*>(timer->data);
        auto names = util::listDirectory(source.path_);
        if (names == source.names_) return;
        source.names_ = std::move(names);
        const auto changed = source.changed_;  // a copy: it may destroy the source
        source.runner_.run(changed);
    }

    Runner& runner_;
    std::string path_;
    EventLoop::Work changed_;
    std::optional<std::vector<std::string>> names_;
    UvHandle<uv_timer_t> timer_;
};

/// Why the kernel does not watch, or null for an error that speaks of the directory itself.
const char* reasonForPolling(int error) {
    switch (error) {
        case UV_ENOSPC:
            return "the limit of inotify watches, fs.inotify.max_user_watches, is reached";
        case UV_EMFILE:
        case UV_ENFILE:
            return "the limit of inotify instances, fs.inotify.max_user_instances, or of open files is reached";
        case UV_ENOSYS:
        case UV_ENODEV:
            return "there is no inotify here";
        default:
            return nullptr;
    }
}

}  // namespace

struct UvEventLoop::Body : Runner {
    struct Signal {
        Runner& runner;
        Work work;
        UvHandle<uv_signal_t> handle;
    };

    explicit Body(Watching how) : watching(how) {
        const int error = uv_loop_init(&loop);
        if (error != 0) throw std::system_error(-error, std::generic_category(), "cannot make an event loop");
        keepAlive = makeUvHandle(uv_async_init, &loop, this, static_cast<uv_async_cb>(nullptr));
        turn = makeUvHandle(uv_idle_init, &loop, this);
        alarm = makeUvHandle(uv_timer_init, &loop, this);
    }

    ~Body() {
        // First, and one by one: what work holds, a directory's source say, still finds the loop, and may give it work.
        while (!pending.empty()) pending.extract(pending.begin());
        keepAlive.reset();
        turn.reset();
        alarm.reset();
        signals.clear();
        // What is closed is freed on a turn of the loop; nothing but that is left to happen on it.
        while (uv_loop_alive(&loop) != 0) uv_run(&loop, UV_RUN_NOWAIT);
        uv_loop_close(&loop);
    }

    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    /// Sees to it that runDue is called when the first pending work is due. An idle handle runs on the loop's very next
    /// turn, a timer no earlier than a millisecond from now: either way files and sockets get their turn between,
    /// however much work schedules more work.
    void arm() {
        if (pending.empty()) {
            uv_idle_stop(turn.get());
            uv_timer_stop(alarm.get());
            return;
        }
        const std::uint64_t now = uv_hrtime();
        const std::uint64_t due = pending.begin()->first;
        if (due <= now) {
            uv_idle_start(turn.get(), [](uv_idle_t* handle) { static_cast<Body*>(handle->data)->runDue(); });
            return;
        }
        uv_idle_stop(turn.get());
        uv_update_time(&loop);  // libuv counts from the start of its turn, which may be a whole batch ago
        uv_timer_start(
            alarm.get(), [](uv_timer_t* handle) { static_cast<Body*>(handle->data)->runDue(); },
            (due - now) / kNanosecondsPerMs + 1, 0);
    }

    /// Runs what is due now, not what that adds; stops early once stop() was called.
    void runDue() {
        const std::uint64_t now = uv_hrtime();
        while (!stopping && !pending.empty() && pending.begin()->first <= now) {
            const Work work = std::move(pending.extract(pending.begin()).mapped());
            run(work);
        }
        arm();
    }

    Watching watching;
    UvHandle<uv_async_t> keepAlive;  // so that run() goes on while there is nothing to do
    UvHandle<uv_idle_t> turn;
    UvHandle<uv_timer_t> alarm;
    std::multimap<std::uint64_t, Work> pending;  // by uv_hrtime; what is due at one time keeps its order
    std::list<Signal> signals;
    std::string lineOfPolling;  // the last one logged: a watch that is begun anew after each batch says it once
};

UvEventLoop::UvEventLoop(Watching watching) : body_(std::make_unique<Body>(watching)) {}

UvEventLoop::~UvEventLoop() = default;

std::unique_ptr<DirectorySource> UvEventLoop::watchDirectory(const std::string& path, Work changed) {
    const util::FileDescriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen()) return nullptr;
    if (body_->watching == Watching::kernel) {
        auto source = std::make_unique<KernelSource>(*body_, changed);
        const int error = source->start(path);
        if (error == 0) return source;
        const char* reason = reasonForPolling(error);
        if (reason == nullptr) return nullptr;
        auto line = fmt::format(
            "The kernel's notification is not available for {} ({}); the folder is looked at once a second instead.",
            path, reason);
        if (line != body_->lineOfPolling) util::log(line);
        body_->lineOfPolling = std::move(line);
    }
    return std::make_unique<PollingSource>(*body_, path, std::move(changed));
}

void UvEventLoop::runAfter(double delaySeconds, Work work) {
    constexpr double kLongestSeconds = 1e9;  // thirty years; more nanoseconds than that and the sum could wrap
    const double seconds = delaySeconds > 0 ? std::min(delaySeconds, kLongestSeconds) : 0;  // NaN is not above 0
    body_->pending.emplace(uv_hrtime() + static_cast<std::uint64_t>(seconds * 1e9), std::move(work));
    body_->arm();
}

void UvEventLoop::runOnMain(Work work) {
    runAfter(0, std::move(work));
}

void UvEventLoop::run() {
    uv_run(&body_->loop, UV_RUN_DEFAULT);
    body_->stopping = false;
    if (body_->failure) std::rethrow_exception(std::exchange(body_->failure, nullptr));
}

void UvEventLoop::stop() {
    body_->stop();
}

void UvEventLoop::onSignal(int number, Work work) {
    auto& signal = body_->signals.emplace_back(Body::Signal{*body_, std::move(work), nullptr});
    signal.handle = makeUvHandle(uv_signal_init, &body_->loop, &signal);
    const auto happened = [](uv_signal_t* handle, int) {
        const auto& raised = *static_cast<Body::Signal*>(handle->data);
        raised.runner.run(raised.work);
    };
    const int error = signal.handle ? uv_signal_start(signal.handle.get(), happened, number) : UV_ENOMEM;
    if (error != 0) util::log(fmt::format("Signal {} cannot be waited for: {}.", number, uv_strerror(error)));
}

uv_loop_s* UvEventLoop::handle() {
    return &body_->loop;
}

}  // namespace quillet
