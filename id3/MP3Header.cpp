#include "id3/MP3Header.hpp"

namespace quillet {}  // namespace quillet
