#pragma once

namespace quillet::host {

/// The folder that the device's absolute paths lie under: "" on the device.
const char* deviceRoot();

}  // namespace quillet::host
