#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "cli/AudioRecognition.hpp"
#include "cli/LibrarySide.hpp"
#include "import/QLAssetHelper.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

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
        if (record.dictionary() != nullptr) known.insert(util::textAt(*record.dictionary(), "assetPath"));
    AudioRecognition recognition(platform_.media);
    bool imported = false;
    for (const std::string& name : util::listDirectory(folder).value_or(std::vector<std::string>())) {
        if (known.contains(name) || DropDoor::isPartial(name)) continue;
        const std::string path = util::pathIn(folder, name);
        if (const std::string reason = recognition.reasonAgainst(path); !reason.empty()) {
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

}  // namespace quillet::cli
