#include "import/Up.hpp"
