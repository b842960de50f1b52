#pragma once

#import <CoreGraphics/CGGeometry.h>
#import <Foundation/Foundation.h>
#import <objc/runtime.h>

/// What the downloader app, made for iOS 6, misses on iOS 7. Each function stands in for one method; an `orig_` slot
/// holds the implementation that the method had before, null until it was replaced.
namespace quillet::host {

/// Set once the version gate has passed.
extern bool _systemVersionChecked;
/// MobileGestalt's MGCopyAnswer: answers a question with an object that the caller owns. Null where it was not found.
extern id (*_MGCopyAnswer)(NSString* question);

/// -[UIDevice systemVersion]  "6.0" once the gate has passed.
NSString* systemVersionOfOldDevice(id device, SEL selector);
extern NSString* (*orig_systemVersion)(id device, SEL selector);

/// -[UIDevice uniqueIdentifier]  The device's identifier by MobileGestalt; nil where that gives no text.
NSString* uniqueIdentifier(id device, SEL selector);
extern NSString* (*orig_uniqueIdentifier)(id device, SEL selector);

/// -[UIAlertView initWithTitle:message:delegate:cancelButtonTitle:otherButtonTitles:]  Adds the other buttons one by
/// one, so that the list of titles, which ends with nil, is never passed on. One message is shown without a delegate
/// and with its first other button alone.
id UAV_initWithTitle(id alert, SEL selector, NSString* title, NSString* message, id delegate,
                     NSString* cancelButtonTitle, NSString* otherButtonTitle, ...);
extern id (*orig_UAV_initWithTitle)(id alert, SEL selector, NSString* title, NSString* message, id delegate,
                                    NSString* cancelButtonTitle, NSString* otherButtonTitle, ...);

/// -[UITableView setOffset:]  Logs the call.
void setOffset(id tableView, SEL selector, CGFloat offset);
/// Its type encoding.
constexpr const char* kSetOffsetTypes = sizeof(CGFloat) == sizeof(double) ? "v@:d" : "v@:f";

/// -[TransfersViewCell initWithFrame:reuseIdentifier:]  Makes the cell's progress bar 10 points taller.
id initTransfersViewCell(id cell, SEL selector, CGRect frame, NSString* reuseIdentifier);
extern id (*orig_initTransfersViewCell)(id cell, SEL selector, CGRect frame, NSString* reuseIdentifier);

}  // namespace quillet::host
