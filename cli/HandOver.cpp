#include "cli/HandOver.hpp"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "cli/FreeName.hpp"
#include "cli/Interrupt.hpp"
#include "import/HandOff.hpp"
#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

/// What a copy is called while it is being made, with the number of its process behind it.
constexpr std::string_view kWorkingName = ".copying.";

}  // namespace

HandOver::HandOver(const DevicePaths& paths, bool move, bool naming) : paths_(paths), move_(move) {
    if (naming && !move) naming_.emplace();
    removeWhatKilledOnesLeft();
}

util::Status HandOver::put(const ImportFile& file, HandedOver& handed) {
    handed.fileName = util::lastPathComponent(file.path);
    // A hidden name would not be taken from the drop folder.
    std::string name = handed.fileName;
    name.erase(0, std::min(name.find_first_not_of('.'), name.size()));
    if (name.empty()) name = "file";

    const std::string drop = paths_.at(DevicePaths::kDropFolder);
    if (const util::Status made = util::createDirectories(drop); !made.ok()) return made;
    std::string downloaded;
    if (!move_) {
        const util::Status status = download(file.path, name, downloaded, handed);
        if (!status.ok()) return status;
        name = downloaded;
    }
    const util::Status dropped = underFreeName(
        name,
        [&](const std::string& choice) {
            return move_ ? util::moveItem(file.path, util::pathIn(drop, choice))
                         : quillet::handOver(paths_, downloaded, choice);
        },
        handed.entry);
    if (!dropped.ok()) {
        if (!move_) (void)unlink(downloadPath(paths_, downloaded).c_str());
        return dropped;
    }
    handed.origin.fileName = handed.entry;
    // It stays there for the time that the watcher takes to see it settle.
    if (const auto facts = util::factsOf(util::pathIn(drop, handed.entry))) {
        handed.origin.device = facts->device;
        handed.origin.inode = facts->inode;
    }
    return util::Status::success();
}

util::Status HandOver::download(const std::string& path, const std::string& name, std::string& downloaded,
                                HandedOver& handed) {
    const std::string folder = paths_.at(DevicePaths::kDownloads);
    if (const util::Status made = util::createDirectories(folder); !made.ok()) return made;
    const std::string working = util::pathIn(folder, fmt::format("{}{}", kWorkingName, getpid()));
    if (const util::Status copied = util::copyFile(path, working, interrupted); !copied.ok()) return copied;
    // While it bears no name of its own, so that nobody takes it half named.
    if (naming_) handed.unnamed = naming_->name(working, handed.fileName);
    const util::Status named = underFreeName(
        name, [&](const std::string& choice) { return util::moveItem(working, downloadPath(paths_, choice)); },
        downloaded);
    if (!named.ok()) (void)unlink(working.c_str());
    return named;
}

void HandOver::removeWhatKilledOnesLeft() const {
    const std::string folder = paths_.at(DevicePaths::kDownloads);
    for (const std::string& name : util::listDirectory(folder).value_or(std::vector<std::string>())) {
        if (!name.starts_with(kWorkingName)) continue;
        const std::int64_t process = util::integerValue(std::string_view(name).substr(kWorkingName.size()));
        const bool isGone = process > 0 && kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
        if (isGone || process == getpid()) (void)unlink(util::pathIn(folder, name).c_str());
    }
}

bool HandOver::withdraw(const ImportFile& file, const HandedOver& handed) const {
    const std::string path = util::pathIn(paths_.at(DevicePaths::kDropFolder), handed.entry);
    const auto facts = util::factsOf(path);
    // Another file may bear the name by now.
    if (!facts || facts->inode != handed.origin.inode || facts->device != handed.origin.device) return false;
    return takeBack(file, path);
}

bool HandOver::takeBack(const ImportFile& file, const std::string& path) const {
    return move_ ? util::moveItem(path, file.path).ok() : unlink(path.c_str()) == 0;
}

}  // namespace quillet::cli
