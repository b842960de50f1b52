#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <vector>

#include "util/md5.hpp"

namespace quillet {
namespace {

using Digest = std::array<std::uint8_t, 16>;
using Seconds = std::chrono::duration<double>;

Digest ownDigest(const std::vector<std::uint8_t>& message) {
    Digest digest;
    md5_state_t state;
    md5_init(&state);
    md5_append(&state, message.data(), static_cast<std::int32_t>(message.size()));
    md5_finish(&state, digest.data());
    return digest;
}

Digest libraryDigest(const std::vector<std::uint8_t>& message) {
    Digest digest{};
    EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_md5(), nullptr);
    return digest;
}

template <typename Function>
Seconds timeOf(Function function, const std::vector<std::uint8_t>& message) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(function(message));
    return std::chrono::steady_clock::now() - start;
}

/// Both digests of one message, turn about, so that whatever slows the machine slows both. "speed" is ours in units of
/// libcrypto's, each by its fastest turn.
void md5BesideLibcrypto(benchmark::State& state) {
    std::vector<std::uint8_t> message(static_cast<std::size_t>(state.range(0)));
    std::uint32_t seed = 1;
    for (auto& byte : message) byte = static_cast<std::uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
    if (ownDigest(message) != libraryDigest(message)) return state.SkipWithError("the digests differ");

    Seconds own = Seconds::max();
    Seconds library = Seconds::max();
    for ([[maybe_unused]] auto turn : state) {
        const Seconds ownTurn = timeOf(ownDigest, message);
        library = std::min(library, timeOf(libraryDigest, message));
        own = std::min(own, ownTurn);
        state.SetIterationTime(ownTurn.count());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.counters["speed"] = library / own;
}
BENCHMARK(md5BesideLibcrypto)->Arg(1000)->Arg(1 << 20)->UseManualTime();

}  // namespace
}  // namespace quillet

BENCHMARK_MAIN();
