#pragma once

#include <functional>
#include <string_view>

namespace quillet {

/// Stands for the object that a notification is about; only compared, never followed. On the device it is an NSObject.
using ObjectToken = const void*;

/// Notices by name within the process (NSNotificationCenter). Used from one thread.
class NotificationCenter {
  public:
    virtual ~NotificationCenter() = default;

    /// Calls `handler` whenever `name` is posted with `object`, until removeObserver(observer).
    virtual void addObserver(ObjectToken observer, std::string_view name, ObjectToken object,
                             std::function<void()> handler) = 0;
    /// Ends all that `observer` asked for; nothing where it asked for nothing.
    virtual void removeObserver(ObjectToken observer) = 0;
    /// Runs the handlers before it returns, in the order in which they were added. A handler may add and remove.
    virtual void post(std::string_view name, ObjectToken object) = 0;
};

}  // namespace quillet
