#include "cli/ImportSelection.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <unordered_set>

#include "cli/AudioRecognition.hpp"
#include "cli/DropDoor.hpp"
#include "cli/Interrupt.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

namespace {

namespace fs = std::filesystem;

class Selection {
  public:
    Selection(LibavMediaFramework& media, const DevicePaths& paths, bool move) : recognition_(media), move_(move) {
        for (const std::string_view folder :
             {DevicePaths::kImportDatabaseFolder, DevicePaths::kDropFolder, DropDoor::kRejectedFolder,
              DevicePaths::kArtworkCache, DevicePaths::kMediaFolder, DevicePaths::kDownloads})
            own_.push_back(resolved(paths.at(folder)) + "/");
        own_.push_back(paths.root() + "/private/");
    }

    void addNamed(const std::string& named) {
        std::error_code error;
        const fs::file_status status = fs::status(named, error);
        if (fs::is_directory(status)) return addFolder(named);
        // What cannot be found is told apart from what may not be looked at.
        if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
            return add(named, named, "cannot be read: " + error.message());
        if (!fs::exists(status)) {
            const bool dangling = fs::is_symlink(fs::symlink_status(named, error));
            return add(named, named, dangling ? "is a link to nothing" : "no such file");
        }
        add(named, resolved(named), reasonAgainst(named));
    }

    ImportSelection take() { return {std::move(files_), passedOver_}; }

  private:
    static std::string resolved(const std::string& path) {
        std::error_code error;
        const fs::path whole = fs::canonical(path, error);
        return error ? path : whole.string();
    }

    std::string reasonAgainst(const std::string& path) {
        const std::string name(util::lastPathComponent(path));
        if (isOwn(resolved(path))) return "lies in the root's own folders already";
        if (!name.starts_with('.') && DropDoor::isPartial(name)) return "is named as a partial download";
        const auto facts = util::factsOf(path);
        if (move_ && facts && facts->kind == util::FileKind::symbolicLink)
            return "is a symbolic link, which --move does not follow";
        return recognition_.reasonAgainst(resolved(path));
    }

    /// Each is compared where it really lies, since a user may have put it on another disk.
    bool isOwn(const std::string& path) const {
        return std::any_of(own_.begin(), own_.end(), [&](const std::string& own) { return path.starts_with(own); });
    }

    void add(const std::string& shownPath, const std::string& path, const std::string& reason) {
        if (seen_.insert(path).second) files_.push_back({shownPath, path, reason});
    }

    void addFolder(const std::string& folder) {
        std::error_code error;
        if (isOwn(resolved(folder) + "/")) return add(folder, folder, "lies in the root's own folders already");
        std::vector<fs::directory_entry> entries;
        for (fs::directory_iterator next(folder, error); !error && next != fs::directory_iterator();
             next.increment(error))
            entries.push_back(*next);
        if (error) add(folder, folder, "cannot be read: " + error.message());
        std::sort(entries.begin(), entries.end());
        for (const fs::directory_entry& entry : entries) {
            if (interrupted()) return;
            const std::string path = entry.path().string();
            if (DropDoor::isPartial(entry.path().filename().string())) continue;
            if (entry.is_directory(error) && !entry.is_symlink(error)) {
                if (!isOwn(resolved(path) + "/")) addFolder(path);
            } else if (entry.is_regular_file(error)) {
                const std::string reason = reasonAgainst(path);
                if (LibavMediaFramework::isNoAudio(reason))
                    ++passedOver_;
                else
                    add(path, resolved(path), reason);
            }
        }
    }

    AudioRecognition recognition_;
    std::vector<std::string> own_;
    bool move_;
    std::unordered_set<std::string> seen_;
    std::vector<ImportFile> files_;
    std::size_t passedOver_ = 0;
};

}  // namespace

ImportSelection selectFiles(LibavMediaFramework& media, const DevicePaths& paths, const ImportOptions& options) {
    Selection selection(media, paths, options.move);
    for (const std::string& named : options.paths) selection.addNamed(named);
    return selection.take();
}

}  // namespace quillet::cli
