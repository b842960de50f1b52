#pragma once

#import <Foundation/Foundation.h>

namespace quillet {

/// The class `name`, loading `framework` (a path) where the process has no such class yet; nil where there is none.
/// Every class outside Foundation is found by this, so that one that is missing costs what it does and not the host.
Class classNamed(const char* name, const char* framework);

/// `object` where it answers `selector`, and otherwise nil, which takes every message.
id answering(id object, SEL selector);

/// The address of a framework's global or function, found by name as above; null where there is none.
void* symbolNamed(const char* name, const char* framework);

}  // namespace quillet
