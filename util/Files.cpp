#include "util/Files.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "util/FileCalls.hpp"
#include "util/FilePath.hpp"
#include "util/Limits.hpp"

namespace quillet::util {

namespace {

bool isFolder(const std::string& path) {
    struct stat facts;
    return ::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

FileKind kindFromMode(mode_t mode) {
    if (S_ISREG(mode)) return FileKind::regular;
    if (S_ISDIR(mode)) return FileKind::directory;
    if (S_ISLNK(mode)) return FileKind::symbolicLink;
    return FileKind::other;
}

/// Writes all and closes; only then is it known that every byte arrived.
Status writeClosed(FileDescriptor& file, Bytes bytes, Durability durability) {
    if (const Status written = writeAll(file.number(), bytes); !written.ok()) return written;
    if (durability == Durability::synced) {
        if (const Status synced = sync(file); !synced.ok()) return synced;
    }
    return file.close();
}

}  // namespace

// Known errors have fixed texts, so that no buffer is shared between threads.
std::string Status::message() const {
    return std::strerror(error_);
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        static_cast<void>(close());
        number_ = other.release();
    }
    return *this;
}

FileDescriptor::~FileDescriptor() {
    static_cast<void>(close());
}

int FileDescriptor::release() noexcept {
    return std::exchange(number_, -1);
}

Status FileDescriptor::close() {
    if (!isOpen()) return Status::success();
    const int result = ::close(release());
    // Interrupted, the number is free all the same; closing again could hit another thread's file.
    return result < 0 && errno == EINTR ? Status::success() : statusOf(result);
}

bool fileExists(const std::string& path) {
    struct stat facts;
    return ::stat(path.c_str(), &facts) == 0;
}

std::optional<FileFacts> factsOf(const std::string& path) {
    struct stat facts;
    if (::lstat(path.c_str(), &facts) != 0) return std::nullopt;
    return FileFacts{kindFromMode(facts.st_mode), static_cast<std::uint64_t>(facts.st_dev),
                     static_cast<std::uint64_t>(facts.st_ino), static_cast<std::uint64_t>(facts.st_size)};
}

std::optional<std::vector<std::string>> listDirectory(const std::string& path) {
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> folder(::opendir(path.c_str()), close);
    if (!folder) return std::nullopt;
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
        errno = 0;
    }
    if (errno != 0) return std::nullopt;
    std::ranges::sort(names);
    return names;
}

Status createDirectories(const std::string& path) {
    if (isFolder(path)) return Status::success();
    const std::string above(deletingLastPathComponent(path));
    if (!above.empty() && above != path) {
        if (const Status made = createDirectories(above); !made.ok()) return made;
    }
    const Status made = statusOf(::mkdir(path.c_str(), 0777));
    if (made.error() != EEXIST) return made;
    // Somebody else may have made it meanwhile; anything else that bears the name is in the way.
    return isFolder(path) ? Status::success() : Status::failure(ENOTDIR);
}

FileDescriptor openForReading(const std::string& path, int flags) {
    return FileDescriptor(
        retried([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags); }));
}

FileDescriptor openForUpdate(const std::string& path) {
    return FileDescriptor(retried([&] { return ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
}

Status regularFileStatus(const struct stat& facts) {
    if (S_ISREG(facts.st_mode)) return Status::success();
    return Status::failure(S_ISDIR(facts.st_mode) ? EISDIR : ENOTSUP);
}

FileDescriptor createFile(const std::string& path, mode_t mode) {
    return FileDescriptor(
        retried([&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); }));
}

std::string workingPathBeside(const std::string& path) {
    static std::atomic<unsigned> counter = 0;
    const std::string folder(deletingLastPathComponent(path));
    while (true) {
        const std::string name = ".quillet-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
        const std::string candidate = folder.empty() ? name : pathIn(folder, name);
        if (!factsOf(candidate)) return candidate;  // else left behind by a process of that number that was killed
    }
}

Status sync(const FileDescriptor& file) {
    return statusOf(retried([&] { return ::fsync(file.number()); }));
}

Status syncFolderOf(const std::string& path) {
    const std::string folder(deletingLastPathComponent(path));
    const FileDescriptor open = openForReading(folder.empty() ? "." : folder, O_DIRECTORY);
    if (!open.isOpen()) return Status::failure(errno);
    const Status synced = sync(open);
    // Some file systems keep their folders safe by other means and know no sync of one.
    return synced.error() == EINVAL || synced.error() == ENOTSUP ? Status::success() : synced;
}

std::optional<Data> readFile(const std::string& path) {
    const FileDescriptor file = openForReading(path);
    struct stat facts;
    if (!file.isOpen() || ::fstat(file.number(), &facts) != 0) return std::nullopt;
    if (!regularFileStatus(facts).ok()) return std::nullopt;
    const auto size = static_cast<std::uint64_t>(facts.st_size);
    if (size > kLargestWholeFile) return std::nullopt;

    // One byte more than there should be, so that a file that has grown since shows itself.
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size) + 1);
    std::size_t used = 0;
    while (true) {
        if (used > kLargestWholeFile) return std::nullopt;
        if (used == bytes.size()) bytes.resize(std::min(2 * used, kLargestWholeFile + 1));
        const ssize_t count = retried([&] { return ::read(file.number(), bytes.data() + used, bytes.size() - used); });
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        used += static_cast<std::size_t>(count);
    }
    bytes.resize(used);
    return Data(std::move(bytes));
}

Status writeAll(int descriptor, Bytes bytes) {
    constexpr std::size_t kLargestWrite = std::size_t{1} << 30;  // some systems refuse more at once
    while (!bytes.empty()) {
        const Bytes piece = bytes.first(std::min(bytes.size(), kLargestWrite));
        const ssize_t count = retried([&] { return ::write(descriptor, piece.data(), piece.size()); });
        if (count < 0) return Status::failure(errno);
        if (count == 0) return Status::failure(EIO);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return Status::success();
}

Status writeFileAtomically(const std::string& path, Bytes bytes, Durability durability) {
    const std::string working = workingPathBeside(path);
    FileDescriptor file = createFile(working, 0666);
    if (!file.isOpen()) return Status::failure(errno);

    struct stat old;
    if (::lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode)) {
        // Who could read the old file can read the new one; a file system without modes has nothing to keep.
        static_cast<void>(::fchmod(file.number(), old.st_mode & 0777));
    }
    Status done = writeClosed(file, bytes, durability);
    if (done.ok()) done = statusOf(::rename(working.c_str(), path.c_str()));
    if (!done.ok()) {
        ::unlink(working.c_str());
        return done;
    }
    // The new file stands in its place whatever this answers: that is what the caller needs to know.
    if (durability == Durability::synced) static_cast<void>(syncFolderOf(path));
    return done;
}

}  // namespace quillet::util
