#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "util/Bytes.hpp"
#include "util/Files.hpp"

namespace quillet::util {

/// Which file it is, and in which state. Two stamps are equal where nothing was written between them.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;  ///< bytes
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0;  ///< the last change of whatever is kept of it, names included
    std::int64_t changedNanoseconds = 0;
    bool operator==(const FileStamp&) const = default;
};
/// Asks the kernel. Fails with the call's errno.
Status stampOf(const FileDescriptor& file, FileStamp& stamp);

/// Bytes of a file, `end` not included.
struct FileRange {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

struct RewriteOptions {
    Durability durability = Durability::synced;
    bool keepTimes = false;  ///< the new content has the old one's access and modification times
};

/// Gives the file at `path` new content: `front`, and behind it `kept` parts of what it holds now, in their order. Made
/// in a working file beside it (".temp" is added to the name until it is free; a hidden name where that gets too long)
/// with mode, owner and extended attributes of the old, synced, and renamed into place in one step; then the folder is
/// synced. A symbolic link stays one, and the file that it leads to is rewritten. What cannot be kept (EPERM where this
/// user may not give a file to its owner) fails, attributes aside that the system attaches by its own rules.
///
/// `old` is that file, open, and `expected` the state in which its content is known: EBUSY where the file has another
/// state, before or after the copy, or where another file stands at `path`; a change of its attributes or links during
/// the copy is one too. On failure the file at `path` is as it was and the working file is gone, but for one case:
/// where the folder's sync fails the new content stands in its place. Each of `kept` must lie inside of the old file; a
/// copy that ends before its range does fails with EIO.
Status rewriteFile(const std::string& path, const FileDescriptor& old, const FileStamp& expected, Bytes front,
                   std::span<const FileRange> kept, const RewriteOptions& options = {});

/// Writes `bytes` over the ones at `offset` of an open file with one call; where that falls short a second one writes
/// the rest, and where that fails too, or anything after it, puts back `before`, which stood there, and the times.
/// EBUSY, and nothing written, where the file is not in the state `expected`. On failure the file is as it was, unless
/// `before` could not be written either, and never longer than before: bytes beyond its end are appended, and cut off
/// again. Not synced, unless `options` say so.
///
/// REQUIRES: `offset` lies in the file or at its end, and `before` is as long as what is overwritten (EINVAL).
Status overwriteFile(const FileDescriptor& file, const FileStamp& expected, std::uint64_t offset, Bytes bytes,
                     Bytes before, const RewriteOptions& options = {.durability = Durability::unsynced});

/// Cuts an open file to `size` bytes, which it has at least (EINVAL). EBUSY where it is not in the state `expected`.
/// What fails after the cut does not undo it.
Status truncateFile(const FileDescriptor& file, const FileStamp& expected, std::uint64_t size,
                    const RewriteOptions& options = {.durability = Durability::unsynced});

}  // namespace quillet::util
