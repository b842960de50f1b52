#include "util/Log.hpp"

#include <cstdio>
#include <string>
#include <utility>

namespace quillet::util {

namespace {

LogSink& currentSink() {
    static LogSink sink;
    return sink;
}

}  // namespace

void setLogSink(LogSink sink) {
    currentSink() = std::move(sink);
}

void log(std::string_view line) {
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
    if (const LogSink& sink = currentSink()) return sink(line);
    // One write for the whole line, so that the lines of several processes do not mix.
    const std::string withBreak = std::string(line) + '\n';
    std::fwrite(withBreak.data(), 1, withBreak.size(), stderr);
}

}  // namespace quillet::util
