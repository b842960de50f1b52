#include "id3/V23FrameSet.hpp"

namespace quillet {}  // namespace quillet
