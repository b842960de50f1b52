#include "tests/FaultInjection.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <optional>
#include <utility>

namespace quillet::test {
namespace {

constexpr int kKilled = 86;  // an exit status that no test program has of its own

/// What goes on now; nothing unless `counts`.
struct Injection {
    bool counts = false;
    std::optional<Fault> fault = std::nullopt;
    std::function<void()> event = nullptr;  ///< comes before call number `eventCall`
    std::size_t eventCall = 0;
    std::vector<std::string> calls = {};
    bool cameAbout = false;
    bool nextWriteFails = false;
};
Injection injection;

/// Counts a call; the fault that it is to have, if any.
const Fault* faultOf(const char* name) {
    if (!injection.counts) return nullptr;
    injection.calls.emplace_back(name);
    if (injection.event && injection.eventCall == injection.calls.size() - 1) {
        injection.counts = false;
        injection.event();
        injection.counts = injection.cameAbout = true;
    }
    if (!injection.fault || injection.fault->call != injection.calls.size() - 1) return nullptr;
    injection.cameAbout = injection.fault->kind != FaultKind::diskFull;
    if (injection.fault->kind == FaultKind::killBefore) _exit(kKilled);
    return &*injection.fault;
}

bool writes(const std::string& call) {
    return call == "write" || call == "pwrite64" || call == "copy_file_range";
}

bool reads(const std::string& call) {
    return call == "read" || call == "pread64";
}

int failed(int error) {
    errno = error;
    return -1;
}

/// A call that moves no bytes.
template <typename Call>
int plain(const char* name, Call call) {
    const Fault* fault = faultOf(name);
    if (fault != nullptr && fault->kind == FaultKind::fail) return failed(fault->error);
    const int result = call();
    if (fault != nullptr && fault->kind == FaultKind::killDuring) _exit(kKilled);
    return result;
}

/// A call that moves `size` bytes: `call(count)` moves `count`.
template <typename Call>
ssize_t moving(const char* name, std::size_t size, Call call) {
    const Fault* fault = faultOf(name);
    if (fault == nullptr || fault->kind == FaultKind::diskFull) return call(size);
    if (fault->kind == FaultKind::fail) return failed(fault->error);
    const ssize_t moved = call((size + 1) / 2);
    if (fault->kind == FaultKind::killDuring) _exit(kKilled);
    injection.nextWriteFails = writes(name) && fault->error != 0;
    return moved;
}

bool diskIsFull() {
    return injection.counts && injection.fault && injection.fault->kind == FaultKind::diskFull &&
           injection.calls.size() >= injection.fault->call;
}

/// The same for one that writes, at `offset` of `file` (-1: where it stands).
template <typename Call>
ssize_t writing(const char* name, int file, off_t offset, std::size_t size, Call call) {
    if (diskIsFull()) {
        struct stat facts{};
        const off_t begin = offset < 0 ? lseek(file, 0, SEEK_CUR) : offset;
        if (fstat(file, &facts) != 0 || begin + static_cast<off_t>(size) > facts.st_size) {
            injection.calls.emplace_back(name);
            injection.cameAbout = true;
            return failed(ENOSPC);
        }
    }
    if (injection.nextWriteFails) {
        injection.nextWriteFails = false;
        injection.calls.emplace_back(name);
        return failed(injection.fault->error);
    }
    return moving(name, size, call);
}

Injection runCounted(Injection with, const std::function<void()>& work) {
    injection = std::move(with);
    injection.counts = true;
    work();
    return std::exchange(injection, {});
}

std::vector<Fault> faultsOf(const std::string& call, std::size_t number) {
    std::vector<Fault> faults;
    for (const int error : {EIO, ENOSPC, EINTR}) faults.push_back({FaultKind::fail, number, error});
    if (writes(call)) faults.push_back({FaultKind::diskFull, number, ENOSPC});
    if (writes(call)) faults.push_back({FaultKind::shortCount, number, ENOSPC});
    if (writes(call) || reads(call)) faults.push_back({FaultKind::shortCount, number, 0});
    for (const FaultKind kind : {FaultKind::killBefore, FaultKind::killDuring}) faults.push_back({kind, number});
    return faults;
}

std::string described(const Fault& fault, const std::string& call) {
    const char* const kKinds[] = {"fails", "moves half", "finds the disk full", "is where we are killed",
                                  "is half done when we are killed"};
    return "call " + std::to_string(fault.call) + ", " + call + ", " + kKinds[static_cast<int>(fault.kind)] + ": " +
           std::strerror(fault.error);
}

}  // namespace

std::vector<std::string> callsOf(const std::function<void()>& work) {
    return runCounted({}, work).calls;
}

bool runWithFault(const Fault& fault, const std::function<void()>& work) {
    if (!fault.kills()) return runCounted({.fault = fault}, work).cameAbout;
    const pid_t child = fork();
    if (child == 0) {
        runCounted({.fault = fault}, work);
        _exit(0);
    }
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    EXPECT_TRUE(WIFEXITED(status)) << "the child crashed: " << status;
    return WIFEXITED(status) && WEXITSTATUS(status) == kKilled;
}

bool runWithEvent(std::size_t call, const std::function<void()>& event, const std::function<void()>& work) {
    return runCounted({.event = event, .eventCall = call}, work).cameAbout;
}

void tryEveryFault(const std::function<void()>& prepare, const std::function<void()>& work,
                   const std::function<void(const Fault&, const std::vector<std::string>&)>& check) {
    prepare();
    const std::vector<std::string> calls = callsOf(work);
    EXPECT_FALSE(calls.empty()) << "nothing that could be disturbed";
    for (std::size_t number = 0; number < calls.size(); ++number) {
        for (const Fault& fault : faultsOf(calls[number], number)) {
            SCOPED_TRACE(described(fault, calls[number]));
            prepare();
            const bool cameAbout = runWithFault(fault, work);
            // What lies inside of a file is written on a full disk as well.
            EXPECT_TRUE(cameAbout || fault.kind == FaultKind::diskFull);
            check(fault, calls);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

}  // namespace quillet::test

// What the linker puts in a call's place, and the call itself, by the linker's names for them.
extern "C" {

using quillet::test::moving;
using quillet::test::plain;
using quillet::test::writing;

int __real_open64(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return plain("open64", [&] { return __real_open64(path, flags, mode); });
}

int __real_close(int file);
int __wrap_close(int file) {
    bool closed = false;
    const int result = plain("close", [&] {
        closed = true;
        return __real_close(file);
    });
    if (!closed) {
        const int error = errno;
        __real_close(file);
        errno = error;
    }
    return result;
}

int __real_fstat64(int file, struct stat* facts);
int __wrap_fstat64(int file, struct stat* facts) {
    return plain("fstat64", [&] { return __real_fstat64(file, facts); });
}

int __real_stat64(const char* path, struct stat* facts);
int __wrap_stat64(const char* path, struct stat* facts) {
    return plain("stat64", [&] { return __real_stat64(path, facts); });
}

int __real_lstat64(const char* path, struct stat* facts);
int __wrap_lstat64(const char* path, struct stat* facts) {
    return plain("lstat64", [&] { return __real_lstat64(path, facts); });
}

ssize_t __real_read(int file, void* bytes, size_t size);
ssize_t __wrap_read(int file, void* bytes, size_t size) {
    return moving("read", size, [&](size_t count) { return __real_read(file, bytes, count); });
}

ssize_t __real_pread64(int file, void* bytes, size_t size, off_t offset);
ssize_t __wrap_pread64(int file, void* bytes, size_t size, off_t offset) {
    return moving("pread64", size, [&](size_t count) { return __real_pread64(file, bytes, count, offset); });
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    return writing("write", file, -1, size, [&](size_t count) { return __real_write(file, bytes, count); });
}

ssize_t __real_pwrite64(int file, const void* bytes, size_t size, off_t offset);
ssize_t __wrap_pwrite64(int file, const void* bytes, size_t size, off_t offset) {
    return writing("pwrite64", file, offset, size,
                   [&](size_t count) { return __real_pwrite64(file, bytes, count, offset); });
}

ssize_t __real_copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, size_t size, unsigned flags);
ssize_t __wrap_copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, size_t size, unsigned flags) {
    return writing("copy_file_range", to, toOffset == nullptr ? -1 : *toOffset, size,
                   [&](size_t count) { return __real_copy_file_range(from, fromOffset, to, toOffset, count, flags); });
}

int __real_ftruncate64(int file, off_t size);
int __wrap_ftruncate64(int file, off_t size) {
    return plain("ftruncate64", [&] { return __real_ftruncate64(file, size); });
}

int __real_fsync(int file);
int __wrap_fsync(int file) {
    return plain("fsync", [&] { return __real_fsync(file); });
}

int __real_fchmod(int file, mode_t mode);
int __wrap_fchmod(int file, mode_t mode) {
    return plain("fchmod", [&] { return __real_fchmod(file, mode); });
}

int __real_fchown(int file, uid_t owner, gid_t group);
int __wrap_fchown(int file, uid_t owner, gid_t group) {
    return plain("fchown", [&] { return __real_fchown(file, owner, group); });
}

int __real_futimens(int file, const timespec* times);
int __wrap_futimens(int file, const timespec* times) {
    return plain("futimens", [&] { return __real_futimens(file, times); });
}

int __real_lsetxattr(const char* path, const char* name, const void* value, size_t size, int flags);
int __wrap_lsetxattr(const char* path, const char* name, const void* value, size_t size, int flags) {
    return plain("lsetxattr", [&] { return __real_lsetxattr(path, name, value, size, flags); });
}

int __real_lremovexattr(const char* path, const char* name);
int __wrap_lremovexattr(const char* path, const char* name) {
    return plain("lremovexattr", [&] { return __real_lremovexattr(path, name); });
}

ssize_t __real_llistxattr(const char* path, char* names, size_t size);
ssize_t __wrap_llistxattr(const char* path, char* names, size_t size) {
    return plain("llistxattr", [&] { return static_cast<int>(__real_llistxattr(path, names, size)); });
}

ssize_t __real_lgetxattr(const char* path, const char* name, void* value, size_t size);
ssize_t __wrap_lgetxattr(const char* path, const char* name, void* value, size_t size) {
    return plain("lgetxattr", [&] { return static_cast<int>(__real_lgetxattr(path, name, value, size)); });
}

int __real_rename(const char* from, const char* to);
int __wrap_rename(const char* from, const char* to) {
    return plain("rename", [&] { return __real_rename(from, to); });
}

}  // extern "C"
