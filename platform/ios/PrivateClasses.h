#pragma once

#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>

/// What we send to classes outside Foundation. They are found by name (SystemClasses.h), and so their objects are known
/// by these protocols alone: NAMEClass is what the class NAME itself answers, NAMEObject what an object of it does.

#define QL_CLASSES "/System/Library/"
constexpr const char* kUIKit = QL_CLASSES "Frameworks/UIKit.framework/UIKit";
constexpr const char* kMediaPlayer = QL_CLASSES "Frameworks/MediaPlayer.framework/MediaPlayer";
constexpr const char* kAVFoundation = QL_CLASSES "Frameworks/AVFoundation.framework/AVFoundation";
constexpr const char* kCoreMedia = QL_CLASSES "Frameworks/CoreMedia.framework/CoreMedia";
constexpr const char* kMusicLibrary = QL_CLASSES "PrivateFrameworks/MusicLibrary.framework/MusicLibrary";
constexpr const char* kAppSupport = QL_CLASSES "PrivateFrameworks/AppSupport.framework/AppSupport";
#undef QL_CLASSES

@protocol UIDeviceClass
- (id)currentDevice;
@end

@protocol UIDeviceObject
- (NSString*)systemVersion;
@end

// The music library.

@protocol ML3MusicLibraryClass
- (void)setImportationEnabled:(BOOL)enabled;
- (id)sharedLibrary;
@end

/// Owned by whoever made it.
@protocol MLTrackImportObject <NSObject>
- (void)setAssetFilePath:(NSString*)path;
- (void)setMediaType:(unsigned int)type;
- (void)setShouldAddToPurchasedPlaylist:(BOOL)add;
- (void)setArtworkData:(NSData*)data;
- (void)setValue:(id)value forEntityProperty:(NSString*)property;
@end

typedef void (^QLImportCompletion)(uint32_t status, uint64_t persistentID, void* unused);

@protocol ML3TrackImporterObject <NSObject>
- (id)initWithMusicLibrary:(id)library;
- (void)importTrack:(id)trackImport withCompletionBlock:(QLImportCompletion)completion;
@end

@protocol MPMediaQueryObject
/// nil where the library cannot be read.
- (NSArray*)items;
@end

@protocol MPMediaItemObject
- (id)valueForProperty:(NSString*)property;
@end

// The media framework.

@protocol AVURLAssetClass
- (id)URLAssetWithURL:(NSURL*)url options:(NSDictionary*)options;
@end

@protocol AVURLAssetObject
- (NSArray*)availableMetadataFormats;
- (NSArray*)metadataForFormat:(NSString*)format;
- (CMTime)duration;
@end

@protocol AVMetadataItemObject
- (NSString*)commonKey;
- (NSString*)keySpace;
- (id)key;
- (id)value;
- (NSString*)stringValue;
@end

// Messages between processes.

@protocol CPDistributedMessagingCenterClass
- (id)centerNamed:(NSString*)name;
@end

@protocol CPDistributedMessagingCenterObject
- (BOOL)sendMessageName:(NSString*)name userInfo:(NSDictionary*)userInfo;
- (NSDictionary*)sendMessageAndReceiveReplyName:(NSString*)name userInfo:(NSDictionary*)userInfo;
- (void)runServerOnCurrentThread;
/// The target is not retained. Its method takes the message's name and user info and returns a dictionary or nil.
- (void)registerForMessageName:(NSString*)name target:(id)target selector:(SEL)selector;
- (void)unregisterForMessageName:(NSString*)name;
- (void)stopServer;
@end
