#include "id3/V20FrameSet.hpp"

namespace quillet {}  // namespace quillet
