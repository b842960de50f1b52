#pragma once
// The device's own declarations, over the type that GNUstep has.
#include <Foundation/NSGeometry.h>

#include "packaging/ios/sdk/System/Library/Frameworks/CoreGraphics.framework/Headers/CGGeometry.h"
