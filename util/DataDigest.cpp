#include "util/Data.hpp"

#include <algorithm>

#ifdef __APPLE__
#include <CommonCrypto/CommonDigest.h>
#else
#include <openssl/evp.h>

#include "util/md5.hpp"
#endif

namespace quillet::util {

namespace {

// Both ways of adding bytes piece by piece count a piece in 32 bits.
constexpr std::size_t kLargestPiece = std::size_t{1} << 30;

template <typename Append>
void inPieces(Bytes bytes, Append append) {
    while (!bytes.empty()) {
        const Bytes piece = bytes.first(std::min(bytes.size(), kLargestPiece));
        append(piece);
        bytes = bytes.subspan(piece.size());
    }
}

}  // namespace

std::array<std::uint8_t, 16> platformMD5(Bytes bytes) {
    std::array<std::uint8_t, 16> digest{};
#ifdef __APPLE__
    CC_MD5_CTX context;
    CC_MD5_Init(&context);
    inPieces(bytes, [&](Bytes piece) { CC_MD5_Update(&context, piece.data(), static_cast<CC_LONG>(piece.size())); });
    CC_MD5_Final(digest.data(), &context);
#else
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_md5(), nullptr) == 1) return digest;
    // A machine in FIPS mode refuses MD5. Here it is a name for bytes and protects nothing, so it is made all the same.
    md5_state_t state;
    md5_init(&state);
    inPieces(bytes, [&](Bytes piece) { md5_append(&state, piece.data(), static_cast<std::int32_t>(piece.size())); });
    md5_finish(&state, digest.data());
#endif
    return digest;
}

}  // namespace quillet::util
