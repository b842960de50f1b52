#include "cli/RootLock.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/Root.hpp"
#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {
std::string lockPath(const DevicePaths& paths) {
    return util::pathIn(paths.at(DevicePaths::kImportDatabaseFolder), "Library.lock");
}
}  // namespace

std::optional<RootLock> RootLock::tryTake(const DevicePaths& paths, const std::string& command) {
    const std::string path = lockPath(paths);
    const util::Status made = util::createDirectories(paths.at(DevicePaths::kImportDatabaseFolder));
    if (!made.ok()) throw UserError(fmt::format("the root {} cannot be written: {}", paths.root(), made.message()));
    util::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file.isOpen())
        throw UserError(fmt::format("the root {} cannot be written: {}", paths.root(), std::strerror(errno)));
    if (flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) return std::nullopt;
        throw UserError(fmt::format("{} cannot be locked: {}", path, std::strerror(errno)));
    }
    // Who holds the lock is told for people alone; that it cannot be written (a full disk) takes nothing from the lock.
    const std::string text = fmt::format("{} (process {})\n", command, getpid());
    if (ftruncate(file.number(), 0) == 0) (void)util::writeAll(file.number(), util::bytesOf(text));
    return RootLock(std::move(file));
}

std::string RootLock::holder(const DevicePaths& paths) {
    const auto content = util::readFile(lockPath(paths));
    const std::string text = content ? util::decodeUTF8(content->bytes()) : std::string();
    const std::string_view line = util::trimmed(text);
    return line.empty() ? "another process" : std::string(line);
}

}  // namespace quillet::cli
