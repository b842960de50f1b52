#pragma once

#include "cli/Console.hpp"
#include "cli/LibrarySide.hpp"

namespace quillet::cli {

enum class Verbosity { everything, changesOnly };

/// Tells what a re-check did: as the command's result, or as a remark where it changed anything.
void reportRecheck(Console& console, const RecheckResult& result, Verbosity verbosity);

}  // namespace quillet::cli
