#include "platform/linux/LibavMediaFramework.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "platform/linux/LibavAsset.hpp"
#include "util/Files.hpp"

extern "C" {
#include <libavutil/log.h>
}

namespace quillet {

namespace {

/// One state of one file, whatever its name. Not the time of its last status change: renaming sets that.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0;  ///< nanoseconds since 1970

    bool operator==(const Identity&) const = default;
};

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

Identity identityOf(const struct stat& facts) {
    return {facts.st_dev, facts.st_ino, facts.st_size, nanoseconds(facts.st_mtim)};
}

/// Whether the file may change again without its time showing it, since the machine's clock for files ticks slowly.
bool isJustModified(const Identity& identity) {
    constexpr std::int64_t kTick = 20'000'000;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now) - identity.modified < kTick;
}

std::string unreadable(int error) {
    return "cannot be read: " + util::Status::failure(error).message();
}

/// Why something of this kind and size is not even opened; "" where it may be.
std::string reasonAgainstOpening(const struct stat& facts) {
    if (S_ISDIR(facts.st_mode)) return "is a folder";
    if (!S_ISREG(facts.st_mode)) return "is not a regular file";
    return facts.st_size == 0 ? std::string(LibavMediaFramework::kIsEmpty) : "";
}

}  // namespace

struct LibavMediaFramework::Remembered {
    Identity identity;
    std::string reason;  ///< "" where there is an asset
    std::optional<MediaAsset> asset;
};

LibavMediaFramework::LibavMediaFramework() : last_(std::make_unique<Remembered>()) {
    av_log_set_level(AV_LOG_QUIET);
}

LibavMediaFramework::~LibavMediaFramework() = default;

std::optional<MediaAsset> LibavMediaFramework::assetAtPath(const std::string& path) {
    return examine(path).asset;
}

std::string LibavMediaFramework::reasonAgainst(const std::string& path) {
    return examine(path).reason;
}

const LibavMediaFramework::Remembered& LibavMediaFramework::examine(const std::string& path) {
    const auto refuse = [this](std::string reason) -> const Remembered& {
        return *last_ = {{}, std::move(reason), std::nullopt};
    };
    struct stat facts{};
    if (stat(path.c_str(), &facts) != 0) return refuse(errno == ENOENT ? "no such file" : unreadable(errno));
    if (auto reason = reasonAgainstOpening(facts); !reason.empty()) return refuse(std::move(reason));
    if (identityOf(facts) == last_->identity) return *last_;

    // Something else may stand there by now; not to wait for a writer costs nothing should it be a FIFO.
    const util::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) return refuse(errno == ENOENT ? "no such file" : unreadable(errno));
    if (fstat(file.number(), &facts) != 0) return refuse(unreadable(errno));
    if (auto reason = reasonAgainstOpening(facts); !reason.empty()) return refuse(std::move(reason));

    const Identity identity = identityOf(facts);
    const bool mayChangeUnseen = isJustModified(identity);
    LibavAsset read = readLibavAsset(file.number(), facts.st_size);
    if (read.error != 0) return refuse(unreadable(read.error));
    const std::string reason = read.asset ? std::string() : std::string(kIsNotAudio);
    return *last_ = {mayChangeUnseen ? Identity{} : identity, reason, std::move(read.asset)};
}

}  // namespace quillet
