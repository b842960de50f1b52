#import "tests/rig/apps/AppClasses.h"

#include <objc/runtime.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace quillet::rig {

namespace {

struct AppClass {
    const char* name;
    const char* superclass;
};

constexpr AppClass kAppClasses[] = {
    {"UIDevice", "NSObject"},
    {"UIAlertView", "NSObject"},
    {"UIView", "NSObject"},
    {"UITableView", "UIView"},
    {"UILabel", "UIView"},
    {"UIProgressView", "UIView"},
    {"UITableViewCell", "UIView"},
    {"TransfersViewCell", "UITableViewCell"},
    {"MPMusicPlayerController", "NSObject"},
    {"UIViewController", "NSObject"},
    {"SPTransfer", "NSObject"},
    {"DownloadsViewController", "UIViewController"},
    {"ImportViewController", "UIViewController"},
};

std::string nameOf(const AppClass& owner, const char* member) {
    return std::string(owner.name) + '.' + member;
}

void copyMethods(Class from, Class to, const AppClass& wanted) {
    unsigned count = 0;
    Method* const methods = class_copyMethodList(from, &count);
    for (unsigned i = 0; i < count; ++i) {
        const SEL selector = method_getName(methods[i]);
        if (!isLeftOut(nameOf(wanted, sel_getName(selector))))
            class_addMethod(to, selector, method_getImplementation(methods[i]), method_getTypeEncoding(methods[i]));
    }
    std::free(methods);
}

void makeClass(const AppClass& wanted) {
    const Class pattern = objc_getClass((std::string("Rig") + wanted.name).c_str());
    const Class made = objc_allocateClassPair(objc_getClass(wanted.superclass), wanted.name, 0);
    unsigned count = 0;
    Ivar* const variables = class_copyIvarList(pattern, &count);
    for (unsigned i = 0; i < count; ++i) {
        const std::string name = nameOf(wanted, ivar_getName(variables[i]));
        const char* const types = isLeftOut(name + '#') ? @encode(std::uintptr_t) : ivar_getTypeEncoding(variables[i]);
        NSUInteger size = 0;
        NSUInteger alignment = 0;
        NSGetSizeAndAlignment(types, &size, &alignment);
        if (!isLeftOut(name))
            class_addIvar(made, ivar_getName(variables[i]), size,
                          static_cast<unsigned char>(std::countr_zero(alignment)), types);
    }
    std::free(variables);
    copyMethods(pattern, made, wanted);
    copyMethods(object_getClass(pattern), object_getClass(made), wanted);
    objc_registerClassPair(made);
}

bool holdsObject(Ivar variable) {
    return ivar_getTypeEncoding(variable)[0] == '@';
}

}  // namespace

bool isLeftOut(std::string_view name) {
    const char* const names = std::getenv("QUILLET_RIG_WITHOUT");
    return names != nullptr &&
           (' ' + std::string(names) + ' ').find(' ' + std::string(name) + ' ') != std::string::npos;
}

void makeAppClasses() {
    for (const AppClass& wanted : kAppClasses)
        if (!isLeftOut(wanted.name)) makeClass(wanted);
}

id variableOf(id object, const char* name) {
    const Ivar variable = class_getInstanceVariable(object_getClass(object), name);
    return variable == nullptr || !holdsObject(variable) ? nil : object_getIvar(object, variable);
}

void setVariable(id object, const char* name, id value) {
    const Ivar variable = class_getInstanceVariable(object_getClass(object), name);
    if (variable == nullptr) return;
    constexpr std::uintptr_t kNoAddress = 7;
    if (holdsObject(variable))
        object_setIvar(object, variable, [value retain]);
    else
        std::memcpy(reinterpret_cast<char*>(object) + ivar_getOffset(variable), &kNoAddress, sizeof kNoAddress);
}

}  // namespace quillet::rig
