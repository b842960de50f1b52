#pragma once

#include <string>
#include <string_view>

#include "platform/DevicePaths.hpp"
#include "util/Files.hpp"

/// How a file goes from the downloader's side to the library's.
namespace quillet {

/// Where the finished download `name` lies.
std::string downloadPath(const DevicePaths& paths, std::string_view name);

/// Moves the download `name` into the drop folder, as `entry` there; never over what lies there (EEXIST). A name that
/// is no entry of a folder is refused with EINVAL.
util::Status handOver(const DevicePaths& paths, std::string_view name, std::string_view entry);

/// What a message from the library's side can do on the downloader's.
class HandOffScreens {
  public:
    virtual ~HandOffScreens() = default;
    /// The import screen's own reaction to a finished import.
    virtual void libraryManagerWritingSucceded() = 0;
    /// The downloads screen lists its folder anew.
    virtual void refresh() = 0;
};

/// -_handleLaunchMessageNamed:withUserInfo:  Its user info says nothing and is not asked for.
void handleLaunchMessageNamed(std::string_view name, HandOffScreens& screens);

}  // namespace quillet
