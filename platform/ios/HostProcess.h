#pragma once

#import <Foundation/Foundation.h>

namespace quillet {

/// [UIDevice currentDevice]; nil where there is no such class.
id currentDevice();
/// What the device answers for -systemVersion, such as "7.0.4"; nil without a device.
NSString* systemVersion();
/// The main bundle's identifier; nil where it has none.
NSString* hostBundleIdentifier();

}  // namespace quillet
