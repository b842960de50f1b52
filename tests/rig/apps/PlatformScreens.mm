// The platform's own classes, as far as a host meets them.
#include <cstdarg>
#include <cstdlib>

#import "tests/rig/apps/AppClasses.h"
#import "tests/rig/apps/Script.h"
#import "tests/rig/doubles/Doubles.h"

using namespace quillet::rig;

@implementation RigUIDevice
+ (id)currentDevice {
    static id device = nil;
    if (device == nil) device = [[self alloc] init];
    return device;
}
- (NSString*)systemVersion {
    return [NSString stringWithUTF8String:std::getenv("QUILLET_RIG_VERSION")];
}
- (NSString*)uniqueIdentifier {
    return @"the device's own";
}
@end

@implementation RigUIAlertView
- (id)initWithTitle:(NSString*)title
              message:(NSString*)message
             delegate:(id)delegate
    cancelButtonTitle:(NSString*)cancel
    otherButtonTitles:(NSString*)first, ... {
    _delegate = delegate;
    _buttons = [[NSMutableArray alloc] init];
    if (cancel != nil) [_buttons addObject:cancel];
    va_list titles;
    va_start(titles, first);
    for (NSString* next = first; next != nil; next = va_arg(titles, NSString*)) [_buttons addObject:next];
    va_end(titles);
    record(@"alert made: %@; %@; %@; %@", title, message, delegate == nil ? @"no delegate" : @"delegate",
           rigDescription(_buttons));
    if (![title isEqualToString:@"refused"]) return self;
    [self release];
    return nil;
}
- (NSInteger)addButtonWithTitle:(NSString*)title {
    record(@"button added: %@", title);
    [_buttons addObject:title];
    return static_cast<NSInteger>([_buttons count]) - 1;
}
- (id)delegate {
    return _delegate;
}
- (NSArray*)buttons {
    return _buttons;
}
@end

@implementation RigUIView
- (id)initWithFrame:(CGRect)frame {
    _frame = frame;
    return self;
}
- (CGRect)frame {
    return _frame;
}
- (void)setFrame:(CGRect)frame {
    _frame = frame;
}
@end

@implementation RigUITableView
- (void)setOffset:(CGFloat)offset {
    record(@"table scrolled to %g", offset);
}
@end

@implementation RigUILabel
- (NSString*)text {
    return _text;
}
- (void)setText:(NSString*)text {
    _text = [text copy];
}
@end

@implementation RigUITableViewCell
- (id)initWithFrame:(CGRect)frame reuseIdentifier:(NSString*)identifier {
    record(@"cell made: %@", identifier);
    return [self initWithFrame:frame];
}
@end

@implementation RigTransfersViewCell
- (id)initWithFrame:(CGRect)frame reuseIdentifier:(NSString*)identifier {
    record(@"transfer's cell made: %@", identifier);
    [self initWithFrame:frame];
    const CGRect place = {{10, 20}, {200, 9}};
    if (![identifier isEqualToString:@"bare"])
        setVariable(self, "_progressBar", [[NSClassFromString(@"UIProgressView") alloc] initWithFrame:place]);
    return self;
}
@end

@implementation RigMPMusicPlayerController
+ (id)iPodMusicPlayer {
    static id player = nil;
    if (player == nil) player = [[self alloc] init];
    return player;
}
- (NSInteger)repeatMode {
    record(@"repeat mode asked");
    return 1;
}
@end

@implementation RigUIViewController
- (void)viewDidLoad {
    record(@"view loaded");
}
- (void)viewDidDisappear:(BOOL)animated {
    record(@"view disappeared%@", animated ? @", animated" : @"");
}
@end
