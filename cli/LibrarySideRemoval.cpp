#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "cli/LibrarySide.hpp"
#include "cli/Root.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"

namespace quillet::cli {

namespace {

/// What the file of a track is called while the track is removed, with the identifier behind it.
const std::string kRemovedPrefix = ".removed.";

bool isInMediaFolder(const DevicePaths& paths, const std::string& assetPath) {
    return util::isEntryName(util::lastPathComponent(assetPath)) &&
           assetPath == util::pathIn(paths.at(DevicePaths::kMediaFolder), util::lastPathComponent(assetPath));
}

}  // namespace

LibrarySide::Removal LibrarySide::remove(std::uint64_t persistentID, bool keepFile) {
    const auto track = platform_.library.track(persistentID);
    if (!track) return Removal::noSuchTrack;
    // The file is put aside first and deleted last: whenever this ends before, finishRemovals() knows which way to go.
    const std::string aside =
        util::pathIn(platform_.paths.at(DevicePaths::kMediaFolder), kRemovedPrefix + std::to_string(persistentID));
    const bool removesFile = !keepFile && isInMediaFolder(platform_.paths, track->assetPath);
    if (removesFile) {
        const util::Status moved = util::moveItem(track->assetPath, aside);
        if (!moved.ok() && moved.error() != ENOENT)
            throw UserError(fmt::format("{} cannot be removed: {}", track->assetPath, moved.message()));
    }
    try {
        platform_.library.remove(persistentID, keepFile);
    } catch (const LibraryError&) {
        if (removesFile) (void)util::moveItem(aside, track->assetPath);
        throw;
    }
    if (removesFile) (void)unlink(aside.c_str());
    if (!keepFile) {
        engine_->forgetRecord(std::to_string(persistentID));
        if (track->artwork) dropCachedArtwork(*track->artwork);
    }
    return Removal::removed;
}

void LibrarySide::finishRemovals() {
    const std::string folder = platform_.paths.at(DevicePaths::kMediaFolder);
    for (const std::string& name : util::listDirectory(folder).value_or(std::vector<std::string>())) {
        if (!name.starts_with(kRemovedPrefix)) continue;
        const auto identifier = QLSyncHelper::identifierOf(std::string_view(name).substr(kRemovedPrefix.size()));
        if (!identifier) continue;
        if (const auto track = platform_.library.track(*identifier))
            (void)util::moveItem(util::pathIn(folder, name), track->assetPath);
        else
            (void)unlink(util::pathIn(folder, name).c_str());
    }
}

void LibrarySide::dropCachedArtwork(const std::string& artwork) {
    if (!util::isEntryName(artwork)) return;
    for (const auto& [key, record] : *engine_->dbItems())
        if (record.dictionary() != nullptr && util::textAt(*record.dictionary(), "artwork") == artwork) return;
    (void)unlink(util::pathIn(platform_.paths.at(DevicePaths::kArtworkCache), artwork).c_str());
}

}  // namespace quillet::cli
