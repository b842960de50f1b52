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

/// What the file of a track is called while the track is removed, with the identifier behind it.
const std::string kRemovedPrefix = ".removed.";

bool isInMediaFolder(const DevicePaths& paths, const std::string& assetPath) {
    return util::isEntryName(util::lastPathComponent(assetPath)) &&
           assetPath == util::pathIn(paths.at(DevicePaths::kMediaFolder), util::lastPathComponent(assetPath));
}

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
    finishRemovals();
    passOverRecordedIdentifiers();
    LibraryGroup group(platform_.library);
    recallMoves();
    const RecheckCounts counts = engine_->scanDatabaseChanges();
    RecheckResult result = {counts.records, counts.addedAgain, counts.dropped, 0, counts.refused};
    importUnknownFiles(result);
    if (!group.end()) ++result.failed;
    door_.setLostTracks(result.failed > 0);
    return result;
}

void LibrarySide::passOverRecordedIdentifiers() {
    // A library that was made anew would count from 1, and file its tracks over the records of the one before.
    constexpr std::uint64_t kHighest = std::uint64_t{1} << 62;  // what lies above was never given by any library
    std::uint64_t highest = 0;
    for (const auto& [key, record] : *engine_->dbItems()) {
        const std::uint64_t identifier = QLSyncHelper::identifierOf(key).value_or(0);
        if (identifier < kHighest) highest = std::max(highest, identifier);
    }
    platform_.library.passOverIdentifiers(highest);
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
    const std::string asset = util::pathIn(platform_.paths.at(DevicePaths::kMediaFolder), move.assetName);
    const auto there = util::factsOf(asset);
    if (!there || (there->inode == facts->inode && there->device == facts->device)) return;  // one file, not two
    // The move went across file systems and its process was killed before the source was removed. Taken once more, the
    // file would be in the library twice.
    if (haveSameContent(source, asset)) (void)unlink(source.c_str());
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
        if (record.dictionary() != nullptr && textAt(*record.dictionary(), "artwork") == artwork) return;
    (void)unlink(util::pathIn(platform_.paths.at(DevicePaths::kArtworkCache), artwork).c_str());
}

}  // namespace quillet::cli
