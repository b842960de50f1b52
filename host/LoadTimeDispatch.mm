#include "host/LoadTimeDispatch.hpp"

#import <Foundation/Foundation.h>
#include <dlfcn.h>

#import "host/CompatibilityShims.h"
#include "host/HostPlatform.hpp"
#import "host/InstallationTable.h"
#include "import/QLSyncHelper.hpp"
#import "platform/ios/HostProcess.h"

namespace quillet::host {

namespace {

constexpr float kFirstVersion = 7.0F;
constexpr double kFirstVersionOfMusicApp = 5.0;

NSString* const kMusicApp = @"com.apple.mobileipod";
NSString* const kRenamedMusicApp = @"com.apple.Music";
NSString* const kDownloader = @"com.quillet.downloader";

}  // namespace

void loadTimeDispatch() {
    NSString* const version = systemVersion();
    if (version == nil || [version floatValue] < kFirstVersion) return;
    _systemVersionChecked = true;
    (void)dlopen("/usr/lib/libMobileGestalt.dylib", RTLD_LAZY);
    // Found wherever it is, since the system may have loaded it from elsewhere.
    _MGCopyAnswer = reinterpret_cast<id (*)(NSString*)>(dlsym(RTLD_DEFAULT, "MGCopyAnswer"));

    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    NSString* const host = hostBundleIdentifier();
    if ([host isEqualToString:kMusicApp] || [host isEqualToString:kRenamedMusicApp]) {
        if ([systemVersion() doubleValue] >= kFirstVersionOfMusicApp) {
            hostPlatform();
            QLSyncHelper::sharedInstance().scanDatabaseChanges();
        }
    } else if ([host isEqualToString:kDownloader]) {
        hostPlatform();
        installInDownloader();
    }
    installIdentifier();
    [pool drain];
}

}  // namespace quillet::host
