#pragma once

#import <CoreGraphics/CGGeometry.h>
#import <Foundation/Foundation.h>

/// What is asked of the host's objects, which are known by name alone.

@protocol QLHostAlertView
- (NSInteger)addButtonWithTitle:(NSString*)title;
@end

@protocol QLHostView
- (CGRect)frame;
- (void)setFrame:(CGRect)frame;
@end

@protocol QLHostLabel
- (void)setText:(NSString*)text;
@end

@protocol QLHostDownloadsScreen
+ (id)sharedInstance;
- (void)refresh;
@end

@protocol QLHostImportScreen
- (void)libraryManagerWritingSucceded;
- (id)_handleLaunchMessageNamed:(NSString*)name withUserInfo:(NSDictionary*)userInfo;
@end

@protocol QLHostMusicPlayer
+ (id)iPodMusicPlayer;
- (NSInteger)repeatMode;
@end

namespace quillet::host {

/// The object in the instance variable `name` of `object`, not retained; nil where there is no such variable, or none
/// that holds an object.
id objectVariable(id object, const char* name);

}  // namespace quillet::host
