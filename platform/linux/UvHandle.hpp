#pragma once

#include <uv.h>

#include <memory>
#include <utility>

namespace quillet {

/// Ends a libuv handle: none of its callbacks runs any more, and the loop frees it on a later turn.
struct CloseUvHandle {
    template <typename Handle>
    void operator()(Handle* handle) const {
        uv_close(reinterpret_cast<uv_handle_t*>(handle),
                 [](uv_handle_t* closed) { delete reinterpret_cast<Handle*>(closed); });
    }
};

/// Owns a handle on a loop. It must go before the loop does, and may go inside its own callback.
template <typename Handle>
using UvHandle = std::unique_ptr<Handle, CloseUvHandle>;

/// A handle made by `initialise` (uv_timer_init, uv_poll_init ...) from the loop and `rest`, not started; its callbacks
/// find `data` in it. Null where libuv refuses.
template <typename Handle, typename... Parameters, typename... Rest>
UvHandle<Handle> makeUvHandle(int (*initialise)(uv_loop_t*, Handle*, Parameters...), uv_loop_t* loop, void* data,
                              Rest... rest) {
    auto handle = std::make_unique<Handle>();
    if (initialise(loop, handle.get(), rest...) != 0) return nullptr;
    handle->data = data;
    return UvHandle<Handle>(handle.release());
}

}  // namespace quillet
