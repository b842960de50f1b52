#include "id3/MpegDuration.hpp"

namespace quillet {}  // namespace quillet
