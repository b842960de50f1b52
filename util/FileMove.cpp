#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "util/FileCalls.hpp"
#include "util/FilePath.hpp"

namespace quillet::util {

namespace {

bool isTaken(const std::string& path) {
    return factsOf(path).has_value();
}

Status renameToFreeName(const std::string& from, const std::string& to) {
#ifdef __linux__
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return Status::success();
    if (errno != EINVAL && errno != ENOSYS) return Status::failure(errno);
#endif
    return renameByLink(from, to);
}

/// Owner first, since a change of owner takes mode bits and attributes away; times last, since all else changes them.
Status copyAttributes(const std::string& from, const std::string& to, const struct stat& facts) {
    mode_t mode = facts.st_mode & 07777;
    if (!statusOf(::lchown(to.c_str(), facts.st_uid, facts.st_gid)).ok()) {
        mode &= 0777;  // set-user-ID would lend the rights of another owner
        static_cast<void>(statusOf(::lchown(to.c_str(), static_cast<uid_t>(-1), facts.st_gid)));
    }
    if (const Status copied = copyExtendedAttributes(from, to, AttributeLoss::ofAny); !copied.ok()) return copied;
    if (!S_ISLNK(facts.st_mode)) {  // a link has no mode of its own
        const Status changed = statusOf(::chmod(to.c_str(), mode));
        if (!changed.ok() && !cannotBeKeptHere(changed)) return changed;
    }
    const Status timed = setTimes(to, facts);
    return cannotBeKeptHere(timed) ? Status::success() : timed;
}

Status copyRegularFile(const std::string& from, const std::string& to) {
    const FileDescriptor source = openForReading(from, O_NOFOLLOW);
    struct stat facts;
    if (!source.isOpen() || ::fstat(source.number(), &facts) != 0) return Status::failure(errno);
    if (const Status regular = regularFileStatus(facts); !regular.ok()) return regular;
    FileDescriptor target = createFile(to, 0600);
    if (!target.isOpen()) return Status::failure(errno);
    if (const Status copied = copyContent(source.number(), target.number(), nullptr); !copied.ok()) return copied;
    if (const Status copied = copyAttributes(from, to, facts); !copied.ok()) return copied;
    if (const Status synced = sync(target); !synced.ok()) return synced;
    if (const Status closed = target.close(); !closed.ok()) return closed;
    // Last, since a sync takes its time. Somebody is still writing: what comes after this would go with the source.
    return hasChanged(source, facts) ? Status::failure(EBUSY) : Status::success();
}

Status copySymbolicLink(const std::string& from, const std::string& to, const struct stat& facts) {
    std::string target(static_cast<std::size_t>(facts.st_size) + 1, '\0');
    const ssize_t count = ::readlink(from.c_str(), target.data(), target.size());
    if (count < 0) return Status::failure(errno);
    if (static_cast<std::size_t>(count) == target.size()) return Status::failure(EBUSY);  // replaced by a longer one
    target.resize(static_cast<std::size_t>(count));
    if (const Status made = statusOf(::symlink(target.c_str(), to.c_str())); !made.ok()) return made;
    return copyAttributes(from, to, facts);
}

Status copyEntry(const std::string& from, const std::string& to, dev_t device);

Status copyFolder(const std::string& from, const std::string& to, const struct stat& facts, dev_t device) {
    // Another file system that is mounted inside cannot be moved away, and may even hold the target.
    if (facts.st_dev != device) return Status::failure(EXDEV);
    // Known before anything is copied rather than when half of it has been removed.
    if (const Status removable = statusOf(::access(from.c_str(), W_OK | X_OK)); !removable.ok()) return removable;
    const auto names = listDirectory(from);
    if (!names) return Status::failure(errno);
    if (const Status made = statusOf(::mkdir(to.c_str(), 0700)); !made.ok()) return made;
    const FileDescriptor folder = openForReading(to, O_DIRECTORY | O_NOFOLLOW);
    if (!folder.isOpen()) return Status::failure(errno);
    for (const std::string& name : *names) {
        if (const Status copied = copyEntry(pathIn(from, name), pathIn(to, name), device); !copied.ok()) return copied;
    }
    if (const Status copied = copyAttributes(from, to, facts); !copied.ok()) return copied;
    const Status synced = sync(folder);
    return synced.error() == EINVAL ? Status::success() : synced;
}

/// On failure a part may stand at `to`. `device` is the file system that the whole move leaves.
Status copyEntry(const std::string& from, const std::string& to, dev_t device) {
    struct stat facts;
    if (const Status known = statusOf(::lstat(from.c_str(), &facts)); !known.ok()) return known;
    if (S_ISREG(facts.st_mode)) return copyRegularFile(from, to);
    if (S_ISLNK(facts.st_mode)) return copySymbolicLink(from, to, facts);
    if (S_ISDIR(facts.st_mode)) return copyFolder(from, to, facts, device);
    if (!S_ISFIFO(facts.st_mode)) return Status::failure(ENOTSUP);  // a socket or device means nothing elsewhere
    if (const Status made = statusOf(::mkfifo(to.c_str(), 0600)); !made.ok()) return made;
    return copyAttributes(from, to, facts);
}

/// Removes a folder that was copied to `copy`. An entry that `copy` has not got has come since: it stays, and so do the
/// folders that hold it.
Status removeCopied(const std::string& path, const std::string& copy) {
    const auto facts = factsOf(path);
    if (!facts) return Status::failure(errno);
    if (facts->kind != FileKind::directory) return statusOf(::unlink(path.c_str()));
    Status done = Status::success();
    for (const std::string& name : listDirectory(path).value_or(std::vector<std::string>())) {
        const std::string copied = pathIn(copy, name);
        if (!isTaken(copied)) continue;
        if (const Status removed = removeCopied(pathIn(path, name), copied); !removed.ok()) done = removed;
    }
    const Status removed = statusOf(::rmdir(path.c_str()));
    return done.ok() ? removed : done;
}

void removeOwn(const std::string& path) {
    static_cast<void>(removeCopied(path, path));
}

/// Copies to a working name, makes it durable and gives it its own name; on failure nothing is left.
Status copyToFreeName(const std::string& from, const std::string& to, const struct stat& facts) {
    const std::string working = workingPathBeside(to);
    Status done = copyEntry(from, working, facts.st_dev);
    if (done.ok()) done = renameToFreeName(working, to);
    if (!done.ok()) {
        removeOwn(working);
        return done;
    }
    done = syncFolderOf(to);
    if (!done.ok()) removeOwn(to);
    return done;
}

Status moveAcrossFileSystems(const std::string& from, const std::string& to) {
    if (isTaken(to)) return Status::failure(EEXIST);
    struct stat facts;
    if (const Status known = statusOf(::lstat(from.c_str(), &facts)); !known.ok()) return known;
    if (const Status copied = copyToFreeName(from, to, facts); !copied.ok()) return copied;

    // One call that succeeds or fails as a whole decides whether the source goes. A folder is renamed first, so that
    // nothing more can come into it by its old name while it is emptied.
    const bool isFolder = S_ISDIR(facts.st_mode);
    const std::string aside = isFolder ? workingPathBeside(from) : std::string();
    const Status taken = isFolder ? renameToFreeName(from, aside) : statusOf(::unlink(from.c_str()));
    if (!taken.ok()) {
        removeOwn(to);
        return taken;
    }
    if (!isFolder) return Status::success();
    const Status removed = removeCopied(aside, to);
    if (!removed.ok()) static_cast<void>(renameToFreeName(aside, from));  // so that its owner finds the rest
    return removed;
}

}  // namespace

Status renameByLink(const std::string& from, const std::string& to) {
    const auto facts = factsOf(from);
    if (!facts) return Status::failure(errno);
    if (facts->kind == FileKind::regular) {
        const Status linked = statusOf(::link(from.c_str(), to.c_str()));
        if (linked.ok()) {
            const Status removed = statusOf(::unlink(from.c_str()));
            if (!removed.ok()) ::unlink(to.c_str());
            return removed;
        }
        if (!cannotBeKeptHere(linked) && linked.error() != EMLINK) return linked;
    }
    if (isTaken(to)) return Status::failure(EEXIST);
    return statusOf(std::rename(from.c_str(), to.c_str()));
}

Status moveItem(const std::string& from, const std::string& to) {
    const Status renamed = renameToFreeName(from, to);
    return renamed.error() == EXDEV ? moveAcrossFileSystems(from, to) : renamed;
}

}  // namespace quillet::util
