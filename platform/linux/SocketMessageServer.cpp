#include "platform/linux/SocketMessageServer.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>
#include <utility>
#include <vector>

#include "platform/linux/SocketAddress.hpp"
#include "util/Log.hpp"

namespace quillet {
namespace {

constexpr std::size_t kMostClients = 32;
constexpr int kBacklog = 64;
constexpr std::uint64_t kRestMs = 100;
constexpr std::size_t kReceivedAtOnce = std::size_t{64} << 10;

/// Whether the process at the other end runs for this user or for root.
bool isOfThisUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    return peer.uid == ::geteuid() || peer.uid == 0;
}

/// Whether somebody listens at the address. A full backlog is somebody.
bool isServed(const SocketAddress& address) {
    const util::FileDescriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return ::connect(probe.number(), address.pointer(), address.size()) == 0 || errno == EAGAIN;
}

}  // namespace

/// One connection: a message comes in, is answered, and the reply goes out.
class SocketMessageServer::Client : public std::enable_shared_from_this<Client> {
  public:
    Client(SocketMessageServer& server, util::FileDescriptor socket)
        : server_(&server),
          socket_(std::move(socket)),
          ready_(makeUvHandle(uv_poll_init, server.loop_, this, socket_.number())),
          deadline_(makeUvHandle(uv_timer_init, server.loop_, this)) {}

    /// False where it cannot be watched.
    bool start() {
        if (!ready_) return false;
        restartDeadline();
        return await(UV_READABLE);
    }
    void forgetServer() { server_ = nullptr; }

  private:
    enum class Step { forward, none, last };

    /// Does what the socket lets it do now. Also when the deadline has passed: where the loop was busy with something
    /// else for that long, the client had no chance.
    void advance(bool deadlineHasPassed) {
        const auto self = shared_from_this();  // the answer may end the server
        const Step step = outgoing_.empty() ? receive() : send();
        if (server_ == nullptr) return;
        const bool ends = step == Step::last || (step == Step::none && deadlineHasPassed);
        if (ends || !await(outgoing_.empty() ? UV_READABLE : UV_WRITABLE)) return server_->drop(*this);
        if (step == Step::forward) restartDeadline();
    }

    Step receive() {
        std::array<std::uint8_t, kReceivedAtOnce> bytes;  // not initialised: the kernel fills what is looked at
        const auto count = ::recv(socket_.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0) return errno == EAGAIN || errno == EINTR ? Step::none : Step::last;
        if (count == 0) return Step::last;
        switch (incoming_.append(std::span(bytes).first(static_cast<std::size_t>(count)))) {
            case FrameDecoder::State::incomplete:
                return Step::forward;
            case FrameDecoder::State::complete:
                return answer();
            case FrameDecoder::State::refused:
                break;
        }
        return Step::last;
    }

    Step answer() {
        const auto message = messageIn(incoming_.body());
        if (!message) return Step::last;
        const Answer answer = server_->answer_;  // a copy: it may end the server
        const Reply reply = answer(*message);
        if (!message->wantsReply) return Step::last;
        auto frame = frameOf(reply);
        if (!frame) {
            util::log(
                fmt::format("The reply to {} is larger than a message may be, or is no property list.", message->name));
            return Step::last;
        }
        outgoing_ = std::move(*frame);
        return send();
    }

    Step send() {
        const auto rest = std::span(outgoing_).subspan(sent_);
        const auto count = ::send(socket_.number(), rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) return errno == EAGAIN || errno == EINTR ? Step::none : Step::last;
        sent_ += static_cast<std::size_t>(count);
        return sent_ == outgoing_.size() ? Step::last : Step::forward;
    }

    bool await(int events) {
        return uv_poll_start(ready_.get(), events, [](uv_poll_t* handle, int, int) {
                   static_cast<Client*>(handle->data)->advance(false);
               }) == 0;
    }

    void restartDeadline() {
        uv_update_time(server_->loop_);  // libuv counts from the start of its turn; an answer may have taken minutes
        uv_timer_start(
            deadline_.get(), [](uv_timer_t* handle) { static_cast<Client*>(handle->data)->advance(true); },
            server_->patienceMs_, 0);
    }

    SocketMessageServer* server_;  // null once that has ended
    util::FileDescriptor socket_;
    UvHandle<uv_poll_t> ready_;  // behind the socket: it stops watching before that closes
    UvHandle<uv_timer_t> deadline_;
    FrameDecoder incoming_;
    std::vector<std::uint8_t> outgoing_;
    std::size_t sent_ = 0;
};

SocketMessageServer::SocketMessageServer(uv_loop_t* loop, Answer answer, std::uint64_t patienceMs)
    : loop_(loop), answer_(std::move(answer)), patienceMs_(patienceMs) {}

std::unique_ptr<SocketMessageServer> SocketMessageServer::start(uv_loop_t* loop, const std::string& path, Answer answer,
                                                                std::uint64_t patienceMs) {
    std::unique_ptr<SocketMessageServer> server(new SocketMessageServer(loop, std::move(answer), patienceMs));
    const util::Status taken = server->takePlace(path);
    if (taken.ok()) {
        server->listen();
        return server;
    }
    if (taken.error() != EADDRINUSE) {
        util::log(fmt::format("Messages cannot be served at {}: {}.", path, taken.message()));
    }
    return nullptr;
}

/// A server holds a lock on "PATH.lock" for as long as it lives, however it ends. Whoever has the lock is alone in
/// looking at the socket, removing what a killed server left and binding anew, so two that start at once cannot each
/// remove the other's. The lock file itself is never removed: one that waits with the removed file open would hold a
/// lock that nobody else sees. Where somebody removed it by hand, the living server still answers at the socket, and is
/// left alone. EADDRINUSE where another one serves.
util::Status SocketMessageServer::takePlace(const std::string& path) {
    const auto failure = [] { return util::Status::failure(errno); };
    const auto address = SocketAddress::of(path);
    if (!address) return util::Status::failure(ENAMETOOLONG);
    lock_ = util::FileDescriptor(
        ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!lock_.isOpen()) return failure();
    if (::flock(lock_.number(), LOCK_EX | LOCK_NB) != 0) {
        return util::Status::failure(errno == EWOULDBLOCK ? EADDRINUSE : errno);
    }
    socket_ = util::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket_.isOpen()) return failure();
    if (isServed(*address)) return util::Status::failure(EADDRINUSE);
    struct stat facts{};
    if (::lstat(path.c_str(), &facts) == 0) {
        if (!S_ISSOCK(facts.st_mode)) return util::Status::failure(ENOTSOCK);
        if (::unlink(path.c_str()) != 0) return failure();
    }
    if (::bind(socket_.number(), address->pointer(), address->size()) != 0) return failure();
    if (const auto bound = util::factsOf(path)) socketFile_ = *bound;
    path_ = path;
    if (::chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0 || ::listen(socket_.number(), kBacklog) != 0) return failure();
    arrivals_ = makeUvHandle(uv_poll_init, loop_, this, socket_.number());
    restEnd_ = makeUvHandle(uv_timer_init, loop_, this);
    return arrivals_ ? util::Status::success() : util::Status::failure(ENOMEM);
}

SocketMessageServer::~SocketMessageServer() {
    for (const auto& client : clients_) client->forgetServer();
    // Before the lock goes: from then on whatever is at the path may be another's.
    const auto there = path_.empty() ? std::nullopt : util::factsOf(path_);
    const bool isOwn = there && there->device == socketFile_.device && there->inode == socketFile_.inode;
    if (isOwn) ::unlink(path_.c_str());
}

void SocketMessageServer::listen() {
    uv_poll_start(arrivals_.get(), UV_READABLE, [](uv_poll_t* handle, int, int) {
        static_cast<SocketMessageServer*>(handle->data)->acceptClients();
    });
}

void SocketMessageServer::acceptClients() {
    while (clients_.size() < kMostClients) {
        util::FileDescriptor socket(::accept4(socket_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.isOpen()) {
            if (errno == EAGAIN) return;
            if (errno == EINTR || errno == ECONNABORTED) continue;
            break;
        }
        if (!isOfThisUser(socket.number())) continue;
        const auto client = std::make_shared<Client>(*this, std::move(socket));
        if (client->start()) clients_.push_back(client);
    }
    rest();
}

/// Those who come wait in the backlog for a moment: there are too many clients, or the process has too many files open.
void SocketMessageServer::rest() {
    uv_poll_stop(arrivals_.get());
    uv_timer_start(
        restEnd_.get(), [](uv_timer_t* handle) { static_cast<SocketMessageServer*>(handle->data)->listen(); }, kRestMs,
        0);
}

void SocketMessageServer::drop(const Client& client) {
    clients_.remove_if([&](const auto& other) { return other.get() == &client; });
}

}  // namespace quillet
