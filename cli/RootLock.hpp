#pragma once

#include <optional>
#include <string>

#include "platform/DevicePaths.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

/// The right to be the library side of a root: one process at a time has it, and loses it when it ends in whatever way.
class RootLock {
  public:
    /// Takes the right for the command named `command`; nullopt where another process has it. Throws UserError where
    /// the root cannot be written.
    static std::optional<RootLock> tryTake(const DevicePaths& paths, const std::string& command);

    /// Who has the right now, such as "watch (process 4711)"; "another process" where that cannot be read.
    static std::string holder(const DevicePaths& paths);

  private:
    explicit RootLock(util::FileDescriptor file) : file_(std::move(file)) {}
    util::FileDescriptor file_;
};

}  // namespace quillet::cli
