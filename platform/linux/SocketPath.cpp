#include "platform/linux/SocketPath.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "util/Bytes.hpp"
#include "util/Data.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"

namespace quillet {
namespace {

bool fitsSocketAddress(const std::string& path) {
    return path.size() < sizeof(sockaddr_un::sun_path);
}

/// The folder without symbolic links, "" where it cannot be had: every spelling of a root leads to one socket.
std::string canonicalFolder(const std::string& path) {
    if (!util::createDirectories(path).ok()) return "";
    const std::unique_ptr<char, decltype(&std::free)> canonical(::realpath(path.c_str(), nullptr), &std::free);
    return canonical ? canonical.get() : "";
}

/// Makes `path` where it is missing. Whether it is a folder that nobody else can put anything into.
bool isOwnFolder(const std::string& path) {
    if (::mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) return false;
    const util::FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat facts{};
    if (!folder.isOpen() || ::fstat(folder.number(), &facts) != 0) return false;
    return facts.st_uid == ::geteuid() && (facts.st_mode & ALLPERMS) == S_IRWXU;
}

}  // namespace

std::string socketPath(const DevicePaths& paths, std::string_view name) {
    const std::string folder = canonicalFolder(paths.at(DevicePaths::kImportDatabaseFolder));
    if (folder.empty()) return "";
    const bool isFileName = !name.empty() && name.find('/') == name.npos && name.find('\0') == name.npos;
    std::string beside = util::pathIn(folder, fmt::format("{}.sock", name));
    if (isFileName && fitsSocketAddress(beside)) return beside;

    const std::string digest = util::Data::copyOf(util::bytesOf(util::pathIn(folder, name))).MD5();
    const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    const bool hasRuntimeFolder = runtimeFolder != nullptr && runtimeFolder[0] == '/';
    for (const std::string& own : {hasRuntimeFolder ? util::pathIn(runtimeFolder, "quillet") : std::string(),
                                   fmt::format("/tmp/quillet-{}", ::geteuid())}) {
        if (own.empty()) continue;
        std::string path = util::pathIn(own, digest + ".sock");
        if (fitsSocketAddress(path) && isOwnFolder(own)) return path;
    }
    return "";
}

}  // namespace quillet
