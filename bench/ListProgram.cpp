#include "bench/ListProgram.hpp"

#include <fmt/format.h>
#include <time.h>

#include <cstdio>
#include <fstream>

namespace quillet::bench {
namespace {

std::uint64_t nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

/// The peak of this program alone; what getrusage tells includes the process that started it.
std::uint64_t peakKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::uint64_t peak = 0;
        if (word == "VmHWM:" && status >> peak) return peak;
    }
    return 0;
}

}  // namespace

std::optional<Cost> workThrough(const char* list, const std::function<void(const std::string& path)>& work) {
    // A line at a time, so that the list's length shows in no program's memory.
    std::ifstream lines(list);
    if (!lines) {
        fmt::print(stderr, "{}: cannot be read\n", list);
        return std::nullopt;
    }
    Cost cost;
    const std::uint64_t wall = nanoseconds(CLOCK_MONOTONIC);
    const std::uint64_t processor = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
    for (std::string path; std::getline(lines, path); ++cost.files) work(path);
    cost.wallNs = nanoseconds(CLOCK_MONOTONIC) - wall;
    cost.processorNs = nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - processor;
    cost.peakKiB = peakKiB();
    return cost;
}

}  // namespace quillet::bench
