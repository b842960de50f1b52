#include "id3/TagAPI.hpp"

namespace quillet {}
