#pragma once

#include "id3/FrameWalk.hpp"

namespace quillet {}  // namespace quillet
