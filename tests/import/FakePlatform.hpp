#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "platform/linux/LocalNotificationCenter.hpp"
#include "tests/TemporaryFolder.hpp"
#include "util/Files.hpp"

namespace quillet::test {

/// A loop whose clock the test moves.
class FakeLoop : public EventLoop {
  public:
    struct Source : DirectorySource {
        FakeLoop& loop;
        explicit Source(FakeLoop& owner) : loop(owner) {}
        ~Source() override { loop.changed = nullptr; }
    };

    std::unique_ptr<DirectorySource> watchDirectory(const std::string& path, Work work) override {
        if (!util::fileExists(path)) return nullptr;
        changed = std::move(work);
        return std::make_unique<Source>(*this);
    }
    void runAfter(double delaySeconds, Work work) override { due.emplace(now + delaySeconds, std::move(work)); }
    void runOnMain(Work work) override { runAfter(0, std::move(work)); }

    /// Runs what is due until `end`; the clock stands at each piece of work's own time while it runs.
    void runUntil(double end) {
        while (!due.empty() && due.begin()->first <= end + 1e-9) {
            const auto next = due.begin();
            now = next->first;
            const Work work = std::move(next->second);
            due.erase(next);
            work();
        }
        now = end;
    }

    Work changed;  ///< what a write to the watched directory calls; null while none is watched
    double now = 0;
    std::multimap<double, Work> due;
};

/// A library that remembers what it was given, and completes at once or when told to.
class FakeLibrary : public MusicLibrary {
  public:
    void setImportationEnabled(bool value) override { enabled = value; }
    void importTrack(std::shared_ptr<TrackImport> track, Completion completion) override {
        imports.push_back(track);
        const std::uint64_t identifier = next++;
        if (refuses) return completion(1, 0);
        identifiers.push_back(identifier);
        if (completesLater)
            pending.push_back([=] { completion(0, identifier); });
        else
            completion(0, identifier);
    }
    std::optional<std::vector<std::uint64_t>> persistentIdentifiers() override {
        return readable ? std::optional(identifiers) : std::nullopt;
    }

    bool enabled = false;
    bool readable = true;
    bool refuses = false;
    bool completesLater = false;
    std::uint64_t next = 100;
    std::vector<std::uint64_t> identifiers;
    std::vector<std::shared_ptr<TrackImport>> imports;
    std::vector<std::function<void()>> pending;
};

class FakeMedia : public MediaFramework {
  public:
    std::optional<MediaAsset> assetAtPath(const std::string& path) override {
        paths.push_back(path);
        return asset;
    }
    std::optional<MediaAsset> asset;
    std::vector<std::string> paths;
};

/// One center that notes what was sent.
class FakeMessaging : public MessagingCenters, public MessagingCenter {
  public:
    std::shared_ptr<MessagingCenter> centerNamed(std::string_view name) override {
        centers.emplace_back(name);
        return {std::shared_ptr<void>(), this};
    }
    bool sendMessageName(const std::string& name, const util::PropertyDictionary* userInfo) override {
        sent.push_back(name + (userInfo == nullptr ? "" : " with user info"));
        return true;
    }
    std::optional<util::PropertyDictionary> sendMessageAndReceiveReplyName(const std::string&,
                                                                           const util::PropertyDictionary*) override {
        return std::nullopt;
    }
    bool runServerOnCurrentThread() override { return false; }
    void registerForMessageName(const std::string&, Handler) override {}
    void stopServer() override {}

    std::vector<std::string> centers;
    std::vector<std::string> sent;
};

/// Doubles for the machine, the real file system under a folder of the test's own.
struct FakePlatform {
    TemporaryFolder root;
    FakeLoop loop;
    FakeLibrary library;
    FakeMedia media;
    FakeMessaging messaging;
    LocalNotificationCenter notifications;
    LibplistPropertyLists propertyLists;
    Platform ports{DevicePaths(root.path()), library, media, messaging, loop, notifications, propertyLists};

    std::string at(std::string_view devicePath) const { return ports.paths.at(devicePath); }
    std::string in(std::string_view folder, std::string_view name) const {
        return at(folder) + "/" + std::string(name);
    }
    void makeFolders() const {
        for (const auto folder : {DevicePaths::kDropFolder, DevicePaths::kMediaFolder, DevicePaths::kArtworkCache})
            ASSERT_TRUE(util::createDirectories(at(folder)).ok());
    }
    void write(std::string_view folder, std::string_view name, std::string_view content) const {
        std::ofstream(in(folder, name), std::ios::binary) << content;
    }
    std::vector<std::string> list(std::string_view folder) const {
        return util::listDirectory(at(folder)).value_or(std::vector<std::string>());
    }
};

}  // namespace quillet::test
