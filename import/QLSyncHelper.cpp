#include "import/QLSyncHelper.hpp"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_set>
#include <utility>
#include <vector>

#include "import/QLAssetHelper.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Limits.hpp"
#include "util/Log.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::PropertyDictionary;
using util::PropertyValue;
using util::textAt;

/// Meant so: Z stands before Y. The order decides which character each random number becomes.
constexpr std::string_view kFileNameAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXZY0123456789";
constexpr std::size_t kFileNameLength = 20;

/// The name in the media folder for `entry`: a random one with the entry's extension, a lone dot where it has none.
std::string assetNameFor(const std::string& entry) {
    const std::string name = QLSyncHelper::randomFilename() + ".";
    // The extension becomes text in the import database. One so long that no file could bear the name is cut.
    std::string extension = util::decodeUTF8(util::bytesOf(util::pathExtension(entry)));
    while (name.size() + extension.size() > util::kLongestFileName)
        extension = util::utf16Prefix(extension, util::utf16Length(extension) - 1);
    return name + extension;
}

}  // namespace

std::optional<std::uint64_t> QLSyncHelper::identifierOf(std::string_view key) {
    std::uint64_t identifier = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), identifier);
    if (error != std::errc() || end != key.data() + key.size() || std::to_string(identifier) != key)
        return std::nullopt;
    return identifier;
}

namespace {

void moveContent(const std::string& from, const std::string& to) {
    for (const std::string& entry : util::listDirectory(from).value_or(std::vector<std::string>()))
        (void)util::moveItem(util::pathIn(from, entry), util::pathIn(to, entry));
}

}  // namespace

QLSyncHelper& QLSyncHelper::sharedInstance() {
    static QLSyncHelper* instance = nullptr;
    if (instance == nullptr) instance = new QLSyncHelper(Platform::ofProcess());  // lives as long as the process
    return *instance;
}

QLSyncHelper::QLSyncHelper(Platform& platform) : platform_(platform) {
    const DevicePaths& paths = platform_.paths;
    const std::string database = paths.at(dbPath());
    dbItems_ = util::fileExists(database) ? platform_.propertyLists.dictionaryWithContentsOfFile(database)
                                          : std::optional(PropertyDictionary());
    platform_.library.setImportationEnabled(true);
    for (const std::string_view folder : {dropFolderPath(), importPath(), DevicePaths::kArtworkCache})
        (void)util::createDirectories(paths.at(folder));
    watcher_ = QLDirectoryWatcher::directoryWatcherAtPath(paths.at(dropFolderPath()), platform_);
    platform_.notifications.addObserver(this, QLDirectoryDidStartChangesNotification, watcher_.get(),
                                        [this] { directoryDidStartChanges(); });
    platform_.notifications.addObserver(this, QLDirectoryDidFinishChangesNotification, watcher_.get(),
                                        [this] { directoryDidFinishChanges(); });
}

QLSyncHelper::~QLSyncHelper() {
    platform_.notifications.removeObserver(this);
}

void QLSyncHelper::setDoor(BatchDoor* door) {
    door_ = door == nullptr ? &systemDoor_ : door;
}

void QLSyncHelper::directoryDidFinishChanges() {
    if (const auto center = platform_.messaging.centerNamed(kSyncMessagingCenter))
        (void)center->sendMessageName(std::string(kSyncSuccessMessage), nullptr);
    if (watcher_) watcher_->stopWatching();
    door_->batchWillBegin();
    auto entries = util::listDirectory(platform_.paths.at(dropFolderPath())).value_or(std::vector<std::string>());
    door_->arrange(entries);
    for (const std::string& entry : entries)
        if (door_->admits(entry)) importEntry(entry);
    if (watcher_) watcher_->startWatching();
    writeDatabase();
    door_->batchDidEnd();
}

void QLSyncHelper::importEntry(const std::string& entry) {
    const std::string assetName = assetNameFor(entry);
    const std::string destination = util::pathIn(platform_.paths.at(importPath()), assetName);
    door_->willMove(entry, assetName);
    const util::Status moved = util::moveItem(util::pathIn(platform_.paths.at(dropFolderPath()), entry), destination);
    if (!door_->didMove(entry, assetName, moved)) return;
    const std::uint64_t identifier = addNewAsset(QLAssetHelper::newAssetFromPath(destination, platform_));
    door_->didImport(entry, assetName, identifier);
}

RecheckCounts QLSyncHelper::scanDatabaseChanges() {
    RecheckCounts counts;
    counts.records = dbItems_ ? dbItems_->size() : 0;
    const auto identifiers = platform_.library.persistentIdentifiers();
    if (!identifiers) {
        // Taken for an empty library, one that cannot be read would have every track added a second time.
        util::log("the music library cannot be read; nothing is added again");
        return counts;
    }
    const std::unordered_set<std::uint64_t> present(identifiers->begin(), identifiers->end());
    std::vector<std::string> missing;
    if (dbItems_) {
        for (const auto& [key, record] : *dbItems_) {
            // What is no record of ours is kept as it is.
            const auto identifier = identifierOf(key);
            if (identifier && record.dictionary() != nullptr && !present.contains(*identifier)) missing.push_back(key);
        }
    }
    for (const std::string& key : missing) {
        // A copy: filing the record anew may replace the one it was read from.
        PropertyDictionary record = *dbItems_->find(key)->second.dictionary();
        const std::string assetName = textAt(record, "assetPath");
        if (util::isEntryName(assetName) && util::fileExists(util::pathIn(platform_.paths.at(importPath()), assetName)))
            ++(addNewAsset(std::move(record)) == 0 ? counts.refused : counts.addedAgain);
        else
            ++counts.dropped;
        // Meant so: the old key goes last, and takes the new record along where the library gave the same identifier.
        dbItems_->erase(key);
    }
    writeDatabase();
    return counts;
}

std::uint64_t QLSyncHelper::addNewAsset(PropertyDictionary record) {
    const auto track = std::make_shared<TrackImport>();
    const PropertyValue* values = util::find(record, "values");
    if (values != nullptr && values->dictionary() != nullptr) track->values = *values->dictionary();
    track->assetFilePath = util::pathIn(platform_.paths.at(importPath()), textAt(record, "assetPath"));
    track->mediaType = kMusicMediaType;
    track->shouldAddToPurchasedPlaylist = false;
    const std::string artwork = textAt(record, "artwork");
    if (util::isEntryName(artwork)) {
        const std::string cached = util::pathIn(platform_.paths.at(DevicePaths::kArtworkCache), artwork);
        if (util::fileExists(cached)) track->artworkData = util::readFile(cached);
    }
    // The cell outlives this call, for a library that completes later; the record is filed by what stands in it now.
    const auto cell = std::make_shared<std::uint64_t>(0);
    platform_.library.importTrack(track,
                                  [cell](std::uint32_t /*status*/, std::uint64_t identifier) { *cell = identifier; });
    if (dbItems_) dbItems_->insert_or_assign(std::to_string(*cell), std::move(record));
    return *cell;
}

void QLSyncHelper::forgetRecord(const std::string& key) {
    if (dbItems_ && dbItems_->erase(key) > 0) writeDatabase();
}

void QLSyncHelper::writeDatabase() {
    if (dbItems_) (void)platform_.propertyLists.writeToFile(*dbItems_, platform_.paths.at(dbPath()), false);
}

std::string QLSyncHelper::randomFilename() {
    // For many names at once, since asking may be a system call of its own.
    constexpr std::size_t kNames = 64;
    static std::array<std::uint32_t, kNames * kFileNameLength> draws;
    static std::size_t next = draws.size();
    if (next == draws.size()) {
        arc4random_buf(draws.data(), sizeof draws);
        next = 0;
    }
    std::string name;
    name.reserve(kFileNameLength);
    for (std::size_t i = 0; i < kFileNameLength; ++i)
        name += kFileNameAlphabet[draws[next++] % kFileNameAlphabet.size()];
    return name;
}

void QLSyncHelper::setIsSyncing(bool syncing, const DevicePaths& paths) {
    const std::string holding = util::pathIn(paths.at(DevicePaths::kImportDatabaseFolder), "Temp");
    const std::string media = paths.at(importPath());
    (void)util::createDirectories(holding);
    moveContent(syncing ? media : holding, syncing ? holding : media);
}

std::int32_t QLSyncHelper::getFileSize(const std::string& path) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) != 0) {
        std::fprintf(stderr, "'stat' failed for '%s': %s.\n", path.c_str(), std::strerror(errno));
        std::exit(1);
    }
    return util::lowBits<std::int32_t>(facts.st_size);
}

}  // namespace quillet
