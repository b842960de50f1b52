#pragma once

#include "platform/ios/IOSPlatform.hpp"

namespace quillet::host {

/// The device's ports, made at the first call and never destroyed. The first call also makes them the platform of the
/// process and sends the log to the system's. Not locked: the first call is made while the library is loaded.
IOSPlatform& hostPlatform();

}  // namespace quillet::host
