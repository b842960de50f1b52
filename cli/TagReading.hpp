#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/Commands.hpp"
#include "cli/ParallelReading.hpp"
#include "cli/TagView.hpp"

namespace quillet::cli {

/// How the results of several files stand below each other.
struct ResultLayout {
    std::string heading;     ///< a line before the first result; "" for none
    bool areBlocks = false;  ///< an empty line stands between two results
};

/// What the commands that read tags share: examines each file that `files` names, with the command's own dictionary,
/// and prints what `render` makes of it, in the order given. A file that cannot be read is one line on standard error.
/// Answers the exit status. `render` is called on reading threads, by several at once; `view` lives for the call.
int readTags(Console& console, const TagFiles& files, const ResultLayout& layout,
             const std::function<FileOutput(const TagView& view)>& render);

/// Why a file could not be opened, in words that follow its name.
std::string reasonAgainstReading(util::Status status, const std::string& path);

/// A JSON object with the view's warnings added under "warnings".
std::string jsonWithWarnings(nlohmann::ordered_json object, const TagView& view);
/// The view's warnings, each on a line that begins with `prefix`, and with a line break in front of each.
std::string warningLines(const Console& console, const TagView& view, const std::string& prefix);

}  // namespace quillet::cli
