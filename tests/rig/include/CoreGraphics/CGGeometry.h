#pragma once
// The device's own declarations.
#include "packaging/ios/sdk/System/Library/Frameworks/CoreGraphics.framework/Headers/CGGeometry.h"
