#include "cli/FileSelection.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "util/FilePath.hpp"

namespace quillet::cli {

namespace fs = std::filesystem;

namespace {

bool isMp3Name(std::string_view name) {
    std::string extension(util::pathExtension(name));
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char character) { return character >= 'A' && character <= 'Z' ? character | 0x20 : character; });
    return extension == "mp3";
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

}  // namespace

FileSelection::FileSelection(std::vector<std::string> named) : named_(std::move(named)) {}

bool FileSelection::mayBeSeveral(const std::vector<std::string>& named) {
    return named.size() > 1 || std::any_of(named.begin(), named.end(), isFolder);
}

std::optional<SelectedFile> FileSelection::next() {
    while (true) {
        if (!levels_.empty()) {
            if (auto found = nextInFolder()) return found;
            if (isFolderEmpty_) return SelectedFile{named_[nextNamed_ - 1], "no .mp3 file is in this folder"};
        }
        if (nextNamed_ == named_.size()) return std::nullopt;
        const std::string& named = named_[nextNamed_++];
        if (!isFolder(named)) {
            foundAnything_ = true;
            return SelectedFile{named, ""};
        }
        isFolderEmpty_ = true;
        if (auto unreadable = enter(named)) return unreadable;
    }
}

std::optional<SelectedFile> FileSelection::enter(const fs::path& folder) {
    std::error_code error;
    Level level;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        if (!entry->path().filename().string().starts_with('.')) level.push_back(*entry);
    std::sort(level.rbegin(), level.rend());
    levels_.push_back(std::move(level));
    if (!error) return std::nullopt;
    isFolderEmpty_ = false;
    foundAnything_ = true;
    return SelectedFile{folder.string(), "cannot be read: " + error.message()};
}

std::optional<SelectedFile> FileSelection::nextInFolder() {
    while (!levels_.empty()) {
        if (levels_.back().empty()) {
            levels_.pop_back();
            continue;
        }
        const fs::directory_entry entry = std::move(levels_.back().back());
        levels_.back().pop_back();
        std::error_code error;
        if (entry.is_directory(error) && !entry.is_symlink(error)) {
            if (auto unreadable = enter(entry.path())) return unreadable;
        } else if (isMp3Name(entry.path().filename().string()) && entry.is_regular_file(error)) {
            isFolderEmpty_ = false;
            foundAnything_ = true;
            return SelectedFile{entry.path().string(), ""};
        }
    }
    return std::nullopt;
}

}  // namespace quillet::cli
