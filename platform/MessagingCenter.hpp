#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "util/PropertyValue.hpp"

namespace quillet {

/// Messages by name between processes, over a center both know by name (CPDistributedMessagingCenter).
class MessagingCenter {
  public:
    /// `userInfo` is null where none was sent. What it answers goes back to a sender that waits for a reply;
    /// nullopt arrives as an empty dictionary.
    using Handler = std::function<std::optional<util::PropertyDictionary>(const std::string& name,
                                                                          const util::PropertyDictionary* userInfo)>;
    virtual ~MessagingCenter() = default;

    /// -sendMessageName:userInfo:  Sends and does not wait; false where nobody serves the center. `userInfo` may be
    /// null.
    virtual bool sendMessageName(const std::string& name, const util::PropertyDictionary* userInfo) = 0;
    /// -sendMessageAndReceiveReplyName:userInfo:  Sends and waits until the server has answered; nullopt where nobody
    /// serves the center, nobody there knows the message, or the server ended first.
    virtual std::optional<util::PropertyDictionary> sendMessageAndReceiveReplyName(
        const std::string& name, const util::PropertyDictionary* userInfo) = 0;

    /// -runServerOnCurrentThread  Serves the center: handlers run on this thread. False where another process serves
    /// it.
    virtual bool runServerOnCurrentThread() = 0;
    /// -registerForMessageName:target:selector:  One handler a name; a second one replaces the first.
    virtual void registerForMessageName(const std::string& name, Handler handler) = 0;
    /// -stopServer  Nothing where it does not serve.
    virtual void stopServer() = 0;
};

class MessagingCenters {
  public:
    virtual ~MessagingCenters() = default;
    /// +centerNamed:  The same object for the same name as long as somebody holds it; null where there is no messaging.
    virtual std::shared_ptr<MessagingCenter> centerNamed(std::string_view name) = 0;
};

}  // namespace quillet
