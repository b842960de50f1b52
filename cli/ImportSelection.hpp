#pragma once

#include <string>
#include <vector>

#include "cli/Commands.hpp"
#include "platform/linux/LibavMediaFramework.hpp"

namespace quillet::cli {

/// One file that the user wants in the library, or named and cannot have.
struct ImportFile {
    std::string shownPath;  ///< as the user named it, or the folder that holds it
    std::string path;       ///< where it is, links resolved
    std::string reason;     ///< why it cannot be imported; "" where it can
};

struct ImportSelection {
    std::vector<ImportFile> files;
    std::size_t passedOver = 0;  ///< files in folders that are no audio
};

/// The audio files that `options` name: the files themselves, and what is audio in the folders and below, sorted. What
/// is not audio is passed over in a folder and carries its reason where it was named itself. A file named twice is
/// taken once.
ImportSelection selectFiles(LibavMediaFramework& media, const DevicePaths& paths, const ImportOptions& options);

}  // namespace quillet::cli
