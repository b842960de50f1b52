#include "id3/MpegFrameHeader.hpp"

namespace quillet {}  // namespace quillet
