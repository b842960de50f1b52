#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/MediaFramework.hpp"

namespace quillet {

/// What libavformat reads, told as the device's media framework tells it. Every item is in key space "itsk" whatever
/// the container: text under common keys, "trkn" and "disk" as binary, the album artist under "aART", the cover as
/// data. Reads local files alone, never a playlist, a device or the network, and never opens what is no regular file.
/// Remembers the last file it read by device, inode, size and time, so that the door's question and the import's
/// reading of the same file cost one reading even though it is renamed between them. Used from one thread.
class LibavMediaFramework : public MediaFramework {
  public:
    LibavMediaFramework();
    ~LibavMediaFramework() override;

    std::optional<MediaAsset> assetAtPath(const std::string& path) override;

    static constexpr std::string_view kIsEmpty = "is empty";
    static constexpr std::string_view kIsNotAudio = "is not audio";
    /// Why no reader knows the file as audio, in words that follow its name (kIsEmpty, kIsNotAudio, "is a folder" ...);
    /// "" where one does.
    std::string reasonAgainst(const std::string& path);
    /// Whether `reason` tells that the file was read and is no audio, rather than that it cannot be read.
    static bool isNoAudio(std::string_view reason) { return reason == kIsEmpty || reason == kIsNotAudio; }

  private:
    struct Remembered;
    const Remembered& examine(const std::string& path);
    std::unique_ptr<Remembered> last_;
};

}  // namespace quillet
