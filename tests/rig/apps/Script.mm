#import "tests/rig/apps/Script.h"

#include <cstdarg>
#include <cstdlib>

#import "tests/rig/apps/AppClasses.h"
#import "tests/rig/doubles/Doubles.h"

/// A method that the library under test is to add.
@interface NSObject (Added)
- (id)_handleLaunchMessageNamed:(NSString*)name withUserInfo:(NSDictionary*)userInfo;
@end

@interface NSObject (MessagingCenter)
+ (id)centerNamed:(NSString*)name;
- (BOOL)sendMessageName:(NSString*)name userInfo:(NSDictionary*)userInfo;
@end

namespace quillet::rig {

namespace {

/// The words after a command's name.
class Words {
  public:
    explicit Words(NSArray* words) : words_(words) {}
    NSString* at(NSUInteger index) const {
        NSString* const word = index + 1 < [words_ count] ? [words_ objectAtIndex:index + 1] : nil;
        return [word isEqualToString:@"-"] ? nil : word;
    }
    NSArray* all() const { return [words_ subarrayWithRange:NSMakeRange(1, [words_ count] - 1)]; }

  private:
    NSArray* words_;
};

Class classOf(NSString* name) {
    return NSClassFromString(name);
}

id importScreen() {
    static id screen = [[classOf(@"ImportViewController") alloc] init];
    return screen;
}

NSString* textOf(CGRect frame) {
    return [NSString
        stringWithFormat:@"(%g, %g) %g x %g", frame.origin.x, frame.origin.y, frame.size.width, frame.size.height];
}

void askVersion(const Words&) {
    RigUIDevice* const device = [classOf(@"UIDevice") currentDevice];
    record(@"systemVersion: %@", [device systemVersion]);
}

void askIdentifier(const Words&) {
    const id device = [classOf(@"UIDevice") currentDevice];
    if ([device respondsToSelector:@selector(uniqueIdentifier)])
        record(@"uniqueIdentifier: %@", [device uniqueIdentifier]);
    else
        record(@"uniqueIdentifier: not answered");
}

/// TITLE MESSAGE DELEGATE CANCEL FIRST [SECOND [THIRD]]
void showAlert(const Words& words) {
    NSString* const end = nil;
    RigUIAlertView* const alert =
        [[classOf(@"UIAlertView") alloc] initWithTitle:words.at(0)
                                               message:words.at(1)
                                              delegate:words.at(2)
                                     cancelButtonTitle:words.at(3)
                                     otherButtonTitles:words.at(4), words.at(5), words.at(6), end];
    if (alert == nil) return record(@"no alert");
    record(@"alert: %@, delegate %@", rigDescription([alert buttons]), [alert delegate]);
}

void scrollTable(const Words& words) {
    const id table = [[classOf(@"UITableView") alloc] initWithFrame:CGRect{{1, 2}, {3, 4}}];
    [table setOffset:static_cast<CGFloat>([words.at(0) doubleValue])];
    record(@"<UITableView: %p> %@", table, textOf([table frame]));
}

void makeCell(const Words& words) {
    const id cell = [[classOf(@"TransfersViewCell") alloc] initWithFrame:CGRect { {0, 0}, {320, 44} }
                                                         reuseIdentifier:words.at(0)];
    RigUIView* const bar = variableOf(cell, "_progressBar");
    record(@"cell: %@, bar: %@", textOf([cell frame]), bar == nil ? nil : textOf([bar frame]));
}

void finishTransfer(const Words& words) {
    const id transfer = [[[classOf(@"SPTransfer") alloc] init] autorelease];
    setVariable(transfer, "theFilename", words.at(0));
    [transfer connectionDidFinishLoading:nil];
}

void loadDownloads(const Words&) {
    const id screen = [classOf(@"DownloadsViewController") sharedInstance];
    [screen viewDidLoad];
    record(@"label: %@", [variableOf(screen, "_noSongsLabel") text]);
}

void importFiles(const Words& words) {
    [importScreen() importFiles:words.all()];
    record(@"files: %@", rigDescription(variableOf(importScreen(), "_filesToImport")));
}

/// An object that no app should hand over, by its name.
id oddObject(NSString* name) {
    NSDictionary* const objects = @{
        @"text" : @"one.mp3",
        @"number" : @7,
        @"null" : [NSNull null],
        @"set" : [NSSet setWithObject:@"one.mp3"],
        @"numbers" : @[ @7, @"one.mp3", [NSNull null] ],
        @"nested" : @{@7 : [NSNull null]},
    };
    return [objects objectForKey:name];
}

void importOddFiles(const Words& words) {
    [importScreen() importFiles:oddObject(words.at(0))];
    record(@"files: %@", rigDescription(variableOf(importScreen(), "_filesToImport")));
}

/// NAME USERINFO
void handleMessage(const Words& words) {
    NSDictionary* const userInfo = oddObject(words.at(1));
    record(@"reply: %@", [importScreen() _handleLaunchMessageNamed:words.at(0) withUserInfo:userInfo]);
}

void leaveImports(const Words&) {
    [importScreen() viewDidDisappear:YES];
}

/// NAME USERINFO, to the center that both hosts know.
void sendMessage(const Words& words) {
    NSDictionary* const userInfo = words.at(1) == nil ? nil : @{@"any" : words.at(1)};
    [[classOf(@"CPDistributedMessagingCenter") centerNamed:@"com.quillet.sync"] sendMessageName:words.at(0)
                                                                                       userInfo:userInfo];
}

struct Command {
    NSString* name;
    void (*run)(const Words&);
};

const Command kCommands[] = {
    {@"version", askVersion},    {@"identifier", askIdentifier},
    {@"alert", showAlert},       {@"offset", scrollTable},
    {@"cell", makeCell},         {@"finish", finishTransfer},
    {@"view", loadDownloads},    {@"import", importFiles},
    {@"message", handleMessage}, {@"disappear", leaveImports},
    {@"send", sendMessage},      {@"import-odd", importOddFiles},
};

void run(NSArray* words) {
    for (const Command& command : kCommands)
        if ([command.name isEqualToString:[words objectAtIndex:0]]) return command.run(Words(words));
    record(@"no such command: %@", [words objectAtIndex:0]);
}

}  // namespace

void record(NSString* format, ...) {
    va_list values;
    va_start(values, format);
    NSString* const line = [[[NSString alloc] initWithFormat:format arguments:values] autorelease];
    va_end(values);
    rigRecord([line stringByReplacingOccurrencesOfString:@"\n" withString:@"|"]);
}

NSArray* filesIn(NSString* folder) {
    NSString* const root = [NSString stringWithUTF8String:std::getenv("QUILLET_RIG_ROOT")];
    NSArray* const names =
        [[NSFileManager defaultManager] contentsOfDirectoryAtPath:[root stringByAppendingPathComponent:folder]
                                                            error:nullptr];
    return [names sortedArrayUsingSelector:@selector(compare:)];
}

void perform(NSString* command) {
    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    @try {
        run([command componentsSeparatedByString:@"\t"]);
    } @catch (NSException* exception) {
        record(@"exception: %@: %@", [exception name], [exception reason]);
    }
    record(@"done");
    [pool drain];
}

}  // namespace quillet::rig
