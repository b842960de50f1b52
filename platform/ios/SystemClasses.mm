#include "platform/ios/SystemClasses.h"

#include <dlfcn.h>
#import <objc/runtime.h>

namespace quillet {

Class classNamed(const char* name, const char* framework) {
    if (Class found = objc_getClass(name)) return found;
    return dlopen(framework, RTLD_LAZY) == nullptr ? Nil : objc_getClass(name);
}

id answering(id object, SEL selector) {
    return [object respondsToSelector:selector] ? object : nil;
}

void* symbolNamed(const char* name, const char* framework) {
    if (void* found = dlsym(RTLD_DEFAULT, name)) return found;
    return dlopen(framework, RTLD_LAZY) == nullptr ? nullptr : dlsym(RTLD_DEFAULT, name);
}

}  // namespace quillet
