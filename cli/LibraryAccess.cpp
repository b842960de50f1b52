#include "cli/LibraryAccess.hpp"

#include <fmt/format.h>

#include "cli/Interrupt.hpp"
#include "cli/Root.hpp"
#include "cli/RootLock.hpp"

namespace quillet::cli {

namespace {

/// For work that takes nothing from the drop folder.
class NoReporter : public BatchReporter {
  public:
    void imported(const std::string& /*entry*/, std::uint64_t /*persistentID*/) override {}
    void rejected(const std::string& /*entry*/, const std::string& /*path*/, const std::string& /*reason*/) override {}
    void kept(const std::string& /*entry*/, const std::string& /*reason*/) override {}
    void notTaken(const std::string& /*entry*/, const std::string& /*assetName*/) override {}
};

}  // namespace

void withLibrarySide(Console& console, const DevicePaths& paths, const std::string& command,
                     const std::function<void(LibrarySide&)>& direct,
                     const std::function<bool(MessagingCenters&)>& request) {
    bool said = false;
    while (true) {
        if (const auto lock = RootLock::tryTake(paths, command)) {
            rememberInterrupts();  // while this one waits an interrupt just ends it; its own work it finishes
            LinuxPlatform platform(paths, UvEventLoop::Watching::kernel);
            NoReporter reporter;
            LibrarySide side(platform, reporter);
            return direct(side);
        }
        UvEventLoop loop;
        SocketMessagingCenters centers(paths, loop);
        if (request(centers)) return;
        if (!said) console.note(fmt::format("waiting for {} to end", RootLock::holder(paths)));
        said = true;
        pauseMilliseconds(kPollInterval);
    }
}

}  // namespace quillet::cli
