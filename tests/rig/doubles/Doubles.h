#pragma once

#import <Foundation/Foundation.h>

#include <functional>

/// The stand-in of the device: doubles of the platform's own calls and classes, for programs on Linux that play one of
/// its processes. A program links `quillet_rig_doubles` whole (its classes are found by name alone) and exports its
/// symbols (ENABLE_EXPORTS), so that a library it loads finds them.
///
/// Environment of such a program:
///   QUILLET_RIG_ROOT      the device: processes with the same folder here share messages and the music library, which
///                         lies in ROOT/rig/library.plist; the devices of two tests never meet. Needed by the messaging
///                         center and the library.
///   QUILLET_RIG_RECORD    the file that rigRecord appends to; nothing is recorded without it
///   QUILLET_RIG_IMPORTER  "later": ML3TrackImporter completes on another thread, some time after its call has
///                         returned; "refuse": it takes no track; "raise": it raises; "twice": it completes a second
///                         time. Else it completes inside the call. It never takes a track before importation is
///                         enabled, or whose file is not there.
///
/// ROOT/rig/library.plist is {"next": the identifier that the next track gets, above 2^63; "tracks": {identifier in
/// decimal: {"assetFilePath", "mediaType", "shouldAddToPurchasedPlaylist", "artworkData", "values"}}}. It may be
/// changed while no process runs on the root.
///
/// AVURLAsset answers what ROOT/rig/assets/MD5.plist says, MD5 being the file's digest in lower-case hexadecimal:
/// {"formats": [{"name", "items": [{"commonKey", "keySpace", "key", "value", "stringValue"}]}], "duration": seconds}.
/// What an item lacks is nil; a duration that is missing is an invalid time. Without such a file it knows nothing.

/// Appends one line to the record, at once and whole, whatever thread or process writes beside. Line breaks in it
/// become spaces.
void rigRecord(NSString* line);
/// One line for any object: "text" in quotes, numbers in decimal, YES and NO, <5 bytes> for data, [a, b], {key = value}
/// sorted by key, nil.
NSString* rigDescription(id object);

/// The main loop of a host. All of these but rigStopMainLoop() are for the main thread: the one that was running when
/// the program was loaded.
///
/// Runs what was put on the main queue, what is due there, and the handlers of readable descriptors, until
/// rigStopMainLoop() was called or `condition`, asked after each of them, is true. False where neither came within
/// `seconds`. An empty condition is never true. The loop may be run again, and inside itself.
bool rigRunMainLoop(double seconds, const std::function<bool()>& condition = {});
/// Ends the running loop, or the next one at once; from any thread.
void rigStopMainLoop();
/// Calls `handler` on the main loop as long as `descriptor` can be read, end of file included. One handler a
/// descriptor.
void rigWhenReadable(int descriptor, std::function<void()> handler);
void rigForget(int descriptor);

/// What the doubles record, one line each; a value is its rigDescription:
///   center NAME runServer | stopServer | register MESSAGE
///   center NAME send MESSAGE USERINFO -> YES|NO
///   center NAME call MESSAGE USERINFO -> REPLY
///   center NAME receive MESSAGE USERINFO
///   library setImportationEnabled YES|NO
///   import assetFilePath|mediaType|shouldAddToPurchasedPlaylist|artworkData VALUE
///   import value PROPERTY VALUE
///   import track PATH                       importTrack:withCompletionBlock: was called
///   import complete STATUS IDENTIFIER       the completion block has returned
///   import freed PATH                       the last owner released the MLTrackImport
///   importer freed
///   asset PATH                              +URLAssetWithURL:options:
