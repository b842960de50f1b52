#include "platform/ios/MediaLibraryMusicLibrary.hpp"

#include <Block.h>

#include <utility>

#include "platform/ios/FoundationValues.h"
#import "platform/ios/PrivateClasses.h"
#import "platform/ios/SystemClasses.h"
#include "util/Log.hpp"

namespace quillet {

namespace {

/// The status of a track that did not reach the library's own importer, or that it gave no identifier and no status.
constexpr std::uint32_t kNotImported = 1;

struct ImportClasses {
    Class library = classNamed("ML3MusicLibrary", kMusicLibrary);
    Class trackImport = classNamed("MLTrackImport", kMusicLibrary);
    Class importer = classNamed("ML3TrackImporter", kMusicLibrary);

    static const ImportClasses& found() {
        static const ImportClasses classes;
        return classes;
    }
    bool areThere() const { return library != Nil && trackImport != Nil && importer != Nil; }
};

/// One track between the call and the library's answer, whichever thread that comes on.
class PendingImport {
  public:
    explicit PendingImport(MusicLibrary::Completion completion) : completion_(std::move(completion)) {}
    ~PendingImport() { [trackImport_ release]; }
    PendingImport(const PendingImport&) = delete;
    PendingImport& operator=(const PendingImport&) = delete;

    /// The caller's count of it becomes ours.
    void takeTrackImport(id<MLTrackImportObject> trackImport) { trackImport_ = trackImport; }
    id<MLTrackImportObject> trackImport() const { return trackImport_; }

    /// Only the first answer counts.
    void complete(std::uint32_t status, std::uint64_t persistentID) {
        const auto completion = std::exchange(completion_, nullptr);
        if (!completion) return;
        [std::exchange(trackImport_, nil) release];
        // The identifier alone says that the track is there: what the library's statuses mean is its own.
        if (persistentID != 0) return completion(0, persistentID);
        completion(status == 0 ? kNotImported : status, 0);
    }

  private:
    id<MLTrackImportObject> trackImport_ = nil;
    MusicLibrary::Completion completion_;
};

/// Owns a copied block, whatever the library raises.
struct CopiedBlock {
    QLImportCompletion block;

    explicit CopiedBlock(QLImportCompletion original) : block(Block_copy(original)) {}
    ~CopiedBlock() { Block_release(block); }
    CopiedBlock(const CopiedBlock&) = delete;
    CopiedBlock& operator=(const CopiedBlock&) = delete;
};

void fill(id<MLTrackImportObject> trackImport, const TrackImport& track) {
    [trackImport setAssetFilePath:stringOf(track.assetFilePath)];
    [trackImport setMediaType:track.mediaType];
    [trackImport setShouldAddToPurchasedPlaylist:track.shouldAddToPurchasedPlaylist];
    if (track.artworkData) [trackImport setArtworkData:objectOf(util::PropertyValue(*track.artworkData))];
    for (const auto& [property, value] : track.values)
        [trackImport setValue:objectOf(value) forEntityProperty:stringOf(property)];
}

/// `pending` is by value, since a block keeps of a reference no more than that.
void import(const ImportClasses& classes, const TrackImport& track, std::shared_ptr<PendingImport> pending) {
    id library = [(id<ML3MusicLibraryClass>)classes.library sharedLibrary];
    id<ML3TrackImporterObject> importer = [[[classes.importer alloc] initWithMusicLibrary:library] autorelease];
    pending->takeTrackImport([[classes.trackImport alloc] init]);
    fill(pending->trackImport(), track);
    const CopiedBlock completion(^(uint32_t status, uint64_t persistentID, void*) {
      @autoreleasepool {
          pending->complete(status, persistentID);
      }
    });
    [importer importTrack:pending->trackImport() withCompletionBlock:completion.block];
    if (importer == nil) pending->complete(kNotImported, 0);
}

}  // namespace

void MediaLibraryMusicLibrary::setImportationEnabled(bool enabled) {
    const id library = answering(ImportClasses::found().library, @selector(setImportationEnabled:));
    [(id<ML3MusicLibraryClass>)library setImportationEnabled:enabled];
}

void MediaLibraryMusicLibrary::importTrack(std::shared_ptr<TrackImport> track, Completion completion) {
    const ImportClasses& classes = ImportClasses::found();
    if (!classes.areThere()) return completion(kNotImported, 0);
    @autoreleasepool {
        const auto pending = std::make_shared<PendingImport>(std::move(completion));
        @try {
            import(classes, *track, pending);
        } @catch (NSException* raised) {
            // A value that the library will not have, or a method that it lacks, costs this track and not the host.
            util::log("the music library does not take " + track->assetFilePath + ": " + textOf([raised reason]));
            pending->complete(kNotImported, 0);
        }
    }
}

std::optional<std::vector<std::uint64_t>> MediaLibraryMusicLibrary::persistentIdentifiers() {
    const auto* property =
        static_cast<NSString* const*>(symbolNamed("MPMediaEntityPropertyPersistentID", kMediaPlayer));
    if (property == nullptr) return std::nullopt;
    @autoreleasepool {
        id<MPMediaQueryObject> query = [[[classNamed("MPMediaQuery", kMediaPlayer) alloc] init] autorelease];
        NSArray* items = [(id<MPMediaQueryObject>)answering(query, @selector(items)) items];
        if (items == nil) return std::nullopt;
        std::vector<std::uint64_t> identifiers;
        @try {
            identifiers.reserve([items count]);
            for (id<MPMediaItemObject> item in items)
                identifiers.push_back([[item valueForProperty:*property] unsignedLongLongValue]);
        } @catch (NSException* raised) {
            util::log("the music library does not tell its tracks: " + textOf([raised reason]));
            return std::nullopt;
        }
        return identifiers;
    }
}

}  // namespace quillet
