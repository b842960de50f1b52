#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "cli/AudioRecognition.hpp"
#include "cli/BatchReporter.hpp"
#include "cli/OriginJournal.hpp"
#include "import/BatchDoor.hpp"
#include "platform/linux/LinuxPlatform.hpp"

namespace quillet::cli {

/// The door at the drop folder on Linux. Only regular files that a reader knows as audio pass; everything else goes to
/// the folder Rejected beside the drop folder, under its own name or the next free one. A hidden file or a partial
/// download stays until it is renamed, a file that somebody still writes stays for a later batch, and a file that could
/// not be moved stays where it is. Each batch is one group of the library.
class DropDoor : public BatchDoor {
  public:
    static constexpr std::string_view kRejectedFolder = "/private/var/mobile/Media/Quillet/Rejected";

    /// All must outlive the door.
    DropDoor(LinuxPlatform& platform, OriginJournal& journal, BatchReporter& reporter);

    /// Until the next call, only these entries are taken, in this order: finished files that were found to be audio
    /// already. Nullopt takes every entry again.
    void takeOnly(std::optional<std::vector<std::string>> entries) { only_ = std::move(entries); }
    /// From now on no entry is taken once `stop` answers true.
    void stopWhen(bool (*stop)()) { stop_ = stop; }
    bool isStopped() const { return stop_ != nullptr && stop_(); }
    /// In the next batch: the name that the user knows a file of the drop folder by, where it was put there under
    /// another.
    void nameOrigin(const std::string& entry, const std::string& fileName) { originalNames_[entry] = fileName; }

    /// Whether the drop folder holds entries that a batch has not looked at yet.
    bool hasNewEntries() const;
    /// Whether the last batch left entries because somebody was still writing them, and whether somebody still is.
    bool hasUnfinishedEntries() const { return !unfinished_.empty(); }
    bool isStillBeingWritten() const;
    /// Runs `work` after each batch, when all of it has been reported.
    void afterBatch(std::function<void()> work) { afterBatch_ = std::move(work); }
    /// Whether tracks were left out of the library that no re-check has brought in since.
    bool lostTracks() const { return lostTracks_; }
    /// Whether entries stay in the drop folder because they could not be moved; they count as new again after
    /// letLeftEntriesTry.
    bool hasLeftEntries() const { return !left_.empty(); }
    void letLeftEntriesTry();
    /// Tells how a re-check went. The origin journal is kept until none is missing any more.
    void setLostTracks(bool lost);

    /// Hidden, or named as programs name what they have not finished (".part", ".crdownload" ...).
    static bool isPartial(std::string_view name);

    void batchWillBegin() override;
    void arrange(std::vector<std::string>& entries) override;
    bool admits(const std::string& entry) override;
    void willMove(const std::string& entry, const std::string& assetName) override;
    bool didMove(const std::string& entry, const std::string& assetName, const util::Status& moved) override;
    void didImport(const std::string& entry, const std::string& assetName, std::uint64_t persistentID) override;
    void batchDidEnd() override;

  private:
    struct Imported {
        std::string entry;
        std::string assetName;
        std::uint64_t persistentID;
    };

    std::string dropPath(const std::string& entry) const;
    std::string factsKey(const std::string& entry) const;
    void reject(const std::string& path, const std::string& entry, const std::string& reason);
    void leave(const std::string& entry, const std::string& reason);

    LinuxPlatform& platform_;
    AudioRecognition recognition_;
    OriginJournal& journal_;
    BatchReporter& reporter_;
    std::optional<std::vector<std::string>> only_;
    std::unordered_map<std::string, std::string> originalNames_;
    TrackOrigin moving_;              ///< of the entry between willMove and didMove
    std::set<std::string> told_;      ///< what was reported as kept, by name and identity
    std::set<std::string> left_;      ///< what batches have left on purpose, by name and identity
    std::vector<Imported> imported_;  ///< of the batch in hand
    std::unordered_set<std::string> unfinished_;
    std::function<void()> afterBatch_;
    bool (*stop_)() = nullptr;
    bool lostTracks_ = false;
};

}  // namespace quillet::cli
