#pragma once

#include <objc/objc.h>

#include <map>

#include "platform/MessagingCenter.hpp"

namespace quillet {

/// One center of CPDistributedMessagingCenter.
class DistributedMessagingCenter : public MessagingCenter {
  public:
    /// Keeps `center`, a CPDistributedMessagingCenter, as long as it lives.
    explicit DistributedMessagingCenter(id center);
    ~DistributedMessagingCenter() override;
    DistributedMessagingCenter(const DistributedMessagingCenter&) = delete;
    DistributedMessagingCenter& operator=(const DistributedMessagingCenter&) = delete;

    bool sendMessageName(const std::string& name, const util::PropertyDictionary* userInfo) override;
    std::optional<util::PropertyDictionary> sendMessageAndReceiveReplyName(
        const std::string& name, const util::PropertyDictionary* userInfo) override;
    bool runServerOnCurrentThread() override;
    void registerForMessageName(const std::string& name, Handler handler) override;
    /// For an object of the host's own: sends it `selector` with the message's name and user info. It is not kept.
    void registerForMessageName(const std::string& name, id target, SEL selector);
    void stopServer() override;

  private:
    id center_;
    std::map<std::string, id> handlers_;  ///< the objects that stand for handlers, by message name; kept
};

class DistributedMessagingCenters : public MessagingCenters {
  public:
    std::shared_ptr<MessagingCenter> centerNamed(std::string_view name) override;
    /// The same, for those who register objects.
    std::shared_ptr<DistributedMessagingCenter> distributedCenterNamed(std::string_view name);

  private:
    std::map<std::string, std::weak_ptr<DistributedMessagingCenter>, std::less<>> centers_;
};

}  // namespace quillet
