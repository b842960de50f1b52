#import "host/HostObjects.h"

#import <objc/runtime.h>

#include <cstring>

namespace quillet::host {

id objectVariable(id object, const char* name) {
    if (object == nil) return nil;
    const Ivar variable = class_getInstanceVariable(object_getClass(object), name);
    const char* const type = variable == nullptr ? nullptr : ivar_getTypeEncoding(variable);
    if (type == nullptr || type[0] != '@') return nil;
    id value = nil;
    std::memcpy(&value, reinterpret_cast<const char*>(object) + ivar_getOffset(variable), sizeof value);
    return value;
}

}  // namespace quillet::host
