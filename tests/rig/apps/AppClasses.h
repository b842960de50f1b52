#pragma once

#import <CoreGraphics/CGGeometry.h>
#import <Foundation/Foundation.h>

#include <string_view>

/// The classes that a host has of its own and of the platform's screens, as far as the library under test meets them.
namespace quillet::rig {

/// Whether QUILLET_RIG_WITHOUT, names separated by spaces, has this one: a class ("SPTransfer"), or a variable or
/// method of one ("SPTransfer.theFilename", "UIDevice.uniqueIdentifier").
bool isLeftOut(std::string_view name);

/// Makes all that are not left out. Each is made of its template, the class of the same name with "Rig" in front, whose
/// variables are reached by name because they may be left out; its methods do not message super, which in a copied
/// method leads back to the copy's own class.
void makeAppClasses();

/// What the object variable `name` holds, not retained; nil where there is no such variable.
id variableOf(id object, const char* name);
/// Puts `value` there and keeps it, or a number where the variable is one; does nothing where there is no such
/// variable.
void setVariable(id object, const char* name, id value);

}  // namespace quillet::rig

// Most methods below write a line to the record.

@interface RigUIDevice : NSObject
+ (id)currentDevice;
- (NSString*)systemVersion;     ///< QUILLET_RIG_VERSION
- (NSString*)uniqueIdentifier;  ///< "the device's own"
@end

@interface RigUIAlertView : NSObject {
    id _delegate;
    NSMutableArray* _buttons;
}
/// nil for the title "refused".
- (id)initWithTitle:(NSString*)title
              message:(NSString*)message
             delegate:(id)delegate
    cancelButtonTitle:(NSString*)cancel
    otherButtonTitles:(NSString*)first, ...;
- (NSInteger)addButtonWithTitle:(NSString*)title;
- (id)delegate;
- (NSArray*)buttons;
@end

@interface RigUIView : NSObject {
    CGRect _frame;
}
- (id)initWithFrame:(CGRect)frame;
- (CGRect)frame;
- (void)setFrame:(CGRect)frame;
@end

@interface RigUITableView : RigUIView
- (void)setOffset:(CGFloat)offset;  ///< a device from iOS 7 on has none
@end

@interface RigUILabel : RigUIView {
    NSString* _text;
}
- (NSString*)text;
- (void)setText:(NSString*)text;
@end

@interface RigUITableViewCell : RigUIView
- (id)initWithFrame:(CGRect)frame reuseIdentifier:(NSString*)identifier;
@end

/// Its bar lies at (10, 20) and is 200 points wide and 9 high; for the reuse identifier "bare" there is none.
@interface RigTransfersViewCell : RigUITableViewCell {
    id _progressBar;
}
@end

@interface RigMPMusicPlayerController : NSObject
+ (id)iPodMusicPlayer;
- (NSInteger)repeatMode;
@end

@interface RigUIViewController : NSObject
- (void)viewDidLoad;
- (void)viewDidDisappear:(BOOL)animated;
@end

@interface RigSPTransfer : NSObject {
    NSString* theFilename;
}
- (void)connectionDidFinishLoading:(id)connection;
@end

@interface RigDownloadsViewController : RigUIViewController {
    id _noSongsLabel;
}
+ (id)sharedInstance;
- (void)refresh;
@end

/// Begins with one file to import, "left over.mp3".
@interface RigImportViewController : RigUIViewController {
    NSMutableArray* _filesToImport;
}
- (void)importFiles:(id)fileNames;
- (void)libraryManagerWritingSucceded;
@end
