#pragma once

#include <objc/objc.h>

#include <map>
#include <vector>

#include "platform/NotificationCenter.hpp"

namespace quillet {

/// The process's default NSNotificationCenter. An object stands there for each token that is observed or posted.
/// Handlers of one name and object run in the center's order, which is not always that in which they were added.
class FoundationNotificationCenter : public NotificationCenter {
  public:
    FoundationNotificationCenter() = default;
    ~FoundationNotificationCenter() override;
    FoundationNotificationCenter(const FoundationNotificationCenter&) = delete;
    FoundationNotificationCenter& operator=(const FoundationNotificationCenter&) = delete;

    void addObserver(ObjectToken observer, std::string_view name, ObjectToken object,
                     std::function<void()> handler) override;
    void removeObserver(ObjectToken observer) override;
    void post(std::string_view name, ObjectToken object) override;

  private:
    id senderFor(ObjectToken token);

    std::map<ObjectToken, std::vector<id>> observers_;  ///< objects that call the handlers; kept
    std::map<ObjectToken, id> senders_;                 ///< kept
};

}  // namespace quillet
