// The downloader app's own classes.
#import "tests/rig/apps/AppClasses.h"
#import "tests/rig/apps/Script.h"
#import "tests/rig/doubles/Doubles.h"

using namespace quillet::rig;

/// Tells what is done to it, and with each name what then lies in the drop folder.
@interface RigFileList : NSMutableArray {
    NSMutableArray* _names;
}
@end

@implementation RigFileList
- (id)init {
    _names = [[NSMutableArray alloc] initWithObjects:@"left over.mp3", nil];
    return self;
}
- (NSUInteger)count {
    return [_names count];
}
- (id)objectAtIndex:(NSUInteger)index {
    return [_names objectAtIndex:index];
}
- (void)removeAllObjects {
    record(@"files emptied");
    [_names removeAllObjects];
}
- (void)addObject:(id)name {
    record(@"file added: %@; dropped: %@", name, rigDescription(filesIn(@"private/var/mobile/Media/Quillet/Import")));
    [_names addObject:name];
}
@end

@implementation RigSPTransfer
- (void)connectionDidFinishLoading:(id)connection {
    record(@"transfer finished: %@", variableOf(self, "theFilename"));
}
@end

@implementation RigDownloadsViewController
+ (id)sharedInstance {
    static id screen = nil;
    if (screen == nil) screen = [[self alloc] init];
    return screen;
}
- (id)init {
    setVariable(self, "_noSongsLabel", [[NSClassFromString(@"UILabel") alloc] init]);
    return self;
}
- (void)viewDidLoad {
    setVariable(variableOf(self, "_noSongsLabel"), "_text", @"No songs");
    record(@"downloads loaded");
}
- (void)refresh {
    record(@"downloads refreshed");
}
@end

@implementation RigImportViewController
- (id)init {
    setVariable(self, "_filesToImport", [[[RigFileList alloc] init] autorelease]);
    return self;
}
- (void)importFiles:(id)fileNames {
    record(@"the app's own import");
}
- (void)viewDidDisappear:(BOOL)animated {
    record(@"import screen disappeared");
}
- (void)libraryManagerWritingSucceded {
    record(@"libraryManagerWritingSucceded");
}
@end
