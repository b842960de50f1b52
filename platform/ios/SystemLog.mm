#include "platform/ios/SystemLog.hpp"

#include "platform/ios/FoundationValues.h"
#include "util/Log.hpp"

namespace quillet {

void logToSystem() {
    util::setLogSink([](std::string_view line) {
        @autoreleasepool {
            NSLog(@"%@", stringOf(line));
        }
    });
}

}  // namespace quillet
