#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "platform/linux/MessageFrames.hpp"
#include "util/ByteReader.hpp"

using State = quillet::FrameDecoder::State;

/// The first byte says in pieces of which size the rest comes in. Whatever they are, the frame must be what it is in
/// one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    quillet::util::ByteReader input({data, size});
    const auto pieceSize = input.u8();
    if (!pieceSize) return 0;
    const quillet::util::Bytes whole = input.rest();
    quillet::FrameDecoder inPieces, atOnce;
    const State state = atOnce.append(whole);
    State stateInPieces = State::incomplete;
    while (!input.atEnd()) {
        const auto piece = input.take(std::min<std::size_t>(std::size_t{*pieceSize} + 1, input.remaining()));
        stateInPieces = inPieces.append(piece.value_or(quillet::util::Bytes()));
        if (inPieces.body().size() > whole.size()) std::abort();
    }
    if (!whole.empty() && stateInPieces != state) std::abort();

    const auto length = quillet::util::ByteReader(whole).u32BigEndian();
    const bool isComplete =
        length && *length <= quillet::util::kLargestMessage && whole.size() == *length + std::size_t{4};
    if ((state == State::complete) != isComplete) std::abort();
    if (isComplete && (!std::ranges::equal(inPieces.body(), whole.subspan(4)) ||
                       !std::ranges::equal(atOnce.body(), whole.subspan(4)))) {
        std::abort();
    }
    return 0;
}
