#pragma once

#include <string>
#include <string_view>

#include "platform/DevicePaths.hpp"

namespace quillet {

/// Where the socket of the center `name` lies: beside the import database of the root while that fits a socket address
/// (108 bytes, its terminator included), else in $XDG_RUNTIME_DIR or, without one that fits, in /tmp: under a folder of
/// this user alone (mode 0700), by a digest of the root and the name. The folder is made. "" where no safe place is
/// found.
std::string socketPath(const DevicePaths& paths, std::string_view name);

}  // namespace quillet
