#include "import/HandOff.hpp"

#include <cerrno>

#include "import/QLSyncHelper.hpp"
#include "util/FilePath.hpp"

namespace quillet {

std::string downloadPath(const DevicePaths& paths, std::string_view name) {
    return util::pathIn(paths.at(DevicePaths::kDownloads), name);
}

util::Status handOver(const DevicePaths& paths, std::string_view name, std::string_view entry) {
    if (!util::isEntryName(name) || !util::isEntryName(entry)) return util::Status::failure(EINVAL);
    return util::moveItem(downloadPath(paths, name), util::pathIn(paths.at(DevicePaths::kDropFolder), entry));
}

void handleLaunchMessageNamed(std::string_view name, HandOffScreens& screens) {
    if (name == kSyncSuccessMessage) screens.libraryManagerWritingSucceded();
    // Any message may mean that the folder changed.
    screens.refresh();
}

}  // namespace quillet
