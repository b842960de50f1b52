#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/FileSelection.hpp"

namespace quillet::cli {

/// What reading one file came to.
struct FileOutput {
    std::string text;     ///< result lines, without the last line break; "" for nothing to print
    std::string failure;  ///< why there is no result; "" where there is one
};

/// Reads files on one thread for each of `readers`, and hands the results over in the order of the files.
///
/// `next` answers the files, nullopt at their end; it is never called by two threads at once. A reader is called by its
/// own thread alone. `take` is called on the calling thread; answering false ends the reading, and results that are
/// under way are dropped. No more than a few results a thread are held, however many files there are. What any of them
/// throws is thrown here, when all threads have ended.
void readInParallel(const std::function<std::optional<SelectedFile>()>& next,
                    const std::vector<std::function<FileOutput(const SelectedFile&)>>& readers,
                    const std::function<bool(const SelectedFile&, const FileOutput&)>& take);

}  // namespace quillet::cli
