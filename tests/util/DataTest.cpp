#include "util/Data.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace quillet::util {
namespace {

Data dataOf(std::string_view text) {
    return Data::copyOf(bytesOf(text));
}

/// Bytes from their hexadecimal digits.
Data fromHex(std::string_view digits) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    return Data(std::move(bytes));
}

constexpr std::string_view kText = "to be or not to be, that is the question: to be or not to be";
// The text as other programs compress it: zlib at level 9, the same raw, and gzip.
constexpr std::string_view kZlib =
    "78da2bc957484a55c82f52c8cb2f5128017174144a32124b14328b8174aa4261696a7149667e9e15441245250071f61499";
constexpr std::string_view kRaw =
    "2bc957484a55c82f52c8cb2f5128017174144a32124b14328b8174aa4261696a7149667e9e154412452500";
constexpr std::string_view kGzip =
    "1f8b08000000000002032bc957484a55c82f52c8cb2f5128017174144a32124b14328b8174aa4261696a7149667e9e15441245250075fe7159"
    "3c000000";

TEST(Data, SharesItsStorageWithCopiesAndSlicesOfWhatLiesInside) {
    const Data data = dataOf("0123456789");
    const auto part = data.slice(2, 5);
    ASSERT_TRUE(part);
    EXPECT_EQ(part->bytes().data(), data.bytes().data() + 2);
    EXPECT_EQ(*part->slice(1, 2), dataOf("34"));
    EXPECT_TRUE(Data(data).isSameObject(data));
    EXPECT_FALSE(part->isSameObject(data));
    EXPECT_FALSE(dataOf("0123456789").isSameObject(data));
    EXPECT_EQ(dataOf("0123456789"), data);
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    EXPECT_TRUE(data.slice(10, 0));
    EXPECT_TRUE(data.slice(0, 10));
    EXPECT_FALSE(data.slice(11, 0));
    EXPECT_FALSE(data.slice(1, 10));
    EXPECT_FALSE(data.slice(1, kMost));
    EXPECT_FALSE(data.slice(kMost, 1));
}

TEST(Data, InflatesWhatZlibWroteAndNoPrefixAndNoOtherFormat) {
    const Data whole = fromHex(kZlib);
    EXPECT_EQ(whole.inflate(), dataOf(kText));
    EXPECT_EQ(fromHex("78da030000000001").inflate(), Data());  // the stream of an empty message
    for (std::size_t size = 1; size < whole.size(); ++size) EXPECT_FALSE(whole.slice(0, size)->inflate()) << size;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::vector<std::uint8_t> bytes(whole.bytes().begin(), whole.bytes().end());
        bytes[at] ^= 0x10;
        EXPECT_FALSE(Data(bytes).inflate()) << "damaged at " << at;
    }
    EXPECT_FALSE(fromHex(kRaw).inflate());
    EXPECT_FALSE(fromHex(kGzip).inflate());
    EXPECT_FALSE(fromHex("78bb00000001").inflate());  // asks for a dictionary
    EXPECT_FALSE(dataOf("x").inflate());              // the growth step of one byte is 0
    const Data empty = *dataOf("abc").slice(1, 0);
    EXPECT_TRUE(empty.inflate()->isSameObject(empty));
    EXPECT_TRUE(empty.deflate()->isSameObject(empty));
}

TEST(Data, DeflatesAndInflatesToTheSameBytes) {
    std::mt19937 random(7);
    // Around the 16384 bytes that the output grows by; random bytes do not shrink, zeros expand a thousandfold.
    constexpr std::size_t kSizes[] = {1, 2, 3, 16360, 16368, 16373, 16374, 16384, 32768, 100000, 3000000};
    for (const std::size_t size : kSizes) {
        std::vector<std::uint8_t> noise(size);
        for (auto& byte : noise) byte = static_cast<std::uint8_t>(random());
        for (const Data& data : {Data(noise), Data(std::vector<std::uint8_t>(size))}) {
            const auto deflated = data.deflate();
            ASSERT_TRUE(deflated);
            EXPECT_EQ(deflated->bytes()[0], 0x78);  // RFC 1950: deflate, the 32 KiB window,
            EXPECT_EQ(deflated->bytes()[1], 0x01);  // and the fastest level
            EXPECT_EQ(deflated->inflate(), data) << size;
        }
    }
}

TEST(Data, NamesBytesByTheirMD5) {
    EXPECT_EQ(Data().MD5(), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(dataOf("message digest").MD5(), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(dataOf("jk8ssl").MD5(), "0000000018e6137ac2caab16074784a6");  // no zero digit is dropped
}

}  // namespace
}  // namespace quillet::util
