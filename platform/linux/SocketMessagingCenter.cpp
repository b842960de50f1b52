#include "platform/linux/SocketMessagingCenter.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/linux/MessageFrames.hpp"
#include "platform/linux/SocketAddress.hpp"
#include "platform/linux/SocketMessageServer.hpp"
#include "platform/linux/SocketPath.hpp"
#include "util/Files.hpp"

namespace quillet {
namespace {

using Clock = std::chrono::steady_clock;

/// How long a sender that does not wait may take to get its message into a busy server's socket.
constexpr std::chrono::seconds kSendingTime{1};

/// The sending side of one message. Without a deadline its calls take as long as the server lives.
class Sender {
  public:
    explicit Sender(std::optional<Clock::time_point> deadline) : deadline_(deadline) {}

    /// False where nobody listens at `path`. At once, but for a server with a full backlog.
    bool connect(const std::string& path) {
        const auto address = SocketAddress::of(path);
        if (!address) return false;
        socket_ = util::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        // No poll tells when a backlog has room; a blocking connect waits for that, and this option says how long.
        const timeval limit{deadline_ ? kSendingTime.count() : 0, 0};
        if (::setsockopt(socket_.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) return false;
        while (::connect(socket_.number(), address->pointer(), address->size()) != 0) {
            if (errno != EINTR || isLate()) return false;
        }
        return true;
    }

    bool send(util::Bytes bytes) {
        while (!bytes.empty()) {
            const auto count = ::send(socket_.number(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count >= 0) {
                bytes = bytes.subspan(static_cast<std::size_t>(count));
            } else if (errno == EAGAIN) {
                if (!awaitRoom()) return false;
            } else if (errno != EINTR) {
                return false;
            }
        }
        return true;
    }

    /// Nullopt where the server hangs up before it has answered.
    std::optional<Reply> receive() {
        std::vector<std::uint8_t> bytes(std::size_t{64} << 10);
        for (FrameDecoder decoder;;) {
            const auto count = ::recv(socket_.number(), bytes.data(), bytes.size(), 0);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return std::nullopt;
            switch (decoder.append(std::span(bytes).first(static_cast<std::size_t>(count)))) {
                case FrameDecoder::State::incomplete:
                    continue;
                case FrameDecoder::State::complete:
                    return replyIn(decoder.body());
                case FrameDecoder::State::refused:
                    return std::nullopt;
            }
        }
    }

  private:
    bool isLate() const { return deadline_ && Clock::now() >= *deadline_; }

    /// Also true when a signal came or the server hung up: the next send tells. False when it is late.
    bool awaitRoom() const {
        if (isLate()) return false;
        const auto rest =
            deadline_ ? std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Clock::now()).count() : -1;
        pollfd watched{socket_.number(), POLLOUT, 0};
        ::poll(&watched, 1, static_cast<int>(rest));
        return true;
    }

    std::optional<Clock::time_point> deadline_;
    util::FileDescriptor socket_;
};

class SocketMessagingCenter final : public MessagingCenter {
  public:
    SocketMessagingCenter(const DevicePaths& paths, UvEventLoop& loop, std::string name)
        : paths_(paths), loop_(loop), name_(std::move(name)) {}

    bool sendMessageName(const std::string& name, const util::PropertyDictionary* userInfo) override {
        if (server_) {
            answer(name, userInfo);  // through the socket nobody would read while this thread sends
            return true;
        }
        Sender sender(Clock::now() + kSendingTime);
        return send(sender, name, userInfo, false);
    }

    std::optional<util::PropertyDictionary> sendMessageAndReceiveReplyName(
        const std::string& name, const util::PropertyDictionary* userInfo) override {
        std::optional<Reply> reply;
        Sender sender(std::nullopt);
        if (server_) {
            reply = answer(name, userInfo);
        } else if (send(sender, name, userInfo, true)) {
            reply = sender.receive();
        }
        if (!reply || !reply->known) return std::nullopt;
        return std::move(reply->content);
    }

    bool runServerOnCurrentThread() override {
        if (server_) return true;
        server_ = SocketMessageServer::start(loop_.handle(), socketPath(paths_, name_), [this](const Message& message) {
            return answer(message.name, message.userInfo ? &*message.userInfo : nullptr);
        });
        return server_ != nullptr;
    }

    void registerForMessageName(const std::string& name, Handler handler) override {
        handlers_.insert_or_assign(name, std::move(handler));
    }

    void stopServer() override { server_.reset(); }

  private:
    Reply answer(const std::string& name, const util::PropertyDictionary* userInfo) {
        const auto found = handlers_.find(name);
        if (found == handlers_.end() || !found->second) return {};
        const Handler handler = found->second;  // a copy: it may replace itself, or let go of the center
        return {true, handler(name, userInfo).value_or(util::PropertyDictionary())};
    }

    bool send(Sender& sender, const std::string& name, const util::PropertyDictionary* userInfo, bool wantsReply) {
        Message message{name, std::nullopt, wantsReply};
        if (userInfo != nullptr) message.userInfo = *userInfo;
        const auto frame = frameOf(message);
        return frame && sender.connect(socketPath(paths_, name_)) && sender.send(*frame);
    }

    const DevicePaths& paths_;
    UvEventLoop& loop_;
    const std::string name_;
    std::map<std::string, Handler> handlers_;
    std::unique_ptr<SocketMessageServer> server_;
};

}  // namespace

SocketMessagingCenters::SocketMessagingCenters(const DevicePaths& paths, UvEventLoop& loop)
    : paths_(paths), loop_(loop) {}

SocketMessagingCenters::~SocketMessagingCenters() = default;

std::shared_ptr<MessagingCenter> SocketMessagingCenters::centerNamed(std::string_view name) {
    auto& known = centers_[std::string(name)];
    auto center = known.lock();
    if (!center) {
        center = std::make_shared<SocketMessagingCenter>(paths_, loop_, std::string(name));
        known = center;
    }
    return center;
}

}  // namespace quillet
