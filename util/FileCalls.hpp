#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "util/FileRewrite.hpp"
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

/// Whether a kept attribute failed only because this user may not set it, or this file system has no such thing.
inline bool cannotBeKeptHere(const Status& status) {
    const int error = status.error();
    return error == EPERM || error == EACCES || error == ENOTSUP || error == ENOSYS;
}

/// Opens for reading, without waiting for the other end of a FIFO; `flags` are added. Not open on failure, with errno
/// set.
FileDescriptor openForReading(const std::string& path, int flags = 0);
/// The same for reading and writing.
FileDescriptor openForUpdate(const std::string& path);
/// Success for a regular file, else why it cannot be read as one.
Status regularFileStatus(const struct stat& facts);

/// Makes an empty file of the caller's own, open for writing. Not open on failure, with errno set: EEXIST where the
/// name is taken.
FileDescriptor createFile(const std::string& path, mode_t mode);
/// A name beside `path` that no other call of this process, and no other process, gives out. It is hidden, so that what
/// watches the folder passes over it.
std::string workingPathBeside(const std::string& path);
/// Makes the content of an open file, or the names in an open folder, durable.
Status sync(const FileDescriptor& file);
/// Makes the names in the folder that holds `path` durable.
Status syncFolderOf(const std::string& path);

/// Copies from where `from` stands to its end. `stop` as copyFile has it.
Status copyContent(int from, int to, bool (*stop)());

/// Which extended attributes may stay behind where they cannot be kept: those that the system attaches by its own rules
/// ("security.", "trusted."), or all.
enum class AttributeLoss { ofTheSystemsOwn, ofAny };
/// A symbolic link is not followed. Attributes that `to` has and `from` has not stay.
Status copyExtendedAttributes(const std::string& from, const std::string& to, AttributeLoss loss);
/// Takes from `to` the access list that its folder gives to what is made in it, where `from` has none: under the mode
/// of `from` it would let in who was kept out.
Status dropAccessListOfFolder(const std::string& from, const std::string& to);

#ifdef __APPLE__
inline timespec accessTime(const struct stat& facts) {
    return facts.st_atimespec;
}
inline timespec modificationTime(const struct stat& facts) {
    return facts.st_mtimespec;
}
inline timespec changeTime(const struct stat& facts) {
    return facts.st_ctimespec;
}
#else
inline timespec accessTime(const struct stat& facts) {
    return facts.st_atim;
}
inline timespec modificationTime(const struct stat& facts) {
    return facts.st_mtim;
}
inline timespec changeTime(const struct stat& facts) {
    return facts.st_ctim;
}
#endif

/// Gives the entry at `path` the access and modification times in `facts`; a symbolic link is not followed.
Status setTimes(const std::string& path, const struct stat& facts);
Status setTimes(const FileDescriptor& file, const struct stat& facts);

/// Renames to a free name (EEXIST) with no call that refuses to replace, for file systems and systems that lack one: a
/// file is linked under its new name, then the old name goes. What cannot be linked is renamed after a look whether the
/// name is free, which another process may then still take.
Status renameByLink(const std::string& from, const std::string& to);

inline FileStamp stampOf(const struct stat& facts) {
    const timespec modified = modificationTime(facts);
    const timespec changed = changeTime(facts);
    return {static_cast<std::uint64_t>(facts.st_dev),
            static_cast<std::uint64_t>(facts.st_ino),
            static_cast<std::uint64_t>(facts.st_size),
            modified.tv_sec,
            modified.tv_nsec,
            changed.tv_sec,
            changed.tv_nsec};
}

/// Whether the open file has another size or modification time than `before`.
bool hasChanged(const FileDescriptor& file, const struct stat& before);

}  // namespace quillet::util
