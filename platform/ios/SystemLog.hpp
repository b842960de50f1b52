#pragma once

namespace quillet {

/// Sends every log line to the system log (NSLog) from now on.
void logToSystem();

}  // namespace quillet
