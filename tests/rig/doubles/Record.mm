#import <Foundation/Foundation.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#import "tests/rig/doubles/Doubles.h"

void rigRecord(NSString* line) {
    const char* path = std::getenv("QUILLET_RIG_RECORD");
    if (path == nullptr) return;
    // Not kept open, so that a process may record elsewhere from one test to the next.
    const int record = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    std::string text = [line UTF8String];
    for (char& character : text)
        if (character == '\n' || character == '\r') character = ' ';
    text += '\n';
    (void)!write(record, text.data(), text.size());  // one call, and so one whole line
    close(record);
}

NSString* rigDescription(id object) {
    if (object == nil) return @"nil";
    if ([object isKindOfClass:[NSString class]]) return [NSString stringWithFormat:@"\"%@\"", object];
    if ([object isKindOfClass:[NSData class]])
        return [NSString stringWithFormat:@"<%lu bytes>", (unsigned long)[object length]];
    if ([object class] == [[NSNumber numberWithBool:YES] class]) return [object boolValue] ? @"YES" : @"NO";
    NSMutableArray* parts = [NSMutableArray array];
    if ([object isKindOfClass:[NSArray class]]) {
        for (id each in object) [parts addObject:rigDescription(each)];
        return [NSString stringWithFormat:@"[%@]", [parts componentsJoinedByString:@", "]];
    }
    if ([object isKindOfClass:[NSDictionary class]]) {
        for (id key in [[object allKeys] sortedArrayUsingSelector:@selector(compare:)])
            [parts addObject:[NSString stringWithFormat:@"%@ = %@", key, rigDescription([object objectForKey:key])]];
        return [NSString stringWithFormat:@"{%@}", [parts componentsJoinedByString:@", "]];
    }
    return [object description];
}
