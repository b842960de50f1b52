#include "id3/FrameStore.hpp"

namespace quillet {}  // namespace quillet
