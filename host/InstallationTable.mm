#import "host/InstallationTable.h"

#import <CydiaSubstrate/CydiaSubstrate.h>
#import <Foundation/Foundation.h>
#import <objc/runtime.h>

#include <type_traits>

#import "host/CompatibilityShims.h"
#import "host/DownloaderScreens.h"
#import "platform/ios/HostProcess.h"

namespace quillet::host {

namespace {

constexpr const char* kIdentifierTypes = "@@:";

/// Between a method's implementation and the runtime's untyped one; through data, since the types have nothing in
/// common.
template <typename To, typename From>
To* implementationOf(From* function) {
    return reinterpret_cast<To*>(reinterpret_cast<void*>(function));
}

using Untyped = std::remove_pointer_t<IMP>;

template <typename Function>
void replace(Class hostClass, SEL selector, Function* replacement, Function*& previous) {
    // The slot itself, so that it is filled before another thread can reach the replacement.
    if (hostClass != nil)
        MSHookMessageEx(hostClass, selector, implementationOf<Untyped>(replacement), reinterpret_cast<IMP*>(&previous));
}

template <typename Function>
void add(Class hostClass, SEL selector, Function* implementation, const char* types) {
    if (hostClass != nil) (void)class_addMethod(hostClass, selector, implementationOf<Untyped>(implementation), types);
}

}  // namespace

void installInDownloader() {
    static const Class alertView = objc_getClass("UIAlertView");
    const Class downloads = objc_getClass("DownloadsViewController");
    const Class import = objc_getClass("ImportViewController");
    // The order is part of the table.
    replace(objc_getClass("SPTransfer"), @selector(connectionDidFinishLoading:), connectionDidFinishLoading,
            orig_connectionDidFinishLoading);
    replace(downloads, @selector(viewDidLoad), downloadsViewDidLoad, orig_downloadsViewDidLoad);
    replace(import, @selector(viewDidDisappear:), importViewDidDisappear, orig_importViewDidDisappear);
    add(import, @selector(_handleLaunchMessageNamed:withUserInfo:), handleLaunchMessage, "@@:@@");
    replace(import, @selector(importFiles:), importFiles, orig_importFiles);
    replace(objc_getClass("TransfersViewCell"), @selector(initWithFrame:reuseIdentifier:), initTransfersViewCell,
            orig_initTransfersViewCell);
    add(objc_getClass("UITableView"), @selector(setOffset:), setOffset, kSetOffsetTypes);
    replace(objc_getClass("UIDevice"), @selector(systemVersion), systemVersionOfOldDevice, orig_systemVersion);
    replace(alertView, @selector(initWithTitle:message:delegate:cancelButtonTitle:otherButtonTitles:),
            UAV_initWithTitle, orig_UAV_initWithTitle);
}

void installIdentifier() {
    const Class device = objc_getClass("UIDevice");
    if ([currentDevice() respondsToSelector:@selector(uniqueIdentifier)])
        replace(device, @selector(uniqueIdentifier), uniqueIdentifier, orig_uniqueIdentifier);
    else
        add(device, @selector(uniqueIdentifier), uniqueIdentifier, kIdentifierTypes);
}

}  // namespace quillet::host
