#pragma once
// clang asks for it under this name.
#include <Block.h>
