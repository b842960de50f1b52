#pragma once

#import <Foundation/Foundation.h>

/// What an app of the rig does on command, and tells in the record.
namespace quillet::rig {

/// Adds a line to the record, with `|` for a line break in it.
void record(NSString* format, ...) NS_FORMAT_FUNCTION(1, 2);

/// The names in a folder of the device, sorted.
NSArray* filesIn(NSString* folder);

/// Carries out one command, its words separated by tabs, "-" for nil; the record's line "done" ends what it caused. An
/// exception that escapes is recorded too.
void perform(NSString* command);

}  // namespace quillet::rig
