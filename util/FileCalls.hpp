#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "util/Files.hpp"

/// What the file functions share among themselves; not for use outside util/.
namespace quillet::util {

/// Success unless `result`, what a system call answered, is negative: then the errno it left.
inline Status statusOf(int result) {
    return result < 0 ? Status::failure(errno) : Status::success();
}

/// `call()` again until no signal interrupts it.
template <typename Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

/// Opens for reading, without waiting for the other end of a FIFO; `flags` are added. Not open on failure, with errno
/// set.
FileDescriptor openForReading(const std::string& path, int flags = 0);
/// Success for a regular file, else why it cannot be read as one.
Status regularFileStatus(const struct stat& facts);

/// Makes an empty file of the caller's own, open for writing. Not open on failure, with errno set: EEXIST where the
/// name is taken.
FileDescriptor createFile(const std::string& path, mode_t mode);
/// A name beside `path` that no other call of this process, and no other process, gives out. It is hidden, so that what
/// watches the folder passes over it.
std::string workingPathBeside(const std::string& path);
/// Makes the names in the folder that holds `path` durable.
Status syncFolderOf(const std::string& path);

/// Copies from where `from` stands to its end. `stop` as copyFile has it.
Status copyContent(int from, int to, bool (*stop)());
#ifdef __APPLE__
inline timespec accessTime(const struct stat& facts) {
    return facts.st_atimespec;
}
inline timespec modificationTime(const struct stat& facts) {
    return facts.st_mtimespec;
}
#else
inline timespec accessTime(const struct stat& facts) {
    return facts.st_atim;
}
inline timespec modificationTime(const struct stat& facts) {
    return facts.st_mtim;
}
#endif

/// Gives the entry at `path` the access and modification times in `facts`; a symbolic link is not followed.
Status setTimes(const std::string& path, const struct stat& facts);

/// Renames to a free name (EEXIST) with no call that refuses to replace, for file systems and systems that lack one: a
/// file is linked under its new name, then the old name goes. What cannot be linked is renamed after a look whether the
/// name is free, which another process may then still take.
Status renameByLink(const std::string& from, const std::string& to);

/// Whether the open file has another size or modification time than `before`.
bool hasChanged(const FileDescriptor& file, const struct stat& before);

}  // namespace quillet::util
