#pragma once

#include "platform/DevicePaths.hpp"
#include "platform/EventLoop.hpp"
#include "platform/MediaFramework.hpp"
#include "platform/MessagingCenter.hpp"
#include "platform/MusicLibrary.hpp"
#include "platform/NotificationCenter.hpp"
#include "platform/PropertyLists.hpp"

namespace quillet {

/// Everything the system asks of the machine it runs on. It owns nothing: whoever makes it keeps the parts alive for as
/// long as anything uses it.
struct Platform {
    DevicePaths paths;
    MusicLibrary& library;
    MediaFramework& media;
    MessagingCenters& messaging;
    EventLoop& loop;
    NotificationCenter& notifications;
    PropertyLists& propertyLists;

    /// The platform of this process; it must have been set. Not locked: set it before anything else runs.
    static Platform& ofProcess();
    static void setOfProcess(Platform* platform);
};

}  // namespace quillet
