#pragma once

#include <cstdint>

/// MD5 over raw bytes (RFC 1321), without any allocation: the state belongs to the caller. No call can fail.
namespace quillet {

struct md5_state_t {
    std::uint32_t count[2];  ///< message length in bits, low word first
    std::uint32_t abcd[4];   ///< chaining variables A, B, C, D
    std::uint8_t buf[64];    ///< the partial input block
};

/// Starts a digest: count 0, the initial values of RFC 1321 section 3.3.
void md5_init(md5_state_t* state);
/// Adds `length` bytes at `data`; a length of 0 or less adds nothing.
void md5_append(md5_state_t* state, const std::uint8_t* data, std::int32_t length);
/// Pads, adds the length and writes the 16 bytes of the digest. The state is used up: md5_init starts the next.
void md5_finish(md5_state_t* state, std::uint8_t digest[16]);

}  // namespace quillet
