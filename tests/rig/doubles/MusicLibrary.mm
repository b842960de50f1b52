#import <Block.h>
#import <Foundation/Foundation.h>

#include <dispatch/dispatch.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "tests/rig/doubles/DispatchQueues.h"
#import "tests/rig/doubles/Doubles.h"

namespace {

using Completion = void (^)(uint32_t status, uint64_t persistentID, void* unused);

/// Above what a signed number holds.
constexpr unsigned long long kFirstIdentifier = 0xC000000000000001ULL;

bool importationIsEnabled = false;
std::mutex libraryLock;

NSString* libraryPath() {
    const char* root = std::getenv("QUILLET_RIG_ROOT");
    if (root == nullptr) rig::misuse("the music library needs a QUILLET_RIG_ROOT");
    NSString* folder = [NSString stringWithFormat:@"%s/rig", root];
    [[NSFileManager defaultManager] createDirectoryAtPath:folder
                              withIntermediateDirectories:YES
                                               attributes:nil
                                                    error:NULL];
    return [folder stringByAppendingPathComponent:@"library.plist"];
}

NSMutableDictionary* readLibrary() {
    NSData* data = [NSData dataWithContentsOfFile:libraryPath()];
    id library = data == nil ? nil
                             : [NSPropertyListSerialization propertyListWithData:data
                                                                         options:NSPropertyListMutableContainers
                                                                          format:NULL
                                                                           error:NULL];
    if (library != nil) return library;
    return [NSMutableDictionary dictionaryWithObject:[NSMutableDictionary dictionary] forKey:@"tracks"];
}

unsigned long long addTrack(NSDictionary* track) {
    const std::lock_guard guard(libraryLock);
    NSMutableDictionary* library = readLibrary();
    NSString* next = [library objectForKey:@"next"];
    const auto identifier = next == nil ? kFirstIdentifier : std::strtoull([next UTF8String], nullptr, 10);
    [[library objectForKey:@"tracks"] setObject:track forKey:[NSString stringWithFormat:@"%llu", identifier]];
    [library setObject:[NSString stringWithFormat:@"%llu", identifier + 1] forKey:@"next"];
    NSData* data = [NSPropertyListSerialization dataWithPropertyList:library
                                                              format:NSPropertyListBinaryFormat_v1_0
                                                             options:0
                                                               error:NULL];
    if (![data writeToFile:libraryPath() atomically:YES]) rig::misuse("the library cannot be written");
    return identifier;
}

}  // namespace

@interface ML3MusicLibrary : NSObject
+ (void)setImportationEnabled:(BOOL)enabled;
+ (id)sharedLibrary;
@end

@implementation ML3MusicLibrary
+ (void)setImportationEnabled:(BOOL)enabled {
    rigRecord([NSString stringWithFormat:@"library setImportationEnabled %@", enabled ? @"YES" : @"NO"]);
    importationIsEnabled = enabled;
}
+ (id)sharedLibrary {
    static id library = [[self alloc] init];
    return library;
}
@end

@interface MLTrackImport : NSObject {
  @public
    NSMutableDictionary* _facts;
    NSMutableDictionary* _values;
}
@end

@implementation MLTrackImport
- (id)init {
    if ((self = [super init])) {
        _values = [[NSMutableDictionary alloc] init];
        _facts = [[NSMutableDictionary alloc] initWithObjectsAndKeys:_values, @"values", nil];
    }
    return self;
}
- (void)dealloc {
    rigRecord([NSString stringWithFormat:@"import freed %@", rigDescription([_facts objectForKey:@"assetFilePath"])]);
    [_facts release];
    [_values release];
    [super dealloc];
}
- (void)set:(NSString*)fact to:(id)value {
    rigRecord([NSString stringWithFormat:@"import %@ %@", fact, rigDescription(value)]);
    [_facts setObject:value forKey:fact];
}
- (void)setAssetFilePath:(NSString*)path {
    [self set:@"assetFilePath" to:path];
}
- (void)setMediaType:(unsigned int)type {
    [self set:@"mediaType" to:[NSNumber numberWithUnsignedInt:type]];
}
- (void)setShouldAddToPurchasedPlaylist:(BOOL)add {
    [self set:@"shouldAddToPurchasedPlaylist" to:[NSNumber numberWithBool:add]];
}
- (void)setArtworkData:(NSData*)data {
    [self set:@"artworkData" to:data];
}
- (void)setValue:(id)value forEntityProperty:(NSString*)property {
    rigRecord([NSString stringWithFormat:@"import value %@ %@", property, rigDescription(value)]);
    [_values setObject:value forKey:property];
}
@end

@interface ML3TrackImporter : NSObject
- (id)initWithMusicLibrary:(id)library;
- (void)importTrack:(MLTrackImport*)track withCompletionBlock:(Completion)completion;
@end

@implementation ML3TrackImporter

- (id)initWithMusicLibrary:(id)library {
    if (library != [ML3MusicLibrary sharedLibrary]) rig::misuse("an importer for another library");
    return [super init];
}
- (void)dealloc {
    rigRecord(@"importer freed");
    [super dealloc];
}

/// The way in which the importer is to behave; see Doubles.h.
+ (std::string)manner {
    return std::getenv("QUILLET_RIG_IMPORTER") ?: "";
}
+ (void)complete:(MLTrackImport*)track block:(Completion)completion {
    uint32_t status = 0;
    if (!importationIsEnabled) status = 1;
    if (![[NSFileManager defaultManager] fileExistsAtPath:[track->_facts objectForKey:@"assetFilePath"]]) status = 2;
    if ([self manner] == "refuse") status = 3;
    const auto identifier = status == 0 ? addTrack(track->_facts) : 0;
    completion(status, identifier, nullptr);
    if ([self manner] == "twice") completion(status, identifier, nullptr);
    rigRecord([NSString stringWithFormat:@"import complete %u %llu", status, identifier]);
}

// Neither importer nor track are retained: they are the caller's until the block has run.
- (void)importTrack:(MLTrackImport*)track withCompletionBlock:(Completion)completion {
    rigRecord(
        [NSString stringWithFormat:@"import track %@", rigDescription([track->_facts objectForKey:@"assetFilePath"])]);
    const std::string manner = [ML3TrackImporter manner];
    if (manner == "raise") [NSException raise:NSInvalidArgumentException format:@"the library raises"];
    if (manner != "later") return [ML3TrackImporter complete:track block:completion];
    Completion kept = Block_copy(completion);
    // By way of the main queue, and so not before this call has returned.
    dispatch_async(dispatch_get_main_queue(), ^{
      dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), ^{
        [ML3TrackImporter complete:track block:kept];
        Block_release(kept);
      });
    });
}

@end

extern "C" NSString* const MPMediaEntityPropertyPersistentID;
NSString* const MPMediaEntityPropertyPersistentID = @"persistentID";

@interface MPMediaItem : NSObject {
  @public
    unsigned long long _identifier;
}
- (id)valueForProperty:(NSString*)property;
@end

@implementation MPMediaItem
- (id)valueForProperty:(NSString*)property {
    if (![property isEqual:MPMediaEntityPropertyPersistentID]) return nil;
    return [NSNumber numberWithUnsignedLongLong:_identifier];
}
@end

@interface MPMediaQuery : NSObject
- (NSArray*)items;
@end

@implementation MPMediaQuery
- (NSArray*)items {
    const std::lock_guard guard(libraryLock);
    NSMutableArray* items = [NSMutableArray array];
    for (NSString* identifier in [readLibrary() objectForKey:@"tracks"]) {
        MPMediaItem* item = [[[MPMediaItem alloc] init] autorelease];
        item->_identifier = std::strtoull([identifier UTF8String], nullptr, 10);
        [items addObject:item];
    }
    return items;
}
@end
