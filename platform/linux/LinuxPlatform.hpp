#pragma once

#include <chrono>

#include "platform/Platform.hpp"
#include "platform/linux/LibavMediaFramework.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"
#include "platform/linux/LocalNotificationCenter.hpp"
#include "platform/linux/SocketMessagingCenter.hpp"
#include "platform/linux/SqliteMusicLibrary.hpp"
#include "platform/linux/UvEventLoop.hpp"

namespace quillet {

/// All ports of one root on Linux, in the order in which they need each other. Must outlive whatever uses `ports`.
struct LinuxPlatform {
    /// Opens the root's library for writing; `busyLimit` as there. Throws LibraryError.
    LinuxPlatform(DevicePaths root, UvEventLoop::Watching watching,
                  std::chrono::milliseconds busyLimit = std::chrono::seconds(60))
        : paths(std::move(root)),
          library(paths, SqliteMusicLibrary::Mode::readWrite, busyLimit),
          loop(watching),
          messaging(paths, loop),
          ports{paths, library, media, messaging, loop, notifications, propertyLists} {}
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    const DevicePaths paths;
    SqliteMusicLibrary library;
    LibavMediaFramework media;
    LocalNotificationCenter notifications;
    LibplistPropertyLists propertyLists;
    UvEventLoop loop;
    SocketMessagingCenters messaging;
    Platform ports;
};

}  // namespace quillet
