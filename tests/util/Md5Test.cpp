#include "util/md5.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <numeric>

#include "util/Data.hpp"
#include "util/Text.hpp"

namespace quillet {
namespace {

using util::Bytes;

void append(md5_state_t& state, Bytes bytes) {
    md5_append(&state, bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

std::string finished(md5_state_t& state) {
    std::uint8_t digest[16];
    md5_finish(&state, digest);
    return util::hexadecimal(digest);
}

TEST(Md5, GivesTheStandardsOwnDigests) {
    const std::pair<const char*, const char*> kVectors[] = {
        // RFC 1321, A.5
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& [message, digest] : kVectors) {
        md5_state_t state;
        md5_init(&state);
        append(state, util::bytesOf(message));
        EXPECT_EQ(finished(state), digest);
    }
}

TEST(Md5, GivesOneDigestHoweverTheBytesAreCut) {
    std::vector<std::uint8_t> bytes(200);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const Bytes message = Bytes(bytes).first(size);
        const std::string expected = util::hexadecimal(util::platformMD5(message));
        for (std::size_t cut = 0; cut <= size; ++cut) {
            md5_state_t state;
            md5_init(&state);
            append(state, message.first(cut));
            append(state, message.subspan(cut, (size - cut) / 2));
            append(state, message.subspan(cut + (size - cut) / 2));
            ASSERT_EQ(finished(state), expected) << size << " cut at " << cut;
        }
    }
}

TEST(Md5, AddsNothingForALengthOfZeroOrLess) {
    md5_state_t state;
    md5_init(&state);
    append(state, util::bytesOf("abc"));
    md5_state_t before;
    std::memcpy(&before, &state, sizeof state);
    for (const std::int32_t length : {0, -1, INT32_MIN}) md5_append(&state, nullptr, length);
    EXPECT_EQ(std::memcmp(&before, &state, sizeof state), 0);
}

TEST(Md5, CountsBitsBeyond32) {
    constexpr std::size_t kSize = (std::size_t{1} << 29) + 1;  // bytes: 2^32 + 8 bits
    void* zeros = mmap(nullptr, kSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    const Bytes message(static_cast<const std::uint8_t*>(zeros), kSize);
    md5_state_t state;
    md5_init(&state);
    append(state, message.first(1));
    append(state, message.subspan(1));
    EXPECT_EQ(state.count[0], 8U);
    EXPECT_EQ(state.count[1], 1U);
    EXPECT_EQ(finished(state), "ea3b62c6b93cb3625a1fd76777985f5a");  // as md5sum has it
    munmap(zeros, kSize);
}

TEST(Md5, CarriesTheLowWordOfTheCountIntoTheHighOne) {
    md5_state_t state;
    md5_init(&state);
    state.count[0] = 0xfffffff8;  // as after 2^29 - 1 bytes
    append(state, util::bytesOf("ab"));
    EXPECT_EQ(state.count[0], 8U);
    EXPECT_EQ(state.count[1], 1U);
}

}  // namespace
}  // namespace quillet
