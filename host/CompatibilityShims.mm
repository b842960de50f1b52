#import "host/CompatibilityShims.h"

#include <cstdarg>

#import "host/HostObjects.h"
#import "platform/ios/SystemClasses.h"

namespace quillet::host {

bool _systemVersionChecked = false;
id (*_MGCopyAnswer)(NSString* question) = nullptr;
NSString* (*orig_systemVersion)(id, SEL) = nullptr;
NSString* (*orig_uniqueIdentifier)(id, SEL) = nullptr;
id (*orig_UAV_initWithTitle)(id, SEL, NSString*, NSString*, id, NSString*, NSString*, ...) = nullptr;
id (*orig_initTransfersViewCell)(id, SEL, CGRect, NSString*) = nullptr;

namespace {

constexpr CGFloat kMoreProgressBarHeight = 10.0;  // points

}  // namespace

NSString* systemVersionOfOldDevice(id device, SEL selector) {
    if (_systemVersionChecked) return @"6.0";
    return orig_systemVersion(device, selector);
}

NSString* uniqueIdentifier(id /*device*/, SEL /*selector*/) {
    if (_MGCopyAnswer == nullptr) return nil;
    const id answer = [_MGCopyAnswer(@"UniqueDeviceID") autorelease];
    return [answer isKindOfClass:[NSString class]] ? [NSString stringWithString:answer] : nil;
}

id UAV_initWithTitle(id alert, SEL selector, NSString* title, NSString* message, id delegate,
                     NSString* cancelButtonTitle, NSString* otherButtonTitle, ...) {
    const id end = nil;  // typed, as it goes where the compiler does not know what is expected
    const bool isText = [message isKindOfClass:[NSString class]];
    if (isText && [message isEqualToString:@"Attempt to play streaming audio failed."])
        return orig_UAV_initWithTitle(alert, selector, title, message, nil, cancelButtonTitle, otherButtonTitle, end);

    const id made = orig_UAV_initWithTitle(alert, selector, title, message, delegate, cancelButtonTitle, nil, end);
    const id<QLHostAlertView> buttons = answering(made, @selector(addButtonWithTitle:));
    va_list titles;
    va_start(titles, otherButtonTitle);
    // Meant so: where the first is nil the list is not read.
    for (NSString* next = otherButtonTitle; next != nil; next = va_arg(titles, NSString*))
        [buttons addButtonWithTitle:next];
    va_end(titles);
    return made;
}

void setOffset(id tableView, SEL /*selector*/, CGFloat offset) {
    NSLog(@"-[<UITableView: %p> setOffset:%f]", static_cast<void*>(tableView), static_cast<double>(offset));
}

id initTransfersViewCell(id cell, SEL selector, CGRect frame, NSString* reuseIdentifier) {
    const id made = orig_initTransfersViewCell(cell, selector, frame, reuseIdentifier);
    const id<QLHostView> bar = answering(objectVariable(made, "_progressBar"), @selector(setFrame:));
    if (bar == nil) return made;
    CGRect taller = [bar frame];
    taller.size.height += kMoreProgressBarHeight;
    [bar setFrame:taller];
    return made;
}

}  // namespace quillet::host
