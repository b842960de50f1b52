#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "import/BatchDoor.hpp"
#include "import/QLDirectoryWatcher.hpp"
#include "platform/Platform.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// The messaging center that both hosts know, and the message that says a batch begins.
inline constexpr std::string_view kSyncMessagingCenter = "com.quillet.sync";
inline constexpr std::string_view kSyncSuccessMessage = "QLSyncSuccess";

/// What one re-check found, in records of the import database.
struct RecheckCounts {
    std::size_t records = 0;     ///< there were
    std::size_t addedAgain = 0;  ///< had vanished from the library
    std::size_t refused = 0;     ///< had vanished, and the library did not take them, or not yet
    std::size_t dropped = 0;     ///< had vanished, and so had their files
};

/// The sync engine: takes what was put into the drop folder, moves it into the media folder under random names, adds it
/// to the music library, and keeps a record of each track it added, so that one that vanishes from the library can be
/// added again. Everything runs on the thread that calls it; batches run on the main queue and never overlap.
class QLSyncHelper {
  public:
    /// +sharedInstance  The instance of this process on its platform, made at the first call. Not locked.
    static QLSyncHelper& sharedInstance();

    /// +dbPath, +importPath, +dropFolderPath  The system's paths, as on the device.
    static std::string_view dbPath() { return DevicePaths::kImportDatabase; }
    static std::string_view importPath() { return DevicePaths::kMediaFolder; }
    static std::string_view dropFolderPath() { return DevicePaths::kDropFolder; }

    /// +setIsSyncing:  Moves everything in the media folder into the folder "Temp" beside the import database, or with
    /// false everything there back. What cannot be moved stays.
    static void setIsSyncing(bool syncing, const DevicePaths& paths = Platform::ofProcess().paths);

    /// -init  Loads the import database, enables importation, makes the folders and watches the drop folder. A database
    /// that is there but no dictionary leaves the instance without one: nothing is filed or written then.
    explicit QLSyncHelper(Platform& platform);
    ~QLSyncHelper();
    QLSyncHelper(const QLSyncHelper&) = delete;
    QLSyncHelper& operator=(const QLSyncHelper&) = delete;

    /// Puts another door at the drop folder; it must outlive the instance. Null brings the system's own back.
    void setDoor(BatchDoor* door);

    /// -directoryDidStartChanges:  Nothing.
    void directoryDidStartChanges() {}
    /// -directoryDidFinishChanges:  One batch: imports all that lies in the drop folder.
    void directoryDidFinishChanges();

    /// -scanDatabaseChanges  Adds each recorded track again that the library no longer has while its file is still in
    /// the media folder, under its new identifier, and drops the record of one whose file is gone too. Costs time in
    /// the sum of records and tracks. Nothing is done where the library cannot be asked.
    RecheckCounts scanDatabaseChanges();

    /// -addNewAsset:  Adds the track that the record describes to the library and files the record under the decimal
    /// identifier that it got. Answers that identifier: 0 where the library refused, or answers later.
    std::uint64_t addNewAsset(util::PropertyDictionary record);

    /// -randomFilename  20 characters, capital letters and digits. Whether a file has that name is not looked at.
    static std::string randomFilename();

    /// -getFileSize:  The low 32 bits of the file's size in bytes. Ends the process, status 1, where it cannot be
    /// asked.
    static std::int32_t getFileSize(const std::string& path);

    /// The identifier that a key of the import database stands for; nullopt for a key that this system never writes.
    static std::optional<std::uint64_t> identifierOf(std::string_view key);
    /// The import database, decimal identifier to asset record; null where there is none (see -init).
    const util::PropertyDictionary* dbItems() const { return dbItems_ ? &*dbItems_ : nullptr; }
    /// Takes a record out of the import database and writes it.
    void forgetRecord(const std::string& key);
    /// Writes the import database whole; whoever calls addNewAsset does so when all are added.
    void writeDatabase();
    /// The watcher on the drop folder; null where the folder could not be watched.
    QLDirectoryWatcher* watcher() const { return watcher_.get(); }

  private:
    void importEntry(const std::string& entry);

    Platform& platform_;
    BatchDoor systemDoor_;
    BatchDoor* door_ = &systemDoor_;
    std::optional<util::PropertyDictionary> dbItems_;
    std::shared_ptr<QLDirectoryWatcher> watcher_;
};

}  // namespace quillet
