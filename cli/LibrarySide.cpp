#include "cli/LibrarySide.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "cli/FreeName.hpp"
#include "cli/Root.hpp"
#include "import/QLAssetHelper.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

/// How long a file that somebody writes is left alone before it is looked at again, and a library that refused tracks,
/// in seconds.
constexpr double kWriterInterval = 1.0;
constexpr double kRetryInterval = 30.0;

std::string textAt(const util::PropertyDictionary& record, std::string_view key) {
    const util::PropertyValue* value = util::find(record, key);
    return value != nullptr && value->text() != nullptr ? *value->text() : std::string();
}

/// A group of the library that also ends where something throws; left open, it would swallow what comes after.
class LibraryGroup {
  public:
    explicit LibraryGroup(SqliteMusicLibrary& library) : library_(library) { library_.beginGroup(); }
    ~LibraryGroup() { library_.endGroup(); }
    LibraryGroup(const LibraryGroup&) = delete;
    LibraryGroup& operator=(const LibraryGroup&) = delete;
    bool end() { return library_.endGroup(); }

  private:
    SqliteMusicLibrary& library_;
};

/// Whether both can be read to their end and hold the same bytes.
bool haveSameContent(const std::string& path, const std::string& other) {
    const auto facts = util::factsOf(path);
    std::ifstream one(path, std::ios::binary);
    std::ifstream two(other, std::ios::binary);
    std::vector<char> oneChunk(1 << 16);
    std::vector<char> twoChunk(oneChunk.size());
    std::uint64_t compared = 0;
    while (true) {
        one.read(oneChunk.data(), static_cast<std::streamsize>(oneChunk.size()));
        two.read(twoChunk.data(), static_cast<std::streamsize>(twoChunk.size()));
        if (one.gcount() != two.gcount() ||
            !std::equal(oneChunk.begin(), oneChunk.begin() + one.gcount(), twoChunk.begin()))
            return false;
        if (one.gcount() == 0) break;
        compared += static_cast<std::uint64_t>(one.gcount());
    }
    // A read error looks like an end; then not everything was compared.
    return facts && compared == facts->size;
}

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

RecheckResult LibrarySide::recheck() {
    LibraryGroup group(platform_.library);
    recallMoves();
    const RecheckCounts counts = engine_->scanDatabaseChanges();
    RecheckResult result = {counts.records, counts.addedAgain, counts.dropped, 0, counts.refused};
    importUnknownFiles(result);
    if (!group.end()) ++result.failed;
    door_.setLostTracks(result.failed > 0);
    return result;
}

void LibrarySide::recallMoves() {
    for (const OriginJournal::Entry& move : journal_.entries()) {
        if (!util::fileExists(util::pathIn(platform_.paths.at(DevicePaths::kMediaFolder), move.assetName))) continue;
        finishMove(move);
        platform_.library.noteOrigin(move.assetName, move.origin);
    }
}

void LibrarySide::finishMove(const OriginJournal::Entry& move) {
    const std::string source = util::pathIn(platform_.paths.at(DevicePaths::kDropFolder), move.dropEntry);
    const auto facts = util::factsOf(source);
    if (!facts || facts->inode != move.origin.inode || facts->device != move.origin.device) return;
    // The move went across file systems and its process was killed before the source was removed. Taken once more, the
    // file would be in the library twice.
    if (haveSameContent(source, util::pathIn(platform_.paths.at(DevicePaths::kMediaFolder), move.assetName)))
        (void)unlink(source.c_str());
}

void LibrarySide::importUnknownFiles(RecheckResult& result) {
    const std::string folder = platform_.paths.at(DevicePaths::kMediaFolder);
    std::unordered_set<std::string> known = platform_.library.assetNames();
    for (const auto& [key, record] : *engine_->dbItems())
        if (record.dictionary() != nullptr) known.insert(textAt(*record.dictionary(), "assetPath"));
    bool imported = false;
    for (const std::string& name : util::listDirectory(folder).value_or(std::vector<std::string>())) {
        if (known.contains(name) || DropDoor::isPartial(name)) continue;
        const std::string path = util::pathIn(folder, name);
        if (const std::string reason = platform_.media.reasonAgainst(path); !reason.empty()) {
            util::log(fmt::format("{} {}; it is left there", path, reason));
            continue;
        }
        imported = true;
        if (engine_->addNewAsset(QLAssetHelper::newAssetFromPath(path, platform_.ports)) != 0)
            ++result.found;
        else
            ++result.failed;
    }
    if (imported) engine_->writeDatabase();
}

void LibrarySide::importNow(std::unordered_set<std::string> entries) {
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
    // What came while the watcher was stopped for the batch made no event.
    takeWhatLiesThere();
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

LibrarySide::Removal LibrarySide::remove(std::uint64_t persistentID, bool keepFile) {
    const auto track = platform_.library.track(persistentID);
    if (!track) return Removal::noSuchTrack;
    if (!keepFile) {
        // The file goes first: were it the last, a process killed in between would leave it for the re-check to find.
        if (unlink(track->assetPath.c_str()) != 0 && errno != ENOENT)
            throw UserError(fmt::format("{} cannot be removed: {}", track->assetPath, std::strerror(errno)));
    }
    platform_.library.remove(persistentID, keepFile);
    if (!keepFile) {
        engine_->forgetRecord(std::to_string(persistentID));
        if (track->artwork) dropCachedArtwork(*track->artwork);
    }
    return Removal::removed;
}

void LibrarySide::dropCachedArtwork(const std::string& artwork) {
    for (const auto& [key, record] : *engine_->dbItems())
        if (record.dictionary() != nullptr && textAt(*record.dictionary(), "artwork") == artwork) return;
    (void)unlink(util::pathIn(platform_.paths.at(DevicePaths::kArtworkCache), artwork).c_str());
}

}  // namespace quillet::cli
