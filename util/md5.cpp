#include "util/md5.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

namespace quillet {

namespace {

constexpr std::size_t kBlock = 64;
constexpr std::size_t kLengthAt = 56;  ///< where the message length stands in the last block

/// RFC 1321 section 3.4: T[i] is the integer part of 2^32 times abs(sin(i + 1)).
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

/// How far each step turns its sum, by round and by step modulo 4.
constexpr int kTurns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

/// Which word of the block a step adds: start and stride of each round, modulo 16.
constexpr std::size_t kWordOrder[4][2] = {{0, 1}, {1, 5}, {5, 3}, {0, 7}};

constexpr std::uint32_t littleEndian(std::uint32_t word) {
    if constexpr (std::endian::native == std::endian::little) return word;
    return word << 24 | (word & 0xff00) << 8 | (word >> 8 & 0xff00) | word >> 24;
}

/// One of the 64 steps. Each needs the one before it, so the time of a block is the length of that chain: `b` is the
/// value that arrives last and is used as late as each function allows.
template <std::size_t step>
[[gnu::always_inline]] inline void turn(std::uint32_t (&state)[4], const std::uint32_t (&words)[16]) {
    constexpr std::size_t round = step / 16;
    std::uint32_t& a = state[(64 - step) % 4];
    const std::uint32_t b = state[(65 - step) % 4];
    const std::uint32_t c = state[(66 - step) % 4];
    const std::uint32_t d = state[(67 - step) % 4];

    std::uint32_t sum = a + words[(kWordOrder[round][0] + kWordOrder[round][1] * step) % 16] + kSines[step];
    // Compilers like to regroup the sum and to add this part behind what needs `b`, which makes the chain longer; what
    // an assembly statement may have changed they leave alone.
    asm("" : "+r"(sum));
    if constexpr (round == 0) sum += d ^ (b & (c ^ d));
    // The two halves have no bit in common, so they may be added one by one: the first needs no `b`.
    if constexpr (round == 1) sum += c & ~d, sum += b & d;
    if constexpr (round == 2) sum += b ^ (c ^ d);
    if constexpr (round == 3) sum += c ^ (b | ~d);
    a = b + std::rotl(sum, kTurns[round][step % 4]);
}

template <std::size_t... steps>
[[gnu::always_inline]] inline void turnAll(std::uint32_t (&state)[4], const std::uint32_t (&words)[16],
                                           std::index_sequence<steps...>) {
    (turn<steps>(state, words), ...);
}

/// Works `count` whole blocks at `data` into the chaining variables.
void digestBlocks(std::uint32_t (&abcd)[4], const std::uint8_t* data, std::size_t count) {
    std::uint32_t chain[4] = {abcd[0], abcd[1], abcd[2], abcd[3]};
    for (; count > 0; --count, data += kBlock) {
        std::uint32_t words[16];
        std::memcpy(words, data, kBlock);
        for (std::uint32_t& word : words) word = littleEndian(word);
        std::uint32_t state[4] = {chain[0], chain[1], chain[2], chain[3]};
        turnAll(state, words, std::make_index_sequence<64>());
        for (std::size_t i = 0; i < 4; ++i) chain[i] += state[i];
    }
    std::memcpy(abcd, chain, sizeof chain);
}

void putLittleEndian(std::uint8_t* at, std::uint32_t word) {
    word = littleEndian(word);
    std::memcpy(at, &word, sizeof word);
}

}  // namespace

void md5_init(md5_state_t* state) {
    *state = {};
    state->abcd[0] = 0x67452301;
    state->abcd[1] = 0xefcdab89;
    state->abcd[2] = 0x98badcfe;
    state->abcd[3] = 0x10325476;
}

void md5_append(md5_state_t* state, const std::uint8_t* data, std::int32_t length) {
    if (length <= 0) return;
    std::size_t left = static_cast<std::size_t>(length);
    const std::size_t buffered = state->count[0] / 8 % kBlock;
    const std::uint32_t bits = static_cast<std::uint32_t>(length) << 3;
    state->count[0] += bits;
    state->count[1] += (static_cast<std::uint32_t>(length) >> 29) + (state->count[0] < bits ? 1 : 0);

    if (buffered > 0) {
        const std::size_t fill = std::min(left, kBlock - buffered);
        std::memcpy(state->buf + buffered, data, fill);
        if (buffered + fill < kBlock) return;
        digestBlocks(state->abcd, state->buf, 1);
        data += fill;
        left -= fill;
    }
    digestBlocks(state->abcd, data, left / kBlock);
    std::memcpy(state->buf, data + left / kBlock * kBlock, left % kBlock);
}

void md5_finish(md5_state_t* state, std::uint8_t digest[16]) {
    std::size_t used = state->count[0] / 8 % kBlock;
    state->buf[used++] = 0x80;
    if (used > kLengthAt) {  // no room for the length: it goes to a block of its own
        std::fill(state->buf + used, state->buf + kBlock, std::uint8_t{0});
        digestBlocks(state->abcd, state->buf, 1);
        used = 0;
    }
    std::fill(state->buf + used, state->buf + kLengthAt, std::uint8_t{0});
    putLittleEndian(state->buf + kLengthAt, state->count[0]);
    putLittleEndian(state->buf + kLengthAt + 4, state->count[1]);
    digestBlocks(state->abcd, state->buf, 1);
    for (std::size_t i = 0; i < 4; ++i) putLittleEndian(digest + 4 * i, state->abcd[i]);
}

}  // namespace quillet
