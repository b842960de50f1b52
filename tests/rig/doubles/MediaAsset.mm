#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>
#import <GNUstepBase/NSData+GNUstepBase.h>

#include <cmath>
#include <cstdlib>

#import "tests/rig/doubles/Doubles.h"

namespace {

constexpr uint32_t kValid = 1;
constexpr int32_t kTimescale = 44100;

/// What the device says of the file; nil where it knows nothing.
NSDictionary* descriptionOf(NSURL* url) {
    NSData* content = [NSData dataWithContentsOfFile:[url path]];
    NSString* digest = [[[content md5Digest] hexadecimalRepresentation] lowercaseString];
    NSData* data =
        [NSData dataWithContentsOfFile:[NSString stringWithFormat:@"%s/rig/assets/%@.plist",
                                                                  std::getenv("QUILLET_RIG_ROOT") ?: "", digest]];
    return data == nil ? nil : [NSPropertyListSerialization propertyListWithData:data options:0 format:NULL error:NULL];
}

}  // namespace

double CMTimeGetSeconds(CMTime time) {
    return (time.flags & kValid) == 0 ? NAN : static_cast<double>(time.value) / time.timescale;
}

@interface AVMetadataItem : NSObject {
  @public
    NSDictionary* _facts;
}
@end

@implementation AVMetadataItem
- (void)dealloc {
    [_facts release];
    [super dealloc];
}
- (NSString*)commonKey {
    return [_facts objectForKey:@"commonKey"];
}
- (NSString*)keySpace {
    return [_facts objectForKey:@"keySpace"];
}
- (id)key {
    return [_facts objectForKey:@"key"];
}
- (id)value {
    return [_facts objectForKey:@"value"];
}
- (NSString*)stringValue {
    return [_facts objectForKey:@"stringValue"];
}
@end

@interface AVURLAsset : NSObject {
    NSDictionary* _description;
}
+ (id)URLAssetWithURL:(NSURL*)url options:(NSDictionary*)options;
- (NSArray*)availableMetadataFormats;
- (NSArray*)metadataForFormat:(NSString*)format;
- (CMTime)duration;
@end

@implementation AVURLAsset
+ (id)URLAssetWithURL:(NSURL*)url options:(NSDictionary*)options {
    rigRecord([NSString stringWithFormat:@"asset %@", rigDescription([url path])]);
    AVURLAsset* asset = [[[self alloc] init] autorelease];
    if (options == nil) asset->_description = [descriptionOf(url) retain];
    return asset;
}
- (void)dealloc {
    [_description release];
    [super dealloc];
}
- (NSArray*)availableMetadataFormats {
    return [[_description objectForKey:@"formats"] valueForKey:@"name"] ?: @[];
}
- (NSArray*)metadataForFormat:(NSString*)format {
    NSMutableArray* items = [NSMutableArray array];
    for (NSDictionary* described in [_description objectForKey:@"formats"]) {
        if (![[described objectForKey:@"name"] isEqual:format]) continue;
        for (NSDictionary* facts in [described objectForKey:@"items"]) {
            AVMetadataItem* item = [[[AVMetadataItem alloc] init] autorelease];
            item->_facts = [facts retain];
            [items addObject:item];
        }
    }
    return items;
}
- (CMTime)duration {
    NSNumber* seconds = [_description objectForKey:@"duration"];
    if (seconds == nil) return CMTime{0, 0, 0, 0};
    return CMTime{std::llround([seconds doubleValue] * kTimescale), kTimescale, kValid, 0};
}
@end
