#pragma once

#include <functional>
#include <string_view>

namespace quillet::util {

/// Takes one line, without a line break at its end. Called on the thread that logs.
using LogSink = std::function<void(std::string_view line)>;

/// Where log lines go from now on; an empty sink means standard error, the sink at start. Set it before other threads
/// log.
void setLogSink(LogSink sink);

/// Hands `line` to the sink. Line breaks and carriage returns at its end are left out.
void log(std::string_view line);

}  // namespace quillet::util
