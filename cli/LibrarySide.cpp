#include "cli/LibrarySide.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/FreeName.hpp"
#include "cli/ResourceDictionary.hpp"
#include "cli/Root.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

/// How long a file that somebody writes is left alone before it is looked at again, and a library that refused tracks,
/// in seconds.
constexpr double kWriterInterval = 1.0;
constexpr double kRetryInterval = 30.0;

}  // namespace

LibrarySide::LibrarySide(LinuxPlatform& platform, BatchReporter& reporter)
    : platform_(platform),
      journal_(util::pathIn(platform.paths.at(DevicePaths::kImportDatabaseFolder), "Origins.jsonl")),
      door_(platform, journal_, reporter) {
    for (const std::string_view folder :
         {DevicePaths::kDropFolder, DevicePaths::kMediaFolder, DevicePaths::kArtworkCache, DevicePaths::kDownloads}) {
        const std::string path = platform.paths.at(folder);
        const util::Status made = util::createDirectories(path);
        if (!made.ok()) throw UserError(fmt::format("{} cannot be made: {}", path, made.message()));
        if (access(path.c_str(), W_OK | X_OK) != 0)
            throw UserError(fmt::format("{} cannot be written: {}", path, std::strerror(errno)));
    }
    giveResourceDictionary();
    makeEngine();
}

void LibrarySide::makeEngine() {
    engine_.emplace(platform_.ports);
    if (engine_->dbItems() == nullptr) {
        engine_.reset();
        setDatabaseAside();
        engine_.emplace(platform_.ports);
    }
    if (engine_->watcher() == nullptr)
        throw UserError(fmt::format("{} cannot be watched", platform_.paths.at(DevicePaths::kDropFolder)));
    engine_->setDoor(&door_);
}

void LibrarySide::setDatabaseAside() {
    const std::string path = platform_.paths.at(DevicePaths::kImportDatabase);
    // One that cannot be read today may be whole tomorrow; only what was read and is no database is put away.
    if (!util::readFile(path)) throw UserError(fmt::format("the import database {} cannot be read", path));
    std::string aside;
    const util::Status moved = underFreeName(
        std::string(util::lastPathComponent(path)) + ".unreadable",
        [&](const std::string& name) {
            return util::moveItem(path, util::pathIn(util::deletingLastPathComponent(path), name));
        },
        aside);
    if (!moved.ok())
        throw UserError(fmt::format("the import database {} is no property-list dictionary and cannot be set aside: {}",
                                    path, moved.message()));
    util::log(fmt::format("the import database was no property-list dictionary; it is set aside as {}", aside));
}

void LibrarySide::importNow(std::vector<std::string> entries) {
    door_.takeOnly(std::move(entries));
    engine_->directoryDidFinishChanges();
    door_.takeOnly(std::nullopt);
}

void LibrarySide::takeWhatLiesThere() {
    if (door_.hasNewEntries()) engine_->watcher()->directoryDidChange();
}

void LibrarySide::takeWhateverComes() {
    door_.afterBatch([this] { platform_.loop.runOnMain([this] { followUp(); }); });
    takeWhatLiesThere();
}

void LibrarySide::takeAllOnce() {
    if (door_.isStopped() || !door_.hasNewEntries()) return;
    door_.afterBatch([this] {
        const bool canGoOn = !door_.isStopped() && !platform_.library.isLockedOut();
        if (canGoOn && door_.hasNewEntries())
            engine_->watcher()->directoryDidChange();
        else
            platform_.loop.stop();
    });
    takeWhatLiesThere();
    platform_.loop.run();
    door_.afterBatch(nullptr);
}

void LibrarySide::followUp() {
    if (!engine_->watcher()->isWatching()) watchAgain();
    // What came while the watcher was stopped for the batch made no event.
    takeWhatLiesThere();
    if (door_.hasLeftEntries() && !leftEntriesAreDue_) letLeftEntriesTryLater();
    if (door_.hasUnfinishedEntries() && !awaitsWriters_) {
        awaitsWriters_ = true;
        awaitWriters();
    }
    if (door_.lostTracks() && !retryIsDue_) {
        retryIsDue_ = true;
        recheckAgainLater();
    }
}

void LibrarySide::recheckAgainLater() {
    platform_.loop.runAfter(kRetryInterval, [this] {
        RecheckResult result;
        try {
            result = recheck();
        } catch (const LibraryError& error) {
            util::log(error.what());
            ++result.failed;
        }
        if (result.found + result.addedAgain > 0)
            util::log(fmt::format("{} tracks are in the library now", result.found + result.addedAgain));
        retryIsDue_ = result.failed > 0;
        if (retryIsDue_) recheckAgainLater();
    });
}

void LibrarySide::letLeftEntriesTryLater() {
    leftEntriesAreDue_ = true;
    platform_.loop.runAfter(kRetryInterval, [this] {
        leftEntriesAreDue_ = false;
        door_.letLeftEntriesTry();
        takeWhatLiesThere();
    });
}

void LibrarySide::watchAgain() {
    const std::string folder = platform_.paths.at(DevicePaths::kDropFolder);
    (void)util::createDirectories(folder);
    if (engine_->watcher()->startWatching()) {
        if (isDeaf_) util::log(fmt::format("{} is watched again", folder));
        isDeaf_ = false;
        takeWhatLiesThere();
        return;
    }
    if (!isDeaf_) util::log(fmt::format("{} cannot be watched; it is tried again every second", folder));
    isDeaf_ = true;
    platform_.loop.runAfter(kWriterInterval, [this] {
        if (!engine_->watcher()->isWatching()) watchAgain();
    });
}

void LibrarySide::awaitWriters() {
    platform_.loop.runAfter(kWriterInterval, [this] {
        if (door_.isStillBeingWritten()) {
            awaitWriters();
        } else {
            awaitsWriters_ = false;
            engine_->watcher()->directoryDidChange();
        }
    });
}

}  // namespace quillet::cli
