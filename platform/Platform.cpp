#include "platform/Platform.hpp"

#include <cstdlib>

namespace quillet {

namespace {
Platform* processPlatform = nullptr;
}

Platform& Platform::ofProcess() {
    if (processPlatform == nullptr) std::abort();  // a fault of ours, never of the input
    return *processPlatform;
}

void Platform::setOfProcess(Platform* platform) {
    processPlatform = platform;
}

}  // namespace quillet
