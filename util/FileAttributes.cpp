#include <string_view>
#include <vector>

#ifdef __linux__
#include <sys/xattr.h>
#endif

#include "util/FileCalls.hpp"

namespace quillet::util {

#ifdef __linux__

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";

Status copyExtendedAttribute(const std::string& from, const std::string& to, const char* name) {
    // Gone, or grown, since it was listed or measured: somebody is at work on the file.
    const auto failed = [] { return Status::failure(errno == ENODATA || errno == ERANGE ? EBUSY : errno); };
    const ssize_t size = ::lgetxattr(from.c_str(), name, nullptr, 0);
    if (size < 0) return failed();
    std::vector<char> value(static_cast<std::size_t>(size));
    const ssize_t count = ::lgetxattr(from.c_str(), name, value.data(), value.size());
    if (count < 0) return failed();
    return statusOf(::lsetxattr(to.c_str(), name, value.data(), static_cast<std::size_t>(count), 0));
}

bool mayBeLost(std::string_view name, AttributeLoss loss) {
    return loss == AttributeLoss::ofAny || name.starts_with("security.") || name.starts_with("trusted.");
}

}  // namespace

Status copyExtendedAttributes(const std::string& from, const std::string& to, AttributeLoss loss) {
    const ssize_t size = ::llistxattr(from.c_str(), nullptr, 0);
    const Status listed = size < 0 ? Status::failure(errno) : Status::success();
    if (!listed.ok()) return cannotBeKeptHere(listed) ? Status::success() : listed;  // a file system without
    if (size == 0) return Status::success();
    std::string names(static_cast<std::size_t>(size), '\0');
    const ssize_t count = ::llistxattr(from.c_str(), names.data(), names.size());
    if (count < 0) return Status::failure(errno);
    names.resize(static_cast<std::size_t>(count));
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        const char* name = names.c_str() + at;
        const Status copied = copyExtendedAttribute(from, to, name);
        if (!copied.ok() && !(cannotBeKeptHere(copied) && mayBeLost(name, loss))) return copied;
    }
    return Status::success();
}

Status dropAccessListOfFolder(const std::string& from, const std::string& to) {
    const auto hasAccessList = [](const std::string& path) {
        return ::lgetxattr(path.c_str(), kAccessList, nullptr, 0) >= 0;
    };
    if (!hasAccessList(to) || hasAccessList(from)) return Status::success();
    return statusOf(::lremovexattr(to.c_str(), kAccessList));
}

#else

Status copyExtendedAttributes(const std::string&, const std::string&, AttributeLoss) {
    return Status::success();
}

Status dropAccessListOfFolder(const std::string&, const std::string&) {
    return Status::success();
}

#endif

}  // namespace quillet::util
