#include "platform/linux/LocalNotificationCenter.hpp"

#include <algorithm>
#include <utility>

namespace quillet {

void LocalNotificationCenter::addObserver(ObjectToken observer, std::string_view name, ObjectToken object,
                                          std::function<void()> handler) {
    observations_.push_back(
        std::make_shared<const Observation>(Observation{observer, std::string(name), object, std::move(handler)}));
}

void LocalNotificationCenter::removeObserver(ObjectToken observer) {
    std::erase_if(observations_, [&](const auto& observation) { return observation->observer == observer; });
}

void LocalNotificationCenter::post(std::string_view name, ObjectToken object) {
    const std::string posted(name);  // the caller's text may go with something that a handler ends
    // A handler may add and remove: those added wait for the next post, those removed must not be called any more.
    const auto before = observations_;
    for (const auto& observation : before) {
        if (observation->name != posted || observation->object != object) continue;
        const bool removed = std::find(observations_.begin(), observations_.end(), observation) == observations_.end();
        if (!removed) observation->handler();
    }
}

}  // namespace quillet
