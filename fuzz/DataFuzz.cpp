#include <cstdlib>

#include "util/Data.hpp"

using namespace quillet::util;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

/// In bytes. What zlib makes of an input is at most 1032 times as large, so this keeps a run within 34 MB.
constexpr std::size_t kLargestInput = 32768;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > kLargestInput) return 0;
    const Data input = Data::copyOf(Bytes(data, size));

    // As compressed bytes: whatever it expands to comes back after a round trip.
    if (const auto inflated = input.inflate()) require(inflated->deflate()->inflate() == *inflated);

    // As bytes to compress: they come back, and no shorter stream gives anything.
    const auto deflated = input.deflate();
    require(deflated && deflated->inflate() == input);
    if (!input.empty()) require(!deflated->slice(0, deflated->size() - 1)->inflate());
    return 0;
}
