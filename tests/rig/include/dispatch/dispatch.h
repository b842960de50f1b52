#pragma once
// The device's own declarations.
#include "packaging/ios/sdk/usr/include/dispatch/dispatch.h"
