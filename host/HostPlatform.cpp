#include "host/HostPlatform.hpp"

#include "host/DeviceRoot.hpp"
#include "platform/ios/SystemLog.hpp"

namespace quillet::host {

IOSPlatform& hostPlatform() {
    static IOSPlatform* platform = nullptr;
    if (platform == nullptr) {
        platform = new IOSPlatform(deviceRoot());
        Platform::setOfProcess(&platform->ports);
        logToSystem();
    }
    return *platform;
}

}  // namespace quillet::host
