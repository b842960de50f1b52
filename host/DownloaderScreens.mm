#import "host/DownloaderScreens.h"

#include <memory>
#include <string>

#import "host/HostObjects.h"
#include "host/HostPlatform.hpp"
#include "id3/TagAPI.hpp"
#include "import/DownloadNames.hpp"
#include "import/HandOff.hpp"
#include "import/QLSyncHelper.hpp"
#import "platform/ios/FoundationValues.h"
#import "platform/ios/SystemClasses.h"

namespace quillet::host {

void (*orig_connectionDidFinishLoading)(id, SEL, id) = nullptr;
void (*orig_downloadsViewDidLoad)(id, SEL) = nullptr;
void (*orig_importFiles)(id, SEL, id) = nullptr;
void (*orig_importViewDidDisappear)(id, SEL, BOOL) = nullptr;

namespace {

constexpr const char* kMediaPlayer = "/System/Library/Frameworks/MediaPlayer.framework/MediaPlayer";

NSString* textIn(id object) {
    return [object isKindOfClass:[NSString class]] ? object : nil;
}

void refreshDownloads() {
    static const Class screenClass = objc_getClass("DownloadsViewController");
    const id screen = [answering(screenClass, @selector(sharedInstance)) sharedInstance];
    [answering(screen, @selector(refresh)) refresh];
}

/// The center from the start of its server to the screen's disappearance: nobody else need keep it. Never destroyed.
std::shared_ptr<DistributedMessagingCenter>& servedCenter() {
    static auto* const center = new std::shared_ptr<DistributedMessagingCenter>();
    return *center;
}

/// What a message does to this import screen and the downloads screen.
class Screens : public HandOffScreens {
  public:
    explicit Screens(id importScreen) : importScreen_(importScreen) {}
    void libraryManagerWritingSucceded() override {
        [answering(importScreen_, @selector(libraryManagerWritingSucceded)) libraryManagerWritingSucceded];
    }
    void refresh() override { refreshDownloads(); }

  private:
    id importScreen_;
};

}  // namespace

void connectionDidFinishLoading(id transfer, SEL selector, id connection) {
    orig_connectionDidFinishLoading(transfer, selector, connection);
    if (NSString* const fileName = textIn(objectVariable(transfer, "theFilename"))) {
        const std::string name = textOf(fileName);
        (void)nameDownload(TagAPI::sharedInstance(), downloadPath(hostPlatform().paths, name), name);
    }
    refreshDownloads();
}

void downloadsViewDidLoad(id screen, SEL selector) {
    orig_downloadsViewDidLoad(screen, selector);
    const id<QLHostLabel> label = answering(objectVariable(screen, "_noSongsLabel"), @selector(setText:));
    [label setText:@"No songs in here\nYou can download songs from the search tab or drop any mp3s in\n"
                   @"/var/mobile/Media/Downloads"];
}

void importFiles(id screen, SEL /*selector*/, id fileNames) {
    servedCenter() = hostPlatform().messaging.distributedCenterNamed(kSyncMessagingCenter);
    if (const auto& center = servedCenter()) {
        (void)center->runServerOnCurrentThread();
        center->registerForMessageName(std::string(kSyncSuccessMessage), screen,
                                       @selector(_handleLaunchMessageNamed:withUserInfo:));
    }
    // The answer is not used; the question is part of the hand-off.
    static const Class playerClass = classNamed("MPMusicPlayerController", kMediaPlayer);
    const id player = [answering(playerClass, @selector(iPodMusicPlayer)) iPodMusicPlayer];
    (void)[answering(player, @selector(repeatMode)) repeatMode];

    const id variable = objectVariable(screen, "_filesToImport");
    NSMutableArray* const filesToImport = [variable isKindOfClass:[NSMutableArray class]] ? variable : nil;
    [filesToImport removeAllObjects];
    // What the app hands over is walked where it can be.
    for (id fileName in answering(fileNames, @selector(countByEnumeratingWithState:objects:count:))) {
        [filesToImport addObject:fileName];
        const std::string name = textOf(textIn(fileName));
        (void)handOver(hostPlatform().paths, name, name);
    }
}

void importViewDidDisappear(id screen, SEL selector, BOOL animated) {
    orig_importViewDidDisappear(screen, selector, animated);
    if (const auto center = hostPlatform().messaging.distributedCenterNamed(kSyncMessagingCenter)) center->stopServer();
    servedCenter() = nullptr;
}

id handleLaunchMessage(id screen, SEL /*selector*/, NSString* name, NSDictionary* /*userInfo*/) {
    Screens screens(screen);
    handleLaunchMessageNamed(textOf(textIn(name)), screens);
    return nil;
}

}  // namespace quillet::host
