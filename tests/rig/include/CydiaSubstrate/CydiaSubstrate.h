#pragma once
// The device's own declarations.
#include "packaging/ios/sdk/Library/Frameworks/CydiaSubstrate.framework/Headers/CydiaSubstrate.h"
