#include "id3/id3V2Tag.hpp"

namespace quillet {}
