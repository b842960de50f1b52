#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/Commands.hpp"
#include "cli/Interrupt.hpp"
#include "cli/LibraryRequests.hpp"
#include "cli/LibrarySide.hpp"
#include "cli/RecheckReport.hpp"
#include "cli/Root.hpp"
#include "cli/RootLock.hpp"
#include "cli/TrackView.hpp"

namespace quillet::cli {

namespace {

/// Prints each outcome as it comes.
class WatchReporter : public BatchReporter {
  public:
    explicit WatchReporter(Console& console) : console_(console) {}
    void follow(SqliteMusicLibrary& library) { library_ = &library; }

    void imported(const std::string& entry, std::uint64_t persistentID) override {
        LibraryTrack track;
        try {
            track = library_->track(persistentID).value_or(track);
        } catch (const LibraryError& error) {
            console_.error(error.what());  // and is told by its identifier alone
        }
        track.persistentID = persistentID;
        const TrackView view(track);
        if (console_.json()) {
            nlohmann::ordered_json object = {{"status", "imported"}};
            object.update(view.json());
            console_.jsonLine(object);
        } else {
            console_.line(fmt::format("{}: {} as {}: {}", shown(entry), console_.coloured(Colour::green, "imported"),
                                      persistentID, shown(view.summary())));
        }
        std::fflush(stdout);
    }
    void rejected(const std::string& entry, const std::string& rejectedPath, const std::string& reason) override {
        failed(entry, "rejected", fmt::format("{}; it is now {}", reason, shown(rejectedPath)));
    }
    void kept(const std::string& entry, const std::string& reason) override { failed(entry, "kept", reason); }
    void notTaken(const std::string& entry, const std::string& assetName) override {
        failed(entry, "failed", fmt::format("the library did not take it; its file is kept as {}", assetName));
    }

  private:
    void failed(const std::string& entry, const char* status, const std::string& reason) {
        console_.error(fmt::format("{}: {}", shown(entry), reason));
        if (!console_.json()) return;
        nlohmann::ordered_json object = {{"status", status}};
        addFileName(object, "file", entry);
        object["reason"] = reason;
        console_.jsonLine(object);
        std::fflush(stdout);
    }

    Console& console_;
    SqliteMusicLibrary* library_ = nullptr;
};

}  // namespace

int runWatch(Console& console, const DevicePaths& paths, const WatchOptions& options) {
    const auto lock = RootLock::tryTake(paths, "watch");
    if (!lock) {
        console.error(fmt::format("{} is the library side of {} already", RootLock::holder(paths), paths.root()));
        return kSomeFailed;
    }
    LinuxPlatform platform(paths, options.polling ? UvEventLoop::Watching::polling : UvEventLoop::Watching::kernel);
    for (const int number : endingSignals()) platform.loop.onSignal(number, [&] { platform.loop.stop(); });
    WatchReporter reporter(console);
    reporter.follow(platform.library);
    LibrarySide side(platform, reporter);
    reportRecheck(console, side.recheck(), Verbosity::changesOnly);
    const auto requests = serveRequests(platform.messaging, side);
    if (requests == nullptr) console.note("requests of other commands cannot be served; they wait until this one ends");
    console.note(fmt::format("watching {}", paths.at(DevicePaths::kDropFolder)));
    side.takeWhateverComes();
    platform.loop.run();
    if (requests != nullptr) requests->stopServer();
    console.note("stopped");
    return kInterrupted;
}

}  // namespace quillet::cli
