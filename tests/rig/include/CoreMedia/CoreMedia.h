#pragma once
// The device's own declarations.
#include "packaging/ios/sdk/System/Library/Frameworks/CoreMedia.framework/Headers/CoreMedia.h"
