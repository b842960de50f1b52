#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.hpp"

namespace quillet {

/// Posted, with the watcher as object, when a burst of changes to the directory begins.
inline constexpr std::string_view QLDirectoryDidStartChangesNotification = "QLDirectoryDidStartChangesNotification";
/// Posted, with the watcher as object, when the directory has been unchanged for the quiet period.
inline constexpr std::string_view QLDirectoryDidFinishChangesNotification = "QLDirectoryDidFinishChangesNotification";

/// Watches one directory, not what lies deeper, and tells when a burst of changes to it begins and when it has settled:
/// six snapshots in a row, 0.2 seconds apart, equal to the one before. Both notices are posted on the main queue.
/// Either may come more than once for one burst: a change that arrives while the quiet snapshots are being counted
/// starts a second count beside the first, and each count ends with its own notice.
class QLDirectoryWatcher : public std::enable_shared_from_this<QLDirectoryWatcher> {
  public:
    /// The retries that a quiet directory has to pass after the first, and the seconds between two snapshots.
    static constexpr std::int32_t kRetries = 5;
    static constexpr double kPollingInterval = 0.2;

    /// +directoryWatcherAtPath:  A watcher that watches already; null where `path` is nullopt or cannot be watched.
    static std::shared_ptr<QLDirectoryWatcher> directoryWatcherAtPath(const std::optional<std::string>& path,
                                                                      Platform& platform);
    ~QLDirectoryWatcher();

    /// -startWatching  False where it watches already, or where `watchedPath` cannot be opened.
    bool startWatching();
    /// -stopWatching  False where it was not watching. A count that is under way goes on, and may end with its notice.
    bool stopWatching();

    bool isWatching() const noexcept { return source_ != nullptr; }
    const std::string& watchedPath() const noexcept { return watchedPath_; }
    void setWatchedPath(std::string path) { watchedPath_ = std::move(path); }
    /// Whether the last two snapshots differed; false while quiet ones are counted.
    bool isDirectoryChanging() const noexcept { return isDirectoryChanging_; }
    void setIsDirectoryChanging(bool changing) noexcept { isDirectoryChanging_ = changing; }

    /// -directoryDidChange  What each event does: a start notice and a count until the directory has settled, unless a
    /// burst is in progress. Also for a change that no event told of.
    void directoryDidChange();

  private:
    /// The entries in listing order, each as its name with its size behind it.
    using Snapshot = std::vector<std::string>;

    explicit QLDirectoryWatcher(Platform& platform) : platform_(platform) {}

    bool startMonitoringDirectory(const std::string& path);
    void checkChangesAfterDelay(double delay);
    void pollDirectoryForChanges(const Snapshot& earlier);
    Snapshot directoryMetadata() const;
    void postOnMain(std::string_view notification);

    Platform& platform_;
    std::unique_ptr<DirectorySource> source_;
    std::int32_t retriesLeft_ = 0;
    bool isDirectoryChanging_ = false;
    std::string watchedPath_;
};

}  // namespace quillet
