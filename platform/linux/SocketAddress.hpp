#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace quillet {

/// The address of a Unix domain socket in the file system.
class SocketAddress {
  public:
    /// Nullopt for "" and for a path that does not fit with its terminator.
    static std::optional<SocketAddress> of(std::string_view path) {
        SocketAddress address;
        if (path.empty() || path.size() >= sizeof address.address_.sun_path) return std::nullopt;
        std::copy(path.begin(), path.end(), address.address_.sun_path);
        return address;
    }

    const sockaddr* pointer() const { return reinterpret_cast<const sockaddr*>(&address_); }
    static constexpr socklen_t size() { return sizeof(sockaddr_un); }

  private:
    sockaddr_un address_{AF_UNIX, {}};
};

}  // namespace quillet
