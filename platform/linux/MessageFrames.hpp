#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "util/Bytes.hpp"
#include "util/Limits.hpp"
#include "util/PropertyValue.hpp"

/// What goes over a messaging center's socket: frames, each a length of four bytes, most significant first, and a
/// property list of that many bytes. A connection carries one message, and one reply where the message wants one.
namespace quillet {

struct Message {
    std::string name;
    std::optional<util::PropertyDictionary> userInfo;
    bool wantsReply = false;
};

struct Reply {
    bool known = false;                ///< whether the server knows the message
    util::PropertyDictionary content;  ///< empty where it has nothing to say
};

/// A whole frame; nullopt where the content is no property list or is larger than util::kLargestMessage.
std::optional<std::vector<std::uint8_t>> frameOf(const Message& message);
std::optional<std::vector<std::uint8_t>> frameOf(const Reply& reply);

/// What a frame's body says; nullopt where it says no such thing.
std::optional<Message> messageIn(util::Bytes body);
std::optional<Reply> replyIn(util::Bytes body);

/// Puts one frame together from bytes as they come. Holds no more than it was given, whatever length the frame claims.
class FrameDecoder {
  public:
    enum class State { incomplete, complete, refused };

    /// Refuses a length above util::kLargestMessage, and bytes behind the end of the frame. Refused stays refused.
    State append(util::Bytes bytes);
    /// What stands behind the length, as far as it has come.
    util::Bytes body() const;

  private:
    std::vector<std::uint8_t> frame_;
    State state_ = State::incomplete;
};

}  // namespace quillet
