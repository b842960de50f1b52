#include "platform/ios/HostProcess.h"

#import "platform/ios/PrivateClasses.h"
#import "platform/ios/SystemClasses.h"

namespace quillet {

id currentDevice() {
    return [(id<UIDeviceClass>)classNamed("UIDevice", kUIKit) currentDevice];
}

NSString* systemVersion() {
    return [(id<UIDeviceObject>)currentDevice() systemVersion];
}

NSString* hostBundleIdentifier() {
    return [[NSBundle mainBundle] bundleIdentifier];
}

}  // namespace quillet
