#pragma once

#include <stdexcept>
#include <string>

#include "platform/DevicePaths.hpp"

namespace quillet::cli {

/// What happened is the user's to mend; what() is one line for them.
class UserError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The root folder that all the system's paths lie under: `given` (--root) where it is not "", else $QUILLET_ROOT, else
/// $XDG_DATA_HOME/quillet, else ~/.local/share/quillet. Absolute. It need not exist. Throws UserError where none of
/// these names a folder.
DevicePaths rootPaths(const std::string& given);

}  // namespace quillet::cli
