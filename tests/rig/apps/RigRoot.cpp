#include <cstdlib>

#include "host/DeviceRoot.hpp"

namespace quillet::host {

/// In the rig the system's absolute paths lie under the test's own folder.
const char* deviceRoot() {
    const char* root = std::getenv("QUILLET_RIG_ROOT");
    return root == nullptr ? "" : root;
}

}  // namespace quillet::host
