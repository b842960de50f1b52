#include "platform/linux/MessageFrames.hpp"

#include <algorithm>
#include <utility>

#include "platform/linux/LibplistPropertyLists.hpp"
#include "util/ByteReader.hpp"

namespace quillet {
namespace {

constexpr std::size_t kLengthBytes = 4;

constexpr std::string_view kName = "name";
constexpr std::string_view kUserInfo = "userInfo";
constexpr std::string_view kWantsReply = "wantsReply";
constexpr std::string_view kKnown = "known";
constexpr std::string_view kContent = "content";

std::optional<std::vector<std::uint8_t>> frameAround(util::PropertyDictionary content) {
    const auto body = LibplistPropertyLists::serialised(std::move(content));
    if (!body || body->size() > util::kLargestMessage) return std::nullopt;
    std::vector<std::uint8_t> frame;
    frame.reserve(kLengthBytes + body->size());
    for (std::size_t shift = 8 * kLengthBytes; shift > 0; shift -= 8) {
        frame.push_back(static_cast<std::uint8_t>(body->size() >> (shift - 8)));
    }
    frame.insert(frame.end(), body->begin(), body->end());
    return frame;
}

const util::PropertyDictionary* dictionaryUnder(const util::PropertyDictionary& content, std::string_view key) {
    const util::PropertyValue* value = util::find(content, key);
    return value != nullptr ? value->dictionary() : nullptr;
}

std::optional<bool> truthUnder(const util::PropertyDictionary& content, std::string_view key) {
    const util::PropertyValue* value = util::find(content, key);
    if (value == nullptr || value->boolean() == nullptr) return std::nullopt;
    return *value->boolean();
}

}  // namespace

std::optional<std::vector<std::uint8_t>> frameOf(const Message& message) {
    util::PropertyDictionary content;
    content.emplace(kName, message.name);
    content.emplace(kWantsReply, message.wantsReply);
    if (message.userInfo) content.emplace(kUserInfo, *message.userInfo);
    return frameAround(std::move(content));
}

std::optional<std::vector<std::uint8_t>> frameOf(const Reply& reply) {
    util::PropertyDictionary content;
    content.emplace(kKnown, reply.known);
    content.emplace(kContent, reply.content);
    return frameAround(std::move(content));
}

std::optional<Message> messageIn(util::Bytes body) {
    const auto value = LibplistPropertyLists::parsed(body);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    const util::PropertyDictionary& content = *value->dictionary();
    const util::PropertyValue* name = util::find(content, kName);
    const auto wantsReply = truthUnder(content, kWantsReply);
    if (name == nullptr || name->text() == nullptr || !wantsReply) return std::nullopt;
    Message message{*name->text(), std::nullopt, *wantsReply};
    if (const auto* userInfo = dictionaryUnder(content, kUserInfo)) message.userInfo = *userInfo;
    return message;
}

std::optional<Reply> replyIn(util::Bytes body) {
    const auto value = LibplistPropertyLists::parsed(body);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    const auto known = truthUnder(*value->dictionary(), kKnown);
    const auto* content = dictionaryUnder(*value->dictionary(), kContent);
    if (!known || content == nullptr) return std::nullopt;
    return Reply{*known, *content};
}

FrameDecoder::State FrameDecoder::append(util::Bytes bytes) {
    if (state_ == State::refused) return state_;
    util::ByteReader reader(bytes);
    if (frame_.size() < kLengthBytes) {
        const auto missing = std::min(kLengthBytes - frame_.size(), reader.remaining());
        if (const auto part = reader.take(missing)) frame_.insert(frame_.end(), part->begin(), part->end());
    }
    const auto length = util::ByteReader(frame_).u32BigEndian();
    if (!length) return state_;
    if (*length > util::kLargestMessage || reader.remaining() > *length - body().size()) {
        return state_ = State::refused;
    }
    frame_.insert(frame_.end(), reader.rest().begin(), reader.rest().end());
    if (body().size() == *length) state_ = State::complete;
    return state_;
}

util::Bytes FrameDecoder::body() const {
    return frame_.size() < kLengthBytes ? util::Bytes() : util::Bytes(frame_).subspan(kLengthBytes);
}

}  // namespace quillet
