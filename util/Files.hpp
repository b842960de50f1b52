#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/Bytes.hpp"
#include "util/Data.hpp"

/// File calls that are checked to the end. A call that can fail for a reason the user should hear answers a Status.
namespace quillet::util {

/// 0, or the errno of the call that failed.
class [[nodiscard]] Status {
  public:
    static Status success() { return Status(0); }
    static Status failure(int error) { return Status(error); }
    bool ok() const noexcept { return error_ == 0; }
    int error() const noexcept { return error_; }
    /// The machine's words for the error, such as "No space left on device".
    std::string message() const;

  private:
    explicit Status(int error) : error_(error) {}
    int error_;
};

/// Owns an open file descriptor, or none (-1).
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    int number() const noexcept { return number_; }
    bool isOpen() const noexcept { return number_ >= 0; }
    int release() noexcept;
    /// Closes now and tells how that went; a descriptor that is not open closes well.
    Status close();

  private:
    int number_ = -1;
};

/// The kinds of directory entry that callers tell apart.
enum class FileKind { regular, directory, symbolicLink, other };

struct FileFacts {
    FileKind kind = FileKind::other;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;  ///< bytes
};

/// Whether something is there, a symbolic link followed.
bool fileExists(const std::string& path);
/// Of the entry itself (a symbolic link is not followed); nullopt where there is none or it cannot be asked.
std::optional<FileFacts> factsOf(const std::string& path);

/// The names in a folder but "." and "..", sorted by their bytes as the device's file system lists them. Nullopt where
/// the folder cannot be read to its end.
std::optional<std::vector<std::string>> listDirectory(const std::string& path);
/// Makes the folder and those above it; success where it stands already.
Status createDirectories(const std::string& path);

/// Everything in the regular file; nullopt where it cannot be read to its end or is larger than kLargestWholeFile.
std::optional<Data> readFile(const std::string& path);
/// Writes all of `bytes`, again after a short write or an interrupt.
Status writeAll(int descriptor, Bytes bytes);
/// Whether a written file must outlive a crash of the machine, not only of the process.
enum class Durability { synced, unsynced };
/// Writes beside `path` under a name of its own, syncs if asked to, and renames into place. On failure what was at
/// `path` is untouched and the working file is gone.
Status writeFileAtomically(const std::string& path, Bytes bytes, Durability durability = Durability::synced);

/// Moves a file, link or folder to a name that is free: never over an existing entry (EEXIST). Within a file system it
/// is one rename. Across file systems a regular file, link or folder is copied beside the target with mode, times and
/// extended attributes, synced, given its name, and only then is the source removed; on failure the source is whole and
/// nothing is left at the target. Only a copied folder can fail later, where something came into it meanwhile or cannot
/// be removed: the target is then whole, and what could not be removed stays at the source.
Status moveItem(const std::string& from, const std::string& to);
/// Copies a regular file's bytes, mode and times to a name that is free (EEXIST). The kernel shares or copies the
/// blocks where it can. Not synced. A source that changes meanwhile is EBUSY. On failure nothing is left at the target.
/// `stop`, where given, is asked between chunks; answering true ends the copy with EINTR.
Status copyFile(const std::string& from, const std::string& to, bool (*stop)() = nullptr);

}  // namespace quillet::util
