#include "id3/V24FrameSet.hpp"

namespace quillet {}  // namespace quillet
