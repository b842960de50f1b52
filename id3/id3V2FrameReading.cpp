#include "id3/id3V2Frame.hpp"

namespace quillet {}  // namespace quillet
