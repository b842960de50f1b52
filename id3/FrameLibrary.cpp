#include "id3/FrameLibrary.hpp"

namespace quillet {}  // namespace quillet
