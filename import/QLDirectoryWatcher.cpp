#include "import/QLDirectoryWatcher.hpp"

#include <utility>

#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Narrow.hpp"

namespace quillet {

std::shared_ptr<QLDirectoryWatcher> QLDirectoryWatcher::directoryWatcherAtPath(const std::optional<std::string>& path,
                                                                               Platform& platform) {
    if (!path) return nullptr;
    std::shared_ptr<QLDirectoryWatcher> watcher(new QLDirectoryWatcher(platform));
    // Before an event can ask for it, on whatever thread.
    watcher->setWatchedPath(*path);
    return watcher->startWatching() ? watcher : nullptr;
}

QLDirectoryWatcher::~QLDirectoryWatcher() {
    stopWatching();
}

bool QLDirectoryWatcher::startWatching() {
    return startMonitoringDirectory(watchedPath_);
}

bool QLDirectoryWatcher::stopWatching() {
    if (!source_) return false;
    source_.reset();
    return true;
}

bool QLDirectoryWatcher::startMonitoringDirectory(const std::string& path) {
    if (source_) return false;
    // The source must not keep its own watcher alive, or neither would ever go.
    source_ = platform_.loop.watchDirectory(path, [watcher = weak_from_this()] {
        if (const auto self = watcher.lock()) self->directoryDidChange();
    });
    return source_ != nullptr;
}

void QLDirectoryWatcher::directoryDidChange() {
    if (isDirectoryChanging_) return;
    postOnMain(QLDirectoryDidStartChangesNotification);
    isDirectoryChanging_ = true;
    retriesLeft_ = kRetries;
    checkChangesAfterDelay(kPollingInterval);
}

void QLDirectoryWatcher::checkChangesAfterDelay(double delay) {
    platform_.loop.runAfter(
        delay, [self = shared_from_this(), earlier = directoryMetadata()] { self->pollDirectoryForChanges(earlier); });
}

void QLDirectoryWatcher::pollDirectoryForChanges(const Snapshot& earlier) {
    isDirectoryChanging_ = directoryMetadata() != earlier;
    if (isDirectoryChanging_) {
        retriesLeft_ = kRetries;
        checkChangesAfterDelay(kPollingInterval);
    } else if (--retriesLeft_ < 0) {
        postOnMain(QLDirectoryDidFinishChangesNotification);
    } else {
        checkChangesAfterDelay(kPollingInterval);
    }
}

QLDirectoryWatcher::Snapshot QLDirectoryWatcher::directoryMetadata() const {
    Snapshot snapshot = util::listDirectory(watchedPath_).value_or(Snapshot());
    for (std::string& entry : snapshot) {
        const auto facts = util::factsOf(util::pathIn(watchedPath_, entry));
        entry += std::to_string(util::lowBits<std::int32_t>(facts ? facts->size : 0));
    }
    return snapshot;
}

void QLDirectoryWatcher::postOnMain(std::string_view notification) {
    platform_.loop.runOnMain(
        [self = shared_from_this(), notification] { self->platform_.notifications.post(notification, self.get()); });
}

}  // namespace quillet
