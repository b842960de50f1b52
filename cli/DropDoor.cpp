#include "cli/DropDoor.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <iterator>

#include "cli/FreeName.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet::cli {

namespace {

/// A file that was open for writing but not written to for this long is taken all the same, in seconds.
constexpr std::time_t kForgottenWriter = 60;

constexpr std::array<std::string_view, 9> kPartialEndings = {
    ".part", ".partial", ".crdownload", ".download", ".opdownload", ".aria2", ".filepart", ".tmp", "~"};

/// Whether another process has the file open for writing and wrote to it lately. The kernel grants a read lease only
/// where no writer has the file open (fcntl(2), F_SETLEASE); where it cannot tell, nobody is assumed to write.
bool isBeingWritten(const std::string& path) {
    const util::FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isOpen()) return false;
    if (fcntl(file.number(), F_SETLEASE, F_RDLCK) == 0) {
        (void)fcntl(file.number(), F_SETLEASE, F_UNLCK);
        return false;
    }
    if (errno != EAGAIN) return false;
    struct stat facts = {};
    return fstat(file.number(), &facts) == 0 && std::time(nullptr) - facts.st_mtime < kForgottenWriter;
}

std::string reasonAgainstKind(const util::FileFacts& facts) {
    switch (facts.kind) {
        case util::FileKind::regular:
            return "";
        case util::FileKind::directory:
            return "is a folder";
        case util::FileKind::symbolicLink:
            return "is a symbolic link";
        case util::FileKind::other:
            break;
    }
    return "is not a regular file";
}

}  // namespace

DropDoor::DropDoor(LinuxPlatform& platform, OriginJournal& journal, BatchReporter& reporter)
    : platform_(platform), recognition_(platform.media), journal_(journal), reporter_(reporter) {}

bool DropDoor::isPartial(std::string_view name) {
    if (name.starts_with('.')) return true;
    for (const std::string_view ending : kPartialEndings)
        if (name.ends_with(ending)) return true;
    return false;
}

std::string DropDoor::dropPath(const std::string& entry) const {
    return util::pathIn(platform_.paths.at(DevicePaths::kDropFolder), entry);
}

std::string DropDoor::factsKey(const std::string& entry) const {
    const auto facts = util::factsOf(dropPath(entry));
    return facts ? fmt::format("{}/{}/{}/{}", facts->device, facts->inode, facts->size, entry) : entry;
}

bool DropDoor::hasNewEntries() const {
    for (const std::string& entry :
         util::listDirectory(platform_.paths.at(DevicePaths::kDropFolder)).value_or(std::vector<std::string>()))
        if (!isPartial(entry) && !unfinished_.contains(entry) && !left_.contains(factsKey(entry))) return true;
    return false;
}

bool DropDoor::isStillBeingWritten() const {
    return std::any_of(unfinished_.begin(), unfinished_.end(),
                       [this](const std::string& entry) { return isBeingWritten(dropPath(entry)); });
}

void DropDoor::batchWillBegin() {
    imported_.clear();
    unfinished_.clear();
    // A drop folder that was deleted while it was watched would end the watch for good.
    const std::string folder = platform_.paths.at(DevicePaths::kDropFolder);
    if (!util::fileExists(folder)) {
        const util::Status made = util::createDirectories(folder);
        util::log(made.ok() ? fmt::format("the drop folder {} was gone; it is made again", folder)
                            : fmt::format("the drop folder {} is gone and cannot be made: {}", folder, made.message()));
    }
    platform_.library.beginGroup();
}

void DropDoor::arrange(std::vector<std::string>& entries) {
    if (!only_) return;
    const std::unordered_set<std::string> listed(entries.begin(), entries.end());
    entries.clear();
    std::copy_if(only_->begin(), only_->end(), std::back_inserter(entries),
                 [&](const std::string& entry) { return listed.contains(entry); });
}

bool DropDoor::admits(const std::string& entry) {
    if (isStopped()) return false;
    // What the library cannot take now is as safe in the drop folder, and found there by the next batch.
    if (platform_.library.isLockedOut()) return false;
    if (only_) return true;  // see arrange()
    if (isPartial(entry)) return false;
    const auto facts = util::factsOf(dropPath(entry));
    if (!facts) return false;  // gone since the folder was listed
    std::string reason = reasonAgainstKind(*facts);
    if (reason.empty() && isBeingWritten(dropPath(entry))) {
        unfinished_.insert(entry);
        return false;
    }
    if (reason.empty()) reason = recognition_.reasonAgainst(dropPath(entry));
    if (reason.empty()) return true;
    reject(dropPath(entry), entry, reason);
    return false;
}

void DropDoor::reject(const std::string& path, const std::string& entry, const std::string& reason) {
    const std::string folder = platform_.paths.at(kRejectedFolder);
    util::Status status = util::createDirectories(folder);
    std::string name = entry;
    if (status.ok()) {
        status = underFreeName(
            entry, [&](const std::string& choice) { return util::moveItem(path, util::pathIn(folder, choice)); }, name);
    }
    if (status.ok())
        reporter_.rejected(entry, util::pathIn(folder, name), reason);
    else
        leave(entry, fmt::format("{}, and cannot be moved to {}: {}", reason, folder, status.message()));
}

void DropDoor::leave(const std::string& entry, const std::string& reason) {
    // Told once for as long as it is the same file.
    const std::string key = factsKey(entry);
    left_.insert(key);
    if (told_.insert(key).second) reporter_.kept(entry, reason);
}

void DropDoor::letLeftEntriesTry() {
    left_.clear();
}

void DropDoor::willMove(const std::string& entry, const std::string& assetName) {
    const auto facts = util::factsOf(dropPath(entry));
    const auto known = originalNames_.find(entry);
    moving_.fileName = known == originalNames_.end() ? entry : known->second;
    moving_.device = facts ? facts->device : 0;
    moving_.inode = facts ? facts->inode : 0;
    journal_.add({assetName, moving_, entry});
}

bool DropDoor::didMove(const std::string& entry, const std::string& assetName, const util::Status& moved) {
    if (!moved.ok()) {
        leave(entry, "cannot be moved into the media folder: " + moved.message());
        return false;
    }
    const std::string asset = util::pathIn(platform_.paths.at(DevicePaths::kMediaFolder), assetName);
    const auto facts = util::factsOf(asset);
    if (!facts || facts->kind != util::FileKind::regular) {
        // Something else was put into its place while it was looked at.
        if (facts) reject(asset, entry, reasonAgainstKind(*facts));
        return false;
    }
    platform_.library.noteOrigin(assetName, moving_);
    return true;
}

void DropDoor::didImport(const std::string& entry, const std::string& assetName, std::uint64_t persistentID) {
    imported_.push_back({entry, assetName, persistentID});
    reporter_.progressed();
}

void DropDoor::batchDidEnd() {
    // A group that could not be committed takes back what its imports had answered.
    const bool safe = platform_.library.endGroup();
    for (const Imported& one : imported_) {
        bool taken = one.persistentID != 0;
        if (taken && !safe) {
            try {
                taken = platform_.library.track(one.persistentID).has_value();
            } catch (const LibraryError& error) {
                // It may be there. Told as taken, its file stays, and the next re-check imports it where it is not.
                util::log(error.what());
            }
        }
        if (taken) {
            reporter_.imported(one.entry, one.persistentID);
        } else {
            lostTracks_ = true;
            reporter_.notTaken(one.entry, one.assetName);
        }
    }
    // Kept, a name would stick to a later file that is put there under the same one.
    originalNames_.clear();
    setLostTracks(lostTracks_);
    if (afterBatch_) afterBatch_();
}

void DropDoor::setLostTracks(bool lost) {
    lostTracks_ = lost;
    if (!lost) journal_.forgetAll();
}

}  // namespace quillet::cli
