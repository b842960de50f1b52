#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/NotificationCenter.hpp"

namespace quillet {

/// Notices within this process.
class LocalNotificationCenter : public NotificationCenter {
  public:
    void addObserver(ObjectToken observer, std::string_view name, ObjectToken object,
                     std::function<void()> handler) override;
    void removeObserver(ObjectToken observer) override;
    void post(std::string_view name, ObjectToken object) override;

  private:
    struct Observation {
        ObjectToken observer;
        std::string name;
        ObjectToken object;
        std::function<void()> handler;
    };
    std::vector<std::shared_ptr<const Observation>> observations_;  // shared with posts under way
};

}  // namespace quillet
