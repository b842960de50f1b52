#pragma once

#import <Foundation/Foundation.h>
#import <objc/runtime.h>

/// The downloader app's methods that the hand-off replaces or adds. An `orig_` slot holds the implementation that the
/// method had before, null until it was replaced. All run on the thread on which the app calls them, its main thread.
namespace quillet::host {

/// -[SPTransfer connectionDidFinishLoading:]  After the app's own: names the finished download from its file name where
/// its tag has no title or artist, and has the downloads screen refreshed.
void connectionDidFinishLoading(id transfer, SEL selector, id connection);
extern void (*orig_connectionDidFinishLoading)(id transfer, SEL selector, id connection);

/// -[DownloadsViewController viewDidLoad]  After the app's own: tells on the empty screen where songs come from.
void downloadsViewDidLoad(id screen, SEL selector);
extern void (*orig_downloadsViewDidLoad)(id screen, SEL selector);

/// -[ImportViewController importFiles:]  In place of the app's own: serves the sync messaging center for this screen,
/// notes the names in `_filesToImport`, and moves each file from the downloads folder into the drop folder.
void importFiles(id screen, SEL selector, id fileNames);
extern void (*orig_importFiles)(id screen, SEL selector, id fileNames);

/// -[ImportViewController viewDidDisappear:]  After the app's own: serves no longer.
void importViewDidDisappear(id screen, SEL selector, BOOL animated);
extern void (*orig_importViewDidDisappear)(id screen, SEL selector, BOOL animated);

/// -[ImportViewController _handleLaunchMessageNamed:withUserInfo:]  What the music app's message does; no reply.
id handleLaunchMessage(id screen, SEL selector, NSString* name, NSDictionary* userInfo);

}  // namespace quillet::host
