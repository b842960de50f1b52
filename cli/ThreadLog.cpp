#include "cli/ThreadLog.hpp"

namespace quillet::cli {

namespace {
thread_local ThreadLog* current = nullptr;
}  // namespace

ThreadLog::ThreadLog() {
    current = this;
}

ThreadLog::~ThreadLog() {
    current = nullptr;
}

bool ThreadLog::take(std::string_view line) {
    if (current == nullptr) return false;
    if (current->firstLine_.empty()) current->firstLine_ = line;
    return true;
}

}  // namespace quillet::cli
