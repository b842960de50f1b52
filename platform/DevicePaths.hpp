#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// The system's absolute paths, and the folder that stands for "/" on this machine.
class DevicePaths {
  public:
    static constexpr std::string_view kImportDatabase = "/private/var/mobile/Media/Quillet/QuilletDB.plist";
    static constexpr std::string_view kImportDatabaseFolder = "/private/var/mobile/Media/Quillet";
    static constexpr std::string_view kDropFolder = "/private/var/mobile/Media/Quillet/Import";
    static constexpr std::string_view kArtworkCache = "/private/var/mobile/Media/Quillet/ArtworkCache";
    static constexpr std::string_view kMediaFolder = "/private/var/mobile/Media/iTunes_Control/Music/M00";
    static constexpr std::string_view kDownloads = "/var/mobile/Media/Downloads";

    /// `root` is "" on the device, elsewhere a folder without a slash at its end.
    explicit DevicePaths(std::string root) : root_(std::move(root)) {}

    const std::string& root() const noexcept { return root_; }
    /// Where `devicePath`, one of the above, lies on this machine.
    std::string at(std::string_view devicePath) const { return root_ + std::string(devicePath); }

  private:
    std::string root_;
};

}  // namespace quillet
