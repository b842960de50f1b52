#import <Foundation/Foundation.h>

#include <cstdlib>
#include <string_view>

#import "tests/rig/doubles/Doubles.h"

/// The device-answer function of this library, which an app of the rig loads where its device is to have one. The
/// answer is QUILLET_RIG_ANSWER; an empty one is none, "7" a number. The caller owns it.
extern "C" __attribute__((visibility("default"))) id MGCopyAnswer(NSString* question) {
    rigRecord([@"asked: " stringByAppendingString:question]);
    const char* answer = std::getenv("QUILLET_RIG_ANSWER");
    if (answer == nullptr || *answer == '\0') return nil;
    if (std::string_view(answer) == "7") return [[NSNumber alloc] initWithInt:7];
    return [[NSString alloc] initWithUTF8String:answer];
}
