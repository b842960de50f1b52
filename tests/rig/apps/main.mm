// A process of the stand-in device: whichever app its bundle says it is. It takes the library under test in before its
// own work begins, as the injection framework does, and then does what standard input tells it.
#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#import "tests/rig/apps/AppClasses.h"
#import "tests/rig/apps/Script.h"
#import "tests/rig/doubles/Doubles.h"

extern "C" NSLog_printf_handler* _NSLog_printf_handler;

namespace {

using namespace quillet::rig;

constexpr double kLongestLife = 600;  // seconds

/// The line without the time and the process in front.
void recordLogLine(NSString* line) {
    const NSUInteger end = NSMaxRange([line rangeOfString:@"] "]);
    NSString* const text = [line substringFromIndex:end];
    record(@"log: %@", [text hasSuffix:@"\n"] ? [text substringToIndex:[text length] - 1] : text);
}

void recordException(NSException* exception) {
    record(@"exception: %@: %@", [exception name], [exception reason]);
}

/// Performs each whole line of standard input; its end ends the process.
void readCommands() {
    static std::string unread;
    std::array<char, 4096> piece;
    const ssize_t count = read(STDIN_FILENO, piece.data(), piece.size());
    if (count <= 0) {
        rigForget(STDIN_FILENO);
        return rigStopMainLoop();
    }
    unread.append(piece.data(), static_cast<std::size_t>(count));
    for (std::size_t end = unread.find('\n'); end != std::string::npos; end = unread.find('\n')) {
        NSString* const line = [NSString stringWithUTF8String:unread.substr(0, end).c_str()];
        unread.erase(0, end + 1);
        perform(line);
    }
}

bool load(const char* variable, int mode) {
    const char* const library = std::getenv(variable);
    if (library == nullptr || dlopen(library, mode) != nullptr) return true;
    const std::string fault = dlerror();  // what it points at does not outlive the next call
    record(@"not loaded: %s", fault.c_str());
    return false;
}

}  // namespace

int main() {
    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    _NSLog_printf_handler = recordLogLine;
    NSSetUncaughtExceptionHandler(recordException);
    makeAppClasses();
    if (!load("QUILLET_RIG_ANSWERER", RTLD_NOW | RTLD_GLOBAL) || !load("QUILLET_RIG_LIBRARY", RTLD_NOW)) return 1;
    record(@"loaded");
    rigWhenReadable(STDIN_FILENO, readCommands);
    const bool ended = rigRunMainLoop(kLongestLife);
    [pool drain];
    return ended ? 0 : 1;
}
