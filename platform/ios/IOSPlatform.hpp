#pragma once

#include "platform/Platform.hpp"
#include "platform/ios/AVMediaFramework.hpp"
#include "platform/ios/DispatchEventLoop.hpp"
#include "platform/ios/DistributedMessagingCenter.hpp"
#include "platform/ios/FoundationNotificationCenter.hpp"
#include "platform/ios/FoundationPropertyLists.hpp"
#include "platform/ios/MediaLibraryMusicLibrary.hpp"

namespace quillet {

/// All ports of the device.
struct IOSPlatform {
    /// `root` as for DevicePaths: "" on the device.
    explicit IOSPlatform(std::string root)
        : paths(std::move(root)), ports{paths, library, media, messaging, loop, notifications, propertyLists} {}
    IOSPlatform(const IOSPlatform&) = delete;
    IOSPlatform& operator=(const IOSPlatform&) = delete;

    const DevicePaths paths;
    MediaLibraryMusicLibrary library;
    AVMediaFramework media;
    DistributedMessagingCenters messaging;
    DispatchEventLoop loop;
    FoundationNotificationCenter notifications;
    FoundationPropertyLists propertyLists;
    Platform ports;
};

}  // namespace quillet
