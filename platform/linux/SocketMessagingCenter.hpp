#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/DevicePaths.hpp"
#include "platform/MessagingCenter.hpp"
#include "platform/linux/UvEventLoop.hpp"

namespace quillet {

/// A center is a Unix domain socket beside the import database (or, where that path is too long for a socket address,
/// in a folder of the user's own, see SocketPath.hpp). A message is a property list behind its length; only processes
/// of the same user (or root) are heard. A server answers on the loop's thread; a sender that waits blocks its own.
class SocketMessagingCenters : public MessagingCenters {
  public:
    /// Both must outlive this and every center it gives.
    SocketMessagingCenters(const DevicePaths& paths, UvEventLoop& loop);
    ~SocketMessagingCenters() override;
    std::shared_ptr<MessagingCenter> centerNamed(std::string_view name) override;

  private:
    const DevicePaths& paths_;
    UvEventLoop& loop_;
    std::map<std::string, std::weak_ptr<MessagingCenter>, std::less<>> centers_;
};

}  // namespace quillet
