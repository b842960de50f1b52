#include "host/DeviceRoot.hpp"

namespace quillet::host {

const char* deviceRoot() {
    return "";
}

}  // namespace quillet::host
