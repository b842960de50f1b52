#pragma once

#include "id3/TagAPI.hpp"

namespace quillet::cli {

/// Loads the command's resource dictionary: id3/data.plist, which is part of the binary. It is parsed once for the
/// process, and shared. Any thread.
DictionaryLoader resourceDictionary();

/// Gives the process's shared tag engine that dictionary, so that imports read in the standard dialect. The first call
/// counts, and belongs before the first import. Throws UserError where it cannot be done.
void giveResourceDictionary();

}  // namespace quillet::cli
