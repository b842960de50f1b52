#include "util/FileRewrite.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "util/ContentWriter.hpp"
#include "util/FileCalls.hpp"

namespace quillet::util {

namespace {

/// Asks for the facts of an open file; EBUSY where it is not in the state `expected`.
Status factsInState(const FileDescriptor& file, const FileStamp& expected, struct stat& facts) {
    if (const Status known = statusOf(::fstat(file.number(), &facts)); !known.ok()) return known;
    // Without a name it was deleted or replaced, and what is written into it nobody will find.
    return stampOf(facts) == expected && facts.st_nlink > 0 ? Status::success() : Status::failure(EBUSY);
}

/// Where the entry at `path` leads to; only a symbolic link costs more than a look.
Status resolve(std::string& path) {
    struct stat facts;
    if (const Status known = statusOf(::lstat(path.c_str(), &facts)); !known.ok()) return known;
    if (!S_ISLNK(facts.st_mode)) return Status::success();
    const std::unique_ptr<char, decltype(&std::free)> target(::realpath(path.c_str(), nullptr), &std::free);
    if (!target) return Status::failure(errno);
    path = target.get();
    return Status::success();
}

/// A new file beside another, which removes itself unless it takes that one's name.
class WorkingFile {
  public:
    WorkingFile() = default;
    ~WorkingFile() {
        if (isOwn_) ::unlink(path_.c_str());
    }
    WorkingFile(const WorkingFile&) = delete;
    WorkingFile& operator=(const WorkingFile&) = delete;

    Status make(const std::string& target) {
        path_ = target;
        Status made = Status::failure(EEXIST);
        while (made.error() == EEXIST) made = create(path_ + ".temp");
        if (made.error() == ENAMETOOLONG) made = create(workingPathBeside(target));
        isOwn_ = made.ok();
        return made;
    }
    const std::string& path() const { return path_; }
    FileDescriptor& file() { return file_; }
    Status rename(const std::string& target) {
        const Status renamed = statusOf(std::rename(path_.c_str(), target.c_str()));
        if (renamed.ok()) isOwn_ = false;
        return renamed;
    }

  private:
    Status create(std::string path) {
        path_ = std::move(path);
        file_ = createFile(path_, 0600);
        return file_.isOpen() ? Status::success() : Status::failure(errno);
    }

    std::string path_;
    FileDescriptor file_;
    bool isOwn_ = false;
};

/// Owner, extended attributes and mode, in this order: a change of owner takes the others away, and an access list
/// changes the mode. A call is made only where something differs, which spares file systems that cannot do it.
Status giveAttributes(WorkingFile& working, const std::string& target, const struct stat& old) {
    struct stat facts;
    if (const Status known = statusOf(::fstat(working.file().number(), &facts)); !known.ok()) return known;
    if (facts.st_uid != old.st_uid || facts.st_gid != old.st_gid) {
        const Status given = statusOf(::fchown(working.file().number(), old.st_uid, old.st_gid));
        if (!given.ok()) return given;
    }
    if (const Status copied = copyExtendedAttributes(target, working.path(), AttributeLoss::ofTheSystemsOwn);
        !copied.ok()) {
        return copied;
    }
    if (const Status dropped = dropAccessListOfFolder(target, working.path()); !dropped.ok()) return dropped;
    if (((facts.st_mode ^ old.st_mode) & 07777) == 0) return Status::success();
    return statusOf(::fchmod(working.file().number(), old.st_mode & 07777));
}

Status makeContent(WorkingFile& working, const FileDescriptor& old, Bytes front, std::span<const FileRange> kept) {
    std::uint64_t size = front.size();
    for (const FileRange& range : kept) size += range.end - range.begin;
    ContentWriter writer(working.file().number(), size);
    if (const Status written = writer.append(front); !written.ok()) return written;
    for (const FileRange& range : kept) {
        const Status copied = writer.appendRange(old.number(), range.begin, range.end);
        if (!copied.ok()) return copied;
    }
    return writer.finish();
}

/// EBUSY unless the file at `target` is the one of which `before` was told, and nothing of it has changed: neither its
/// content nor what else it has. That the time of its last change tells, but for what came within one of the clock's
/// ticks, and so what can be looked at is.
Status stillStands(const std::string& target, const struct stat& before) {
    struct stat now;
    if (const Status known = statusOf(::lstat(target.c_str(), &now)); !known.ok()) return known;
    const bool same = stampOf(now) == stampOf(before) && now.st_mode == before.st_mode && now.st_uid == before.st_uid &&
                      now.st_gid == before.st_gid && now.st_nlink == before.st_nlink;
    return same ? Status::success() : Status::failure(EBUSY);
}

Status replace(const std::string& target, const FileDescriptor& old, const struct stat& facts, Bytes front,
               std::span<const FileRange> kept, const RewriteOptions& options) {
    WorkingFile working;
    if (const Status made = working.make(target); !made.ok()) return made;
    if (const Status filled = makeContent(working, old, front, kept); !filled.ok()) return filled;
    if (const Status given = giveAttributes(working, target, facts); !given.ok()) return given;
    if (options.keepTimes) {
        if (const Status timed = setTimes(working.file(), facts); !timed.ok()) return timed;
    }
    if (options.durability == Durability::synced) {
        if (const Status synced = sync(working.file()); !synced.ok()) return synced;
    }
    if (const Status closed = working.file().close(); !closed.ok()) return closed;
    // Last, since the copy and the sync take their time.
    if (const Status stands = stillStands(target, facts); !stands.ok()) return stands;
    return working.rename(target);
}

/// Writes all of `bytes` at `offset`: one call, and a second only to learn what keeps the first from finishing.
Status writeAt(const FileDescriptor& file, std::uint64_t offset, Bytes bytes) {
    for (int call = 0; call < 2 && !bytes.empty(); ++call) {
        const ssize_t count =
            retried([&] { return ::pwrite(file.number(), bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
        if (count < 0) return Status::failure(errno);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return bytes.empty() ? Status::success() : Status::failure(EIO);
}

/// What a changed file needs beside its content, as far as the options ask for it.
Status finish(const FileDescriptor& file, const struct stat& before, const RewriteOptions& options) {
    if (options.keepTimes) {
        if (const Status timed = setTimes(file, before); !timed.ok()) return timed;
    }
    return options.durability == Durability::synced ? sync(file) : Status::success();
}

Status cut(const FileDescriptor& file, std::uint64_t size) {
    return statusOf(retried([&] { return ::ftruncate(file.number(), static_cast<off_t>(size)); }));
}

/// Makes good what a failed overwrite may have done, and then the times too: nothing has changed.
void putBack(const FileDescriptor& file, const struct stat& facts, std::uint64_t offset, Bytes before, bool hasGrown,
             Durability durability) {
    // Both are tried, whatever becomes of the other. What was appended goes first: that frees room.
    const Status shortened = hasGrown ? cut(file, static_cast<std::uint64_t>(facts.st_size)) : Status::success();
    const Status written = writeAt(file, offset, before);
    const RewriteOptions asBefore = {.durability = durability, .keepTimes = shortened.ok() && written.ok()};
    static_cast<void>(finish(file, facts, asBefore));
}

}  // namespace

Status stampOf(const FileDescriptor& file, FileStamp& stamp) {
    struct stat facts;
    if (const Status known = statusOf(::fstat(file.number(), &facts)); !known.ok()) return known;
    stamp = stampOf(facts);
    return Status::success();
}

Status rewriteFile(const std::string& path, const FileDescriptor& old, const FileStamp& expected, Bytes front,
                   std::span<const FileRange> kept, const RewriteOptions& options) {
    if (std::ranges::any_of(kept, [](const FileRange& range) { return range.begin > range.end; }))
        return Status::failure(EINVAL);
    struct stat facts;
    if (const Status known = factsInState(old, expected, facts); !known.ok()) return known;
    std::string target = path;
    if (const Status resolved = resolve(target); !resolved.ok()) return resolved;
    const Status replaced = replace(target, old, facts, front, kept, options);
    if (!replaced.ok() || options.durability == Durability::unsynced) return replaced;
    return syncFolderOf(target);
}

Status overwriteFile(const FileDescriptor& file, const FileStamp& expected, std::uint64_t offset, Bytes bytes,
                     Bytes before, const RewriteOptions& options) {
    // A gap would become zeros, and what `before` does not hold could not be put back.
    if (offset > expected.size || before.size() != std::min<std::uint64_t>(bytes.size(), expected.size - offset))
        return Status::failure(EINVAL);
    struct stat facts;
    if (const Status known = factsInState(file, expected, facts); !known.ok()) return known;
    Status done = writeAt(file, offset, bytes);
    if (done.ok()) done = finish(file, facts, options);
    if (!done.ok()) putBack(file, facts, offset, before, bytes.size() > before.size(), options.durability);
    return done;
}

Status truncateFile(const FileDescriptor& file, const FileStamp& expected, std::uint64_t size,
                    const RewriteOptions& options) {
    if (size > expected.size) return Status::failure(EINVAL);
    struct stat facts;
    if (const Status known = factsInState(file, expected, facts); !known.ok()) return known;
    if (size == expected.size) return Status::success();
    if (const Status shortened = cut(file, size); !shortened.ok()) return shortened;
    return finish(file, facts, options);
}

}  // namespace quillet::util
