#import <Foundation/Foundation.h>

#include <cstdlib>

#import "tests/rig/doubles/Doubles.h"

/// The device-answer function of this library, which an app of the rig loads where its device is to have one. The
/// answer is QUILLET_RIG_ANSWER; an empty one is none. The caller owns it.
extern "C" __attribute__((visibility("default"))) id MGCopyAnswer(NSString* question) {
    rigRecord([@"asked: " stringByAppendingString:question]);
    const char* answer = std::getenv("QUILLET_RIG_ANSWER");
    return answer == nullptr || *answer == '\0' ? nil : [[NSString alloc] initWithUTF8String:answer];
}
