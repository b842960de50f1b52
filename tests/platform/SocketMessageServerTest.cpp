#include "platform/linux/SocketMessageServer.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/LibplistPropertyLists.hpp"
#include "platform/linux/MessageFrames.hpp"
#include "tests/TemporaryFolder.hpp"
#include "tests/platform/MessagingPeers.hpp"

namespace quillet {
namespace {

using test::RawClient;
using util::PropertyDictionary;

TEST(SocketMessageServer, ServesOthersWhileItDropsBadClients) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "socket";
    const auto asking = *frameOf(Message{"ask", std::nullopt, true}), telling = *frameOf(Message{"tell", {}, false});
    const std::span<const std::uint8_t> request(asking), first = request.first(6), rest = request.subspan(6);
    const Reply large{true, {{"data", util::Data(std::vector<std::uint8_t>(4'000'000, 'x'))}}};
    UvEventLoop loop;
    std::unique_ptr<RawClient> meanwhile, afterwards;
    int asked = 0, told = 0;
    const auto answer = [&](const Message& message) {
        if (message.name == "ask") return ++asked, large;
        // An answer that takes longer than the server has patience. That is not the fault of the one whose message goes
        // on meanwhile, nor of the one who goes on soon afterwards.
        if (++told > 1) return Reply{};
        EXPECT_TRUE(meanwhile->send(rest));
        for (const auto end = uv_hrtime() + 400'000'000; uv_hrtime() < end;) continue;
        return Reply{};
    };
    const auto server = SocketMessageServer::start(loop.handle(), path, answer, 200);
    ASSERT_NE(server, nullptr);
    const std::vector<std::uint8_t> notUnderstood[] = {
        {0, 0, 0, 3, 'a', 'b', 'c'}, {0xff, 0xff, 0xff, 0xff}, std::vector<std::uint8_t>(2000, 'G'), {0, 0, 0, 0}};
    std::vector<std::unique_ptr<RawClient>> bad;
    for (const auto& bytes : notUnderstood) bad.push_back(std::make_unique<RawClient>(path, bytes));
    bad.push_back(std::make_unique<RawClient>(path, request.first(request.size() - 1)));
    for (const auto& part : {first, request}) const RawClient vanishes(path, part);  // midway, and before its reply
    RawClient neverReading(path, request);
    meanwhile = std::make_unique<RawClient>(path, first);
    RawClient teller(path, telling);
    afterwards = std::make_unique<RawClient>(path, first);
    for (int i = 0; i < 40; ++i) bad.push_back(std::make_unique<RawClient>(path));  // more than are let in at once
    RawClient late(path, telling);

    const std::size_t replySize = frameOf(large)->size();
    int looksSinceTold = 0;
    std::function<void()> look = [&] {
        const bool goesOn = told > 0 && ++looksSinceTold == 2;
        EXPECT_TRUE(!goesOn || afterwards->send(rest));
        bool done = asked == 4 && told == 2;
        for (const auto* client : {&meanwhile, &afterwards}) {
            (*client)->isDropped();
            done = done && (*client)->received.size() == replySize;
        }
        for (const auto& client : bad) done = client->isDropped() && done;
        if (done) return loop.runAfter(0.6, [&] { loop.stop(); });
        loop.runAfter(0.01, look);
    };
    look();
    loop.runAfter(30, [&] {
        ADD_FAILURE() << asked << " requests, " << meanwhile->received.size() << " and " << afterwards->received.size()
                      << " bytes of the replies";
        loop.stop();
    });
    loop.run();
    EXPECT_TRUE(teller.isDropped()) << "a message without a reply ends its connection";
    EXPECT_TRUE(neverReading.isDropped());
    EXPECT_LT(neverReading.received.size(), replySize);
}

TEST(FrameDecoder, TakesTheSameFrameHoweverItIsCut) {
    using State = FrameDecoder::State;
    const std::vector<std::uint8_t> frame = {0, 0, 0, 5, 'a', 'b', 'c', 'd', 'e'};
    const util::Bytes bytes(frame);
    for (std::size_t cut = 0; cut < frame.size(); ++cut) {
        FrameDecoder decoder;
        EXPECT_EQ(decoder.append(bytes.first(cut)), State::incomplete) << cut;
        EXPECT_EQ(decoder.append(bytes.subspan(cut)), State::complete) << cut;
        EXPECT_EQ(util::charactersOf(decoder.body()), "abcde") << cut;
        EXPECT_EQ(decoder.append(bytes.first(1)), State::refused) << "more than a frame";
        EXPECT_EQ(decoder.append({}), State::refused) << "stays refused";
    }
    const std::vector<std::uint8_t> largest = {0x01, 0, 0, 0}, tooLarge = {0x01, 0, 0, 1};
    static_assert(util::kLargestMessage == 0x01000000);
    EXPECT_EQ(FrameDecoder().append(largest), State::incomplete);
    EXPECT_EQ(FrameDecoder().append(tooLarge), State::refused);
}

TEST(MessageFrames, TakeNothingElseForAMessageOrAReply) {
    struct BodyCase {
        util::PropertyValue body;
        bool isMessage, isReply;
    };
    const PropertyDictionary none;
    const BodyCase kBodies[] = {{PropertyDictionary{{"name", "a"}, {"wantsReply", true}}, true, false},
                                {PropertyDictionary{{"name", "a"}, {"wantsReply", true}, {"more", 1}}, true, false},
                                {PropertyDictionary{{"wantsReply", true}}, false, false},
                                {PropertyDictionary{{"name", 1}, {"wantsReply", true}}, false, false},
                                {PropertyDictionary{{"name", "a"}, {"wantsReply", 1}}, false, false},
                                {PropertyDictionary{{"known", true}, {"content", none}}, false, true},
                                {PropertyDictionary{{"known", true}}, false, false},
                                {PropertyDictionary{{"known", true}, {"content", "a"}}, false, false},
                                {util::PropertyArray{"name"}, false, false}};
    for (const auto& [body, isMessage, isReply] : kBodies) {
        const auto bytes = *LibplistPropertyLists::serialised(body);
        EXPECT_EQ(messageIn(bytes).has_value(), isMessage) << util::charactersOf(bytes);
        EXPECT_EQ(replyIn(bytes).has_value(), isReply) << util::charactersOf(bytes);
    }
    EXPECT_FALSE(messageIn({}));
    EXPECT_FALSE(messageIn(util::bytesOf("no property list")));
}

}  // namespace
}  // namespace quillet
