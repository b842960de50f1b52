#include "id3/id3V1Tag.hpp"

namespace quillet {}
