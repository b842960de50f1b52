#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <vector>

#include "util/FileCalls.hpp"

namespace quillet::util {

namespace {

/// How much is copied before `stop` is asked again, in bytes.
constexpr std::size_t kChunk = std::size_t{8} << 20;

/// Copies one chunk inside the kernel; false once it has nothing more to give, at the end or because it cannot.
bool copyChunkInKernel([[maybe_unused]] int from, [[maybe_unused]] int to) {
#ifdef __linux__
    return retried([&] { return ::copy_file_range(from, nullptr, to, nullptr, kChunk, 0); }) > 0;
#else
    return false;
#endif
}

#ifdef __APPLE__
struct CoarseTimes {
    explicit CoarseTimes(const struct stat& facts)
        : values{coarse(accessTime(facts)), coarse(modificationTime(facts))} {}
    static timeval coarse(const timespec& time) {
        timeval value{};
        value.tv_sec = time.tv_sec;
        value.tv_usec = static_cast<decltype(value.tv_usec)>(time.tv_nsec / 1000);
        return value;
    }
    timeval values[2];
};
#endif

Status copyWholeFile(int from, int to, const struct stat& facts, const std::string& path, bool (*stop)()) {
    if (const Status copied = copyContent(from, to, stop); !copied.ok()) return copied;
    // Without the bits that would lend the owner's rights: the copy may have another owner.
    if (const int result = ::fchmod(to, facts.st_mode & 0777); result < 0) return statusOf(result);
    return setTimes(path, facts);
}

}  // namespace

Status copyContent(int from, int to, bool (*stop)()) {
    const auto stopped = [stop] { return stop != nullptr && stop(); };
    do {
        if (stopped()) return Status::failure(EINTR);
    } while (copyChunkInKernel(from, to));

    // From where the kernel left off. It may have refused to copy between these files, or have taken a file without a
    // size of its own for empty: reading finds out, and gives a real error its name.
    std::vector<std::uint8_t> buffer(std::size_t{128} << 10);
    for (std::size_t sinceAsked = 0;;) {
        const ssize_t count = retried([&] { return ::read(from, buffer.data(), buffer.size()); });
        if (count < 0) return Status::failure(errno);
        if (count == 0) return Status::success();
        const std::size_t size = static_cast<std::size_t>(count);
        if (const Status written = writeAll(to, Bytes(buffer).first(size)); !written.ok()) return written;
        sinceAsked += size;
        if (sinceAsked < kChunk) continue;
        if (stopped()) return Status::failure(EINTR);
        sinceAsked = 0;
    }
}

#ifdef __APPLE__
Status setTimes(const std::string& path, const struct stat& facts) {
    return statusOf(::lutimes(path.c_str(), CoarseTimes(facts).values));
}

Status setTimes(const FileDescriptor& file, const struct stat& facts) {
    return statusOf(::futimes(file.number(), CoarseTimes(facts).values));
}
#else
Status setTimes(const std::string& path, const struct stat& facts) {
    const timespec times[2] = {accessTime(facts), modificationTime(facts)};
    return statusOf(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

Status setTimes(const FileDescriptor& file, const struct stat& facts) {
    const timespec times[2] = {accessTime(facts), modificationTime(facts)};
    return statusOf(::futimens(file.number(), times));
}
#endif

bool hasChanged(const FileDescriptor& file, const struct stat& before) {
    struct stat now;
    if (::fstat(file.number(), &now) != 0 || now.st_size != before.st_size) return true;
    const timespec time = modificationTime(now);
    const timespec timeBefore = modificationTime(before);
    return time.tv_sec != timeBefore.tv_sec || time.tv_nsec != timeBefore.tv_nsec;
}

Status copyFile(const std::string& from, const std::string& to, bool (*stop)()) {
    const FileDescriptor source = openForReading(from);
    struct stat facts;
    if (!source.isOpen() || ::fstat(source.number(), &facts) != 0) return Status::failure(errno);
    if (const Status regular = regularFileStatus(facts); !regular.ok()) return regular;

    FileDescriptor target = createFile(to, 0600);
    if (!target.isOpen()) return Status::failure(errno);
    Status done = copyWholeFile(source.number(), target.number(), facts, to, stop);
    if (const Status closed = target.close(); done.ok()) done = closed;
    if (done.ok() && hasChanged(source, facts)) done = Status::failure(EBUSY);  // the copy may be of neither state
    if (!done.ok()) ::unlink(to.c_str());
    return done;
}

}  // namespace quillet::util
