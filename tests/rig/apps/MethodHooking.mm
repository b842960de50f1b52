// What the injection framework and the object runtime do when methods are replaced and added, and a record of it.
#include <CydiaSubstrate/CydiaSubstrate.h>
#include <dlfcn.h>
#include <objc/runtime.h>

#include <cstdlib>
#include <string>

#import "tests/rig/apps/AppClasses.h"
#import "tests/rig/apps/Script.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

using quillet::rig::record;

namespace {

std::string nameOf(Class owner) {
    if (owner == Nil) return "nil";
    return (class_isMetaClass(owner) ? "+" : "") + std::string(class_getName(owner));
}

/// The class's own method, not one that it inherits.
Method ownMethod(Class owner, SEL selector) {
    unsigned count = 0;
    Method* const methods = class_copyMethodList(owner, &count);
    Method found = nullptr;
    for (unsigned i = 0; i < count && found == nullptr; ++i)
        if (sel_isEqual(method_getName(methods[i]), selector)) found = methods[i];
    std::free(methods);
    return found;
}

/// The runtime's own functions whose names this program has too.
struct Runtime {
    decltype(&class_addMethod) addMethod = function<decltype(&class_addMethod)>("class_addMethod");
    decltype(&objc_getClass) getClass = function<decltype(&objc_getClass)>("objc_getClass");
    decltype(&objc_lookUpClass) lookUpClass = function<decltype(&objc_lookUpClass)>("objc_lookUpClass");

    template <typename Function>
    static Function function(const char* name) {
        return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    }
};

/// Looked up while there is one thread: later, who asks may hold the runtime's lock, and who loads the loader's.
const Runtime& runtime() {
    static const Runtime found;
    return found;
}

bool isTheLibrary(const void* caller) {
    Dl_info facts = {};
    const char* library = std::getenv("QUILLET_RIG_LIBRARY");
    return dladdr(caller, &facts) != 0 && library != nullptr && std::string_view(facts.dli_fname) == library;
}

}  // namespace

/// A class that is not there, or has no such method, is left as it is, and so is `*previous`. An inherited method is
/// replaced in `owner` alone.
EXPORTED void MSHookMessageEx(Class owner, SEL selector, IMP replacement, IMP* previous) {
    const Method method = owner == Nil ? nullptr : class_getInstanceMethod(owner, selector);
    record(@"hook%s %s %s", method == nullptr ? " refused" : "", nameOf(owner).c_str(), sel_getName(selector));
    if (method == nullptr) return;
    *previous = method_getImplementation(method);
    if (const Method own = ownMethod(owner, selector))
        method_setImplementation(own, replacement);
    else
        runtime().addMethod(owner, selector, replacement, method_getTypeEncoding(method));
}

// In front of the runtime's own: what the library under test adds is recorded.
EXPORTED BOOL class_addMethod(Class owner, SEL selector, IMP implementation, const char* types) {
    const BOOL added = runtime().addMethod(owner, selector, implementation, types);
    if (isTheLibrary(__builtin_return_address(0)))
        record(@"add%s %s %s %s", added ? "" : " refused", nameOf(owner).c_str(), sel_getName(selector), types);
    return added;
}

// Likewise: of the doubles' classes, too, a host can lack some.
EXPORTED Class objc_getClass(const char* name) {
    return quillet::rig::isLeftOut(name) ? Nil : runtime().getClass(name);
}
EXPORTED Class objc_lookUpClass(const char* name) {
    return quillet::rig::isLeftOut(name) ? Nil : runtime().lookUpClass(name);
}
