#include "platform/ios/HostProcess.h"

#import "platform/ios/PrivateClasses.h"
#import "platform/ios/SystemClasses.h"

namespace quillet {

id currentDevice() {
    return [(id<UIDeviceClass>)answering(classNamed("UIDevice", kUIKit), @selector(currentDevice)) currentDevice];
}

NSString* systemVersion() {
    return [(id<UIDeviceObject>)answering(currentDevice(), @selector(systemVersion)) systemVersion];
}

NSString* hostBundleIdentifier() {
    return [[NSBundle mainBundle] bundleIdentifier];
}

}  // namespace quillet
