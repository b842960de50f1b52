#pragma once

#include <uv.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "platform/linux/MessageFrames.hpp"
#include "platform/linux/UvHandle.hpp"
#include "util/Files.hpp"

namespace quillet {

/// The serving side of a messaging center: a listening socket on a loop, and one connection for each message under way.
/// A client that makes no progress for a while is dropped, whatever it is at; none can hold up another.
class SocketMessageServer {
  public:
    /// Called on the loop's thread. May destroy the server; the client still gets its reply, as far as its socket takes
    /// it at once. Must not throw.
    using Answer = std::function<Reply(const Message&)>;
    static constexpr std::uint64_t kPatienceMs = 5000;

    /// Null where another process serves at `path`, and, with a log line, where nobody can. The loop must outlive it.
    static std::unique_ptr<SocketMessageServer> start(uv_loop_t* loop, const std::string& path, Answer answer,
                                                      std::uint64_t patienceMs = kPatienceMs);
    /// Removes the socket, if it is still its own, and hangs up on every client.
    ~SocketMessageServer();
    SocketMessageServer(const SocketMessageServer&) = delete;
    SocketMessageServer& operator=(const SocketMessageServer&) = delete;

  private:
    class Client;

    SocketMessageServer(uv_loop_t* loop, Answer answer, std::uint64_t patienceMs);
    util::Status takePlace(const std::string& path);
    void listen();
    void acceptClients();
    void rest();
    void drop(const Client& client);

    uv_loop_t* loop_;
    Answer answer_;
    std::uint64_t patienceMs_;
    std::string path_;
    util::FileFacts socketFile_;
    util::FileDescriptor lock_;
    util::FileDescriptor socket_;
    UvHandle<uv_poll_t> arrivals_;  // behind the socket: it stops watching before that closes
    UvHandle<uv_timer_t> restEnd_;
    std::list<std::shared_ptr<Client>> clients_;
};

}  // namespace quillet
