#include "cli/HandOver.hpp"

#include <unistd.h>

#include <algorithm>

#include "cli/FreeName.hpp"
#include "cli/Interrupt.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

util::Status HandOver::put(const ImportFile& file, HandedOver& handed) const {
    handed.fileName = util::lastPathComponent(file.path);
    // A hidden name would not be taken from the drop folder.
    std::string name = handed.fileName;
    name.erase(0, std::min(name.find_first_not_of('.'), name.size()));
    if (name.empty()) name = "file";

    const std::string downloads = paths_.at(DevicePaths::kDownloads);
    const std::string drop = paths_.at(DevicePaths::kDropFolder);
    for (const std::string& folder : {downloads, drop})
        if (const util::Status made = util::createDirectories(folder); !made.ok()) return made;

    std::string downloaded;
    const util::Status fetched = underFreeName(
        name,
        [&](const std::string& choice) {
            const std::string target = util::pathIn(downloads, choice);
            return move_ ? util::moveItem(file.path, target) : util::copyFile(file.path, target, interrupted);
        },
        downloaded);
    if (!fetched.ok()) return fetched;

    const std::string source = util::pathIn(downloads, downloaded);
    const util::Status dropped = underFreeName(
        downloaded, [&](const std::string& choice) { return util::moveItem(source, util::pathIn(drop, choice)); },
        handed.entry);
    if (!dropped.ok()) {
        if (move_)
            (void)util::moveItem(source, file.path);
        else
            (void)unlink(source.c_str());
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

void HandOver::withdraw(const ImportFile& file, const HandedOver& handed) const {
    const std::string path = util::pathIn(paths_.at(DevicePaths::kDropFolder), handed.entry);
    const auto facts = util::factsOf(path);
    // Another file may bear the name by now.
    if (!facts || facts->inode != handed.origin.inode || facts->device != handed.origin.device) return;
    if (move_)
        (void)util::moveItem(path, file.path);
    else
        (void)unlink(path.c_str());
}

}  // namespace quillet::cli
