#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quillet::cli {

/// One file to read, or something named or met that there is nothing to read of.
struct SelectedFile {
    std::string path;    ///< as it was named, or the folder that was named and the way from there
    std::string reason;  ///< why it cannot be read; "" for a file that can be tried
};

/// The files that a user names: each as it is, whatever it is, and of a folder the .mp3 files in it and below, in the
/// order of their names. Hidden files, and links to folders, are passed over there. The folders are walked while the
/// files are asked for, so that a large collection is never held whole. One thread at a time.
class FileSelection {
  public:
    explicit FileSelection(std::vector<std::string> named);

    /// The next one; nullopt after the last.
    std::optional<SelectedFile> next();
    /// Whether anything but folders without a file has come so far.
    bool foundAnything() const { return foundAnything_; }
    /// Whether `named` can stand for several files: it is more than one name, or a folder.
    static bool mayBeSeveral(const std::vector<std::string>& named);

  private:
    /// The rest of a folder that is being walked, last entry first.
    using Level = std::vector<std::filesystem::directory_entry>;

    std::optional<SelectedFile> nextInFolder();
    /// Goes down into a folder; an answer where it cannot be listed.
    std::optional<SelectedFile> enter(const std::filesystem::path& folder);

    std::vector<std::string> named_;
    std::size_t nextNamed_ = 0;
    std::vector<Level> levels_;  ///< from the named folder down
    bool isFolderEmpty_ = true;  ///< the named folder that is being walked has given nothing yet
    bool foundAnything_ = false;
};

}  // namespace quillet::cli
