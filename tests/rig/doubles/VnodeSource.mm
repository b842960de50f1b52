#import <Foundation/Foundation.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "tests/rig/doubles/DispatchQueues.h"

struct dispatch_source_type_s {};
const struct dispatch_source_type_s _dispatch_source_type_vnode;

namespace {

/// A change of a directory's entry list. A handler never runs beside itself, and not at all once the source was
/// cancelled; the cancel handler runs after it. Changes that come before the handler begins are one event.
class Vnode : public dispatch_source_s {
  public:
    Vnode(std::uintptr_t descriptor, dispatch_queue_t queue) : core_(std::make_shared<Core>(queue)) {
        const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
        const unsigned changes = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
        watches_ = inotify_add_watch(core_->events, path.c_str(), changes) >= 0;
    }
    bool watches() const { return watches_; }

    void setEventHandler(rig::Work handler) override { core_->changed = std::move(handler); }
    void setCancelHandler(rig::Work handler) override { core_->ended = std::move(handler); }
    void resume() override {
        if (std::exchange(resumed_, true)) rig::misuse("a source is resumed twice");
        rig::startThread([core = core_] { core->wait(core); });
    }
    void cancel() override {
        core_->cancelled = true;
        const std::uint64_t one = 1;
        (void)!write(core_->cancellation, &one, sizeof one);
    }
    void release() override {
        if (!resumed_) rig::misuse("a suspended source is released");
        delete this;
    }

  private:
    struct Core {
        explicit Core(dispatch_queue_t target) : queue(target) {}
        Core(const Core&) = delete;
        Core& operator=(const Core&) = delete;
        ~Core() {
            close(events);
            close(cancellation);
        }

        void wait(const std::shared_ptr<Core>& self) {
            while (!cancelled) {
                std::array<pollfd, 2> polled{{{events, POLLIN, 0}, {cancellation, POLLIN, 0}}};
                poll(polled.data(), polled.size(), -1);
                std::array<char, 4096> drained{};
                if (read(events, drained.data(), drained.size()) > 0 && !pending.exchange(true))
                    queue->add([self] { self->deliver(); });
            }
            queue->add([self] {
                const std::lock_guard guard(self->running);
                if (self->ended) self->ended();
                self->changed = self->ended = nullptr;
            });
        }
        void deliver() {
            const std::lock_guard guard(running);
            pending = false;
            if (!cancelled && changed) changed();
        }

        const dispatch_queue_t queue;
        const int events = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        const int cancellation = eventfd(0, EFD_CLOEXEC);
        std::atomic<bool> cancelled = false;
        std::atomic<bool> pending = false;
        std::mutex running;
        rig::Work changed, ended;
    };

    std::shared_ptr<Core> core_;
    bool watches_ = false;
    bool resumed_ = false;
};

}  // namespace

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, unsigned long mask,
                                         dispatch_queue_t queue) {
    if (type != DISPATCH_SOURCE_TYPE_VNODE || mask != DISPATCH_VNODE_WRITE) rig::misuse("a source of another kind");
    auto source = std::make_unique<Vnode>(handle, queue);
    return source->watches() ? source.release() : nullptr;
}

void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t block) {
    source->setEventHandler(rig::workOf(block));
}

void dispatch_source_set_cancel_handler(dispatch_source_t source, dispatch_block_t block) {
    source->setCancelHandler(rig::workOf(block));
}

void dispatch_source_cancel(dispatch_source_t source) {
    source->cancel();
}

void dispatch_resume(void* object) {
    static_cast<dispatch_source_s*>(object)->resume();
}

void dispatch_release(void* object) {
    static_cast<dispatch_source_s*>(object)->release();
}
