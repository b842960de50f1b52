#pragma once

#include <cstddef>
#include <cstdint>

#include "id3/FrameID.hpp"
#include "id3/Limits.hpp"
#include "util/Data.hpp"

namespace quillet {

/// What the format flags of a frame say, whatever the version's bits (ID3v2.3.0 3.3.1, ID3v2.4.0 structure 4.1.2).
struct FormatFlags {
    bool grouped = false;
    bool encrypted = false;
    bool compressed = false;
    bool statesLength = false;  ///< 4 bytes tell how long the body is without compression
};

/// How a decompression went, in the order in which the failures' log lines run on into each other.
enum class InflateResult { done, noMemory, noRoom, corrupt, failed };

/// Decompresses the frames of one tag, each at once (zlib, RFC 1950). All of them together, broken ones
/// included, come to no more bytes than the largest tag has.
class FrameInflater {
  public:
    struct Outcome {
        InflateResult result = InflateResult::failed;
        util::Data body;
    };
    /// Decompresses `stream` into at most `room` bytes, which should be bounded already. What the stream cannot fill
    /// (it grows 1032 times at most) is not asked for.
    Outcome inflate(util::Bytes stream, std::size_t room);

  private:
    std::size_t left_ = kLargestPackedLength;
};

/// The log lines of a decompression that failed.
void logInflateFailure(InflateResult result, FrameID frame);

}  // namespace quillet
