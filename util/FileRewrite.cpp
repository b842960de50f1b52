#include "util/FileRewrite.hpp"

#include "util/FileCalls.hpp"

namespace quillet::util {

Status stampOf(const FileDescriptor& file, FileStamp& stamp) {
    struct stat facts;
    if (const Status known = statusOf(::fstat(file.number(), &facts)); !known.ok()) return known;
    const timespec modified = modificationTime(facts);
    stamp = {static_cast<std::uint64_t>(facts.st_dev), static_cast<std::uint64_t>(facts.st_ino),
             static_cast<std::uint64_t>(facts.st_size), modified.tv_sec, modified.tv_nsec};
    return Status::success();
}

Status rewriteFile(const std::string& /*path*/, const FileDescriptor& /*old*/, const FileStamp& /*expected*/,
                   Bytes /*front*/, std::span<const FileRange> /*kept*/, const RewriteOptions& /*options*/) {
    return Status::failure(ENOSYS);
}

Status overwriteFile(const FileDescriptor& /*file*/, const FileStamp& /*expected*/, std::uint64_t /*offset*/,
                     Bytes /*bytes*/, Bytes /*before*/, const RewriteOptions& /*options*/) {
    return Status::failure(ENOSYS);
}

Status truncateFile(const FileDescriptor& /*file*/, const FileStamp& /*expected*/, std::uint64_t /*size*/,
                    const RewriteOptions& /*options*/) {
    return Status::failure(ENOSYS);
}

}  // namespace quillet::util
