#include "cli/ImportRun.hpp"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "cli/Interrupt.hpp"
#include "cli/LibraryRequests.hpp"
#include "cli/LibrarySide.hpp"
#include "cli/RecheckReport.hpp"
#include "cli/Root.hpp"
#include "util/FilePath.hpp"

namespace quillet::cli {

namespace {

/// How long a file that was taken from the drop folder may be on its way into the library before that is told.
constexpr std::chrono::seconds kLongestWay(15);
/// How long the other process may bring nothing at all into the library before the files are taken back. Longer than it
/// waits for a locked library.
constexpr std::chrono::seconds kLongestSilence(90);

constexpr const char* kLockedReason = "the library is locked by another program; nothing of it was taken";
constexpr const char* kSilenceReason = "the other process did not take it; see what that one says";
constexpr const char* kOnItsWayReason = "was handed over and is on its way into the library, or for the next recheck";

}  // namespace

ImportRun::ImportRun(Console& console, const DevicePaths& paths, const std::vector<ImportFile>& files,
                     const ImportOptions& options)
    : console_(console),
      paths_(paths),
      files_(files),
      handOver_(paths, options.move, options.naming),
      handed_(files.size()),
      open_(files.size()),
      outcomes_(files.size()) {
    for (std::size_t i = 0; i < files.size(); ++i) outcomes_[i].reason = files[i].reason;
}

void ImportRun::run() {
    if (auto lock = RootLock::tryTake(paths_, "import")) {
        beLibrarySide();
    } else {
        console_.note(fmt::format("handing over to {}", RootLock::holder(paths_)));
        follow();
    }
    bar_.reset();
}

void ImportRun::handOverAll() {
    isHandedOver_ = true;
    std::size_t toDo = 0;
    for (const ImportFile& file : files_) toDo += file.reason.empty() ? 1 : 0;
    bar_ = std::make_unique<ProgressBar>(console_, "handing over", toDo);
    std::size_t done = 0;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!files_[i].reason.empty()) continue;
        if (interrupted()) {
            outcomes_[i].reason = kInterruptedReason;
            continue;
        }
        HandedOver handed;
        const util::Status put = handOver_.put(files_[i], handed);
        if (put.ok()) {
            if (!handed.unnamed.empty())
                console_.note(fmt::format("{} is imported without a name from its file name: {}",
                                          shown(files_[i].shownPath), handed.unnamed));
            fileOfEntry_[handed.entry] = i;
            handed_[i] = std::move(handed);
            open_[i] = true;
            ++openCount_;
        } else {
            outcomes_[i].reason = interrupted() ? kInterruptedReason : "cannot be handed over: " + put.message();
        }
        bar_->advance(++done);
    }
    bar_.reset();  // before the next begins
    bar_ = std::make_unique<ProgressBar>(console_, "importing", openCount_);
    progress_ = 0;
}

void ImportRun::withdrawAll(const char* reason) {
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!isOpen(i)) continue;
        const bool back = handOver_.withdraw(files_[i], *handed_[i]);
        settle(i, {0, back ? reason : kOnItsWayReason});
    }
}

void ImportRun::beLibrarySide() {
    LinuxPlatform platform(paths_, UvEventLoop::Watching::kernel);
    LibrarySide side(platform, *this);
    reportRecheck(console_, side.recheck(), Verbosity::changesOnly);
    if (!isHandedOver_) handOverAll();
    side.door().stopWhen(interrupted);
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!isOpen(i)) continue;
        side.door().nameOrigin(handed_[i]->entry, handed_[i]->fileName);
        entries.push_back(handed_[i]->entry);
    }
    if (!interrupted() && !entries.empty()) side.importNow(std::move(entries));
    if (interrupted()) return withdrawAll(kInterruptedReason);
    if (platform.library.isLockedOut()) return withdrawAll(kLockedReason);
    // An heir finds some of its files in the library already: by the other process, or by the re-check after its end.
    askLibrary();
    lookForTaken();
    side.takeAllOnce();
}

void ImportRun::follow() {
    // What the library holds already may have been a file of the same name and number.
    if (SqliteMusicLibrary::exists(paths_))
        lastIdentifier_ = SqliteMusicLibrary(paths_, SqliteMusicLibrary::Mode::readOnly).lastIdentifier();
    handOverAll();
    tellOfAll();
    auto lastNews = std::chrono::steady_clock::now();
    while (openCount_ > 0 && !interrupted()) {
        if (askLibrary()) lastNews = std::chrono::steady_clock::now();
        if (openCount_ == 0) return;
        if (auto lock = RootLock::tryTake(paths_, "import")) {
            // The other process ended, with some of the files or without.
            return beLibrarySide();
        }
        const auto silence = std::chrono::steady_clock::now() - lastNews;
        if (silence > kLongestWay) lookForTaken();
        if (silence > kLongestSilence) return withdrawAll(kSilenceReason);
        pauseMilliseconds(kPollInterval);
    }
    askLibrary();
    withdrawAll(kInterruptedReason);
}

void ImportRun::tellOfAll() const {
    std::vector<FinishedEntry> entries;
    for (std::size_t i = 0; i < files_.size(); ++i)
        if (isOpen(i)) entries.push_back({handed_[i]->entry, handed_[i]->fileName});
    if (entries.empty()) return;
    UvEventLoop loop;
    SocketMessagingCenters centers(paths_, loop);
    (void)requestTaking(centers, entries);  // unheard, the files are found when the folder is quiet
}

bool ImportRun::askLibrary() {
    if (openCount_ == 0 || !SqliteMusicLibrary::exists(paths_)) return false;
    SqliteMusicLibrary library(paths_, SqliteMusicLibrary::Mode::readOnly);
    // A track of somebody else's is news too: the other process is at work.
    const std::uint64_t newest = library.lastIdentifier();
    bool news = newest != newestIdentifier_;
    newestIdentifier_ = newest;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!isOpen(i)) continue;
        auto identifier = library.trackOfOrigin(handed_[i]->origin, lastIdentifier_);
        if (!identifier) {  // taken at our word, it bears the user's name
            const TrackOrigin& origin = handed_[i]->origin;
            identifier = library.trackOfOrigin({handed_[i]->fileName, origin.device, origin.inode}, lastIdentifier_);
        }
        if (identifier) {
            settle(i, {*identifier, ""});
            bar_->advance(++progress_);
            news = true;
        }
    }
    return news;
}

void ImportRun::lookForTaken() {
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!isOpen(i)) continue;
        const std::string path = util::pathIn(paths_.at(DevicePaths::kDropFolder), handed_[i]->entry);
        if (util::factsOf(path)) continue;
        settle(i,
               {0, fmt::format("was taken from the drop folder but is not in the library; see what the other process "
                               "says, and {}",
                               paths_.at(DropDoor::kRejectedFolder))});
    }
}

void ImportRun::settle(std::size_t file, Outcome outcome) {
    outcomes_[file] = std::move(outcome);
    if (open_[file]) --openCount_;
    open_[file] = false;
}

void ImportRun::progressed() {
    if (bar_) bar_->advance(++progress_);
}

void ImportRun::imported(const std::string& entry, std::uint64_t persistentID) {
    const auto found = fileOfEntry_.find(entry);
    if (found != fileOfEntry_.end() && open_[found->second])
        settle(found->second, {persistentID, ""});
    else
        console_.note(fmt::format("{}, which lay in the drop folder, is imported as {}", shown(entry), persistentID));
}

void ImportRun::rejected(const std::string& entry, const std::string& rejectedPath, const std::string& reason) {
    fail(entry, rejectedPath, reason);
}

void ImportRun::kept(const std::string& entry, const std::string& reason) {
    fail(entry, util::pathIn(paths_.at(DevicePaths::kDropFolder), entry), reason);
}

void ImportRun::notTaken(const std::string& entry, const std::string& assetName) {
    fail(entry, util::pathIn(paths_.at(DevicePaths::kMediaFolder), assetName), "the library did not take it");
}

void ImportRun::fail(const std::string& entry, const std::string& path, const std::string& reason) {
    const auto found = fileOfEntry_.find(entry);
    if (found == fileOfEntry_.end() || !open_[found->second]) {
        console_.error(
            fmt::format("{}, which lay in the drop folder: {}; it is now {}", shown(entry), reason, shown(path)));
        return;
    }
    // What fails is as if it had never been handed over, so that the user can try again and has it once.
    if (handOver_.takeBack(files_[found->second], path))
        settle(found->second, {0, reason});
    else
        settle(found->second, {0, fmt::format("{}; it is kept as {}", reason, shown(path))});
}

}  // namespace quillet::cli
