#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "util/Files.hpp"

namespace quillet::cli {

/// The `number`th choice for a name: 1 is `name` itself, 2 is "stem (2).extension" ..., cut so that a folder can hold
/// it.
std::string numberedName(std::string_view name, int number);

/// Tries `put` with one choice after another for `name` until it answers anything but EEXIST, and answers that.
/// `chosen` is the choice it was made with.
util::Status underFreeName(std::string_view name, const std::function<util::Status(const std::string&)>& put,
                           std::string& chosen);

}  // namespace quillet::cli
